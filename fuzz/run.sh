#!/usr/bin/env bash
# Runs one fuzz target for a bounded time: first every kept regression input once, then fuzzing
# from the seed corpus. New inputs go to a scratch corpus outside git; a crash leaves its input
# under fuzz/artifacts/ and fails the run.
# Usage: fuzz/run.sh BUILD_DIR TARGET SECONDS
set -euo pipefail
build=$1
target=$2
seconds=$3
here=$(cd "$(dirname "$0")" && pwd)
binary=$build/fuzz/$target
seeds=$here/corpus/$target
work=$here/corpus-work/$target
artifacts=$here/artifacts/$target
mkdir -p "$work" "$artifacts"

options=(-artifact_prefix="$artifacts/" -timeout=10 -rss_limit_mb=2560 -print_final_stats=1)
if [ -f "$here/$target.dict" ]; then options+=(-dict="$here/$target.dict"); fi

regressions=$here/regressions/$target
if [ -d "$regressions" ] && [ -n "$(ls -A "$regressions")" ]; then
    echo "== $target: replaying $(ls "$regressions" | wc -l) regression inputs"
    "$binary" "${options[@]}" "$regressions"/* 2>&1 | tail -n 3
fi

echo "== $target: fuzzing for ${seconds}s"
log=$artifacts/last-run.log
if ! "$binary" "${options[@]}" -max_total_time="$seconds" "$work" "$seeds" >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "== $target: FAILED (inputs under $artifacts)"
    exit 1
fi
grep -E '^(Done|stat::number_of_executed_units|stat::peak_rss_mb)' "$log" || tail -n 3 "$log"

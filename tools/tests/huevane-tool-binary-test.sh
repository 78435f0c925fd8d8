#!/usr/bin/env bash
# The built binary end to end: what in-process tests cannot see (exit status of the process,
# stdout and stderr kept apart). Usage: huevane-tool-binary-test.sh TOOL REPO
set -u
tool=$1 repo=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

"$tool" --root "$repo/examples/device" modes >"$work/out" 2>"$work/err"
[ $? = 0 ] || fail "modes on the sample device did not exit 0"
grep -qF "mode 2  display_p3  (gamut 2)" "$work/out" || fail "modes printed no display_p3"
[ -s "$work/err" ] && fail "modes wrote to stderr"

"$tool" decode /dev/zero >"$work/out" 2>"$work/err"
[ $? = 1 ] || fail "decode /dev/zero did not exit 1"
grep -qF "refused: a device" "$work/err" || fail "decode /dev/zero gave no reason"

"$tool" --frobnicate >"$work/out" 2>"$work/err"
[ $? = 2 ] || fail "an unknown option did not exit 2"

[ $failures = 0 ] && echo "1 passed, 0 failed" || echo "0 passed, 1 failed"
[ $failures = 0 ]

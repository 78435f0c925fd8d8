#!/usr/bin/env bash
# Guards the binary interface the compositor relies on: the exported entry points and every type
# they reach, IHuevane's virtual table included. Dumps the shared library's ABI (built with debug
# info) and compares it with the baseline beside this script; any difference fails. Then proves
# the guard itself: a copy of the tree with two of IHuevane's virtual operations swapped must fail
# the same comparison as incompatible.
# Usage: abi-check.sh BUILD_DIR          check
#        abi-check.sh BUILD_DIR --update write the baseline from the current library
set -euo pipefail
repo=$(cd "$(dirname "$0")/.." && pwd)
build=$(mkdir -p "$1" && cd "$1" && pwd)
baseline=$repo/abi/libhuevane_default.abi
jobs=${JOBS:-2}

# dump SOURCE_DIR BUILD_DIR OUT: builds the shared library alone and writes its ABI.
dump() {
    cmake -S "$1" -B "$2" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DHUEVANE_BUILD_TESTS=OFF \
        -DHUEVANE_BUILD_TOOLS=OFF >/dev/null
    cmake --build "$2" --target huevane_default -j "$jobs" >/dev/null
    abidw --exported-interfaces-only --no-corpus-path --no-comp-dir-path --short-locs \
        --no-architecture --out-file "$3" "$2/libhuevane_default.so"
}

dump "$repo" "$build/library" "$build/libhuevane_default.abi"
if [ "${2:-}" = --update ]; then
    cp "$build/libhuevane_default.abi" "$baseline"
    echo "abi-check: baseline written to $baseline"
    exit 0
fi
if ! abidiff "$baseline" "$build/libhuevane_default.abi"; then
    echo "abi-check: the library's binary interface differs from $baseline" >&2
    echo "abi-check: if the change is meant, run: make abi-update" >&2
    exit 1
fi
echo "abi-check: binary interface unchanged"

# The guard must catch the break it exists for: two virtual operations trading places.
copy=$build/reordered-src
rm -rf "$copy"
mkdir -p "$copy"
tar -C "$repo" --exclude='./build*' --exclude=./.git -cf - . | tar -C "$copy" -xf -
header=$copy/include/IHuevane.h
first='    virtual int32_t setColorMode(uint32_t mode) = 0;'
second='    virtual std::vector<DisplayRenderIntent> getRenderIntents(uint32_t mode) = 0;'
grep -qxF "$first" "$header" && grep -qxF "$second" "$header" ||
    { echo "abi-check: IHuevane.h no longer has the operations the self-test swaps" >&2; exit 1; }
awk -v a="$first" -v b="$second" '$0 == a { print b; next } $0 == b { print a; next } { print }' \
    "$header" >"$header.swapped" && mv "$header.swapped" "$header"
dump "$copy" "$build/reordered" "$build/reordered.abi"
status=0
abidiff "$baseline" "$build/reordered.abi" >"$build/reordered.report" || status=$?
if (( (status & 8) == 0 )); then
    echo "abi-check: a reordered IHuevane was not reported as incompatible (abidiff $status)" >&2
    exit 1
fi
echo "abi-check: a reordered IHuevane is caught"

#!/bin/sh
# Builds the static library of an earlier commit ("today" for the benchmark's comparison) from
# the repository's history, in DIR/src and DIR/build. Usage: build-today.sh COMMIT DIR JOBS
set -eu
commit=$1 dir=$2 jobs=${3:-2}
repo=$(cd "$(dirname "$0")/.." && pwd)
if [ "$(cat "$dir/src/.commit" 2>/dev/null)" != "$commit" ]; then
    rm -rf "$dir/src" "$dir/build"
    mkdir -p "$dir/src"
    git -C "$repo" archive "$commit" | tar -x -C "$dir/src"
    echo "$commit" > "$dir/src/.commit"
fi
cmake -S "$dir/src" -B "$dir/build" -DCMAKE_BUILD_TYPE=Release -DHUEVANE_BUILD_TESTS=OFF \
    -DHUEVANE_BUILD_TOOLS=OFF > /dev/null
cmake --build "$dir/build" --target huevane -j "$jobs"

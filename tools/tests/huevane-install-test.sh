#!/usr/bin/env bash
# Installs the build into a scratch prefix and builds consumers against it: the CMake package with
# the dlopen example, and pkg-config with a program linked to the library.
# Usage: huevane-install-test.sh BUILD_DIR REPO
set -euo pipefail
build=$1 repo=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null
for file in include/huevane/IHuevane.h bin/huevane-tool lib/pkgconfig/huevane.pc \
    lib/cmake/huevane/huevaneConfig.cmake; do
    [ -e "$prefix/$file" ] || { echo "FAIL: $file not installed"; exit 1; }
done
library=$(find "$prefix" -name libhuevane_default.so)
[ -n "$library" ] || { echo "FAIL: libhuevane_default.so not installed"; exit 1; }

# find_package(huevane) and the compositor-side dlopen example. No /vendor/etc/pvx here, so the
# display is reported as uncalibrated.
cmake -S "$repo/examples/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/consumer" >/dev/null
"$work/consumer/huevane-consumer" | grep -qx "display 0 has no calibration file: colour management stays off"

# pkg-config, linking the library directly; IHuevane::createInstance always builds an engine.
cat >"$work/linked.cpp" <<'CPP'
#include <IHuevane.h>
#include <cstdio>
int main() {
    IHuevane* engine = IHuevane::createInstance(0);
    int size = engine->getColorCoefSize();
    destroyInstance(engine);
    printf("%d\n", size);
    return 0;
}
CPP
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
# shellcheck disable=SC2046
c++ -std=c++17 "$work/linked.cpp" -o "$work/linked" $(pkg-config --cflags --libs huevane)
[ "$(LD_LIBRARY_PATH=$(dirname "$library") "$work/linked" 2>/dev/null)" = 4096 ]

# The installed tool still finds its libraries and reads a device tree.
"$prefix/bin/huevane-tool" --root "$repo/examples/device" modes | grep -qx "mode 3  vivid  (gamut 2)"
echo "tool.install: ok"

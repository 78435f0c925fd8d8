#!/usr/bin/env bash
# Installs the build into a scratch prefix and builds consumers against it: the CMake package with
# the dlopen example, and pkg-config with a program linked to the library. A cross build passes its
# compiler, toolchain file and emulator, so the consumers are built and run for the target.
# Usage: huevane-install-test.sh BUILD_DIR REPO CXX [TOOLCHAIN_FILE [EMULATOR...]]
set -euo pipefail
build=$1 repo=$2 cxx=$3 toolchain=${4:-}
shift 3
[ $# -gt 0 ] && shift
emulator=("$@")
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

# Neither the configure-time prefix nor the build tree may stay in an installed run path.
for binary in "$library" "$prefix/bin/huevane-tool"; do
    runpath=$(readelf -d "$binary" | sed -n 's/.*R\(UN\)\{0,1\}PATH.*\[\(.*\)\]/\2/p')
    case ":$runpath:" in
    *"$build"* | *:/usr/local/lib:* | *"$prefix"*)
        echo "FAIL: $binary has run path $runpath"; exit 1 ;;
    esac
done

# find_package(huevane) and the compositor-side dlopen example. No /vendor/etc/pvx here, so the
# display is reported as uncalibrated.
cmake -S "$repo/examples/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_CXX_COMPILER="$cxx" ${toolchain:+-DCMAKE_TOOLCHAIN_FILE="$toolchain"} >/dev/null
cmake --build "$work/consumer" >/dev/null
"${emulator[@]}" "$work/consumer/huevane-consumer" |
    grep -qx "display 0 has no calibration file: colour management stays off"

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
"$cxx" -std=c++17 "$work/linked.cpp" -o "$work/linked" $(pkg-config --cflags --libs huevane)
[ "$(LD_LIBRARY_PATH=$(dirname "$library") "${emulator[@]}" "$work/linked" 2>/dev/null)" = 4096 ]

# The installed tool still finds its libraries and reads a device tree.
"${emulator[@]}" "$prefix/bin/huevane-tool" --root "$repo/examples/device" modes |
    grep -qx "mode 3  vivid  (gamut 2)"
echo "tool.install: ok"

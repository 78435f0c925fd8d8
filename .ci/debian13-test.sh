#!/usr/bin/env bash
# Runs `make test` of this work tree inside a Debian 13 minbase chroot (gcc 14, liblog 34). The
# chroot is made once with debootstrap from the mirror this machine's apt uses and kept outside the
# tree, so later runs reuse it; the tree is bind-mounted and built in its own folder.
# Debian 13's libxml2 is 2.9 underneath, so a second build compiles everything (no links, no
# tests) against the headers of the newest libxml2 in the mirror's unstable suite, where the
# structured-error callback takes a const error and deprecated calls are errors under -Werror.
# Usage: debian13-test.sh [CHROOT_DIR]   (root only)
set -euo pipefail
repo=$(cd "$(dirname "$0")/.." && pwd)
root=${1:-/var/cache/huevane/debian13}
suite=trixie
build=${DEBIAN13_BUILD_DIR:-build-debian13}
[ "$(id -u)" = 0 ] || { echo "test-debian13: needs root (debootstrap, chroot, mount)" >&2; exit 1; }

# The first Debian archive URI in apt's sources, deb822 or one-line form.
first_mirror() {
    cat /etc/apt/sources.list /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources \
        2>/dev/null | grep -E '^[[:space:]]*(URIs:|deb )' |
        grep -oE 'https?://[^ ]+/debian/?( |$)' | grep -v security | head -n1 | tr -d ' ' || true
}
mirror=${DEBIAN_MIRROR:-$(first_mirror)}
[ -n "$mirror" ] || { echo "test-debian13: no Debian mirror in /etc/apt/sources.list*" >&2; exit 1; }

if [ ! -x "$root/usr/bin/make" ]; then
    command -v debootstrap >/dev/null ||
        DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends debootstrap
    # Never through a mount a broken earlier run may have left (the work tree is one).
    if grep -q " $root/" /proc/mounts; then
        echo "test-debian13: unmount what is mounted under $root first" >&2; exit 1
    fi
    rm -rf --one-file-system "$root"
    mkdir -p "$root"
    debootstrap --variant=minbase --include=make "$suite" "$root" "$mirror"
fi
cp /etc/resolv.conf "$root/etc/resolv.conf"

mkdir -p "$root/src" "$root/proc" "$root/dev"
cleanup() {
    umount "$root/src" 2>/dev/null || true
    umount "$root/dev" 2>/dev/null || true
    umount "$root/proc" 2>/dev/null || true
}
trap cleanup EXIT
mount --bind "$repo" "$root/src"
mount --bind /dev "$root/dev"
mount -t proc proc "$root/proc"

in_root() { env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 chroot "$root" "$@"; }
in_root make -C /src test BUILD_DIR="$build" JOBS="${JOBS:-2}"

# Fetched once with apt from the same mirror; a mirror snapshot's unstable suite may be past its
# Valid-Until date, which is harmless for reading headers.
headers=/var/cache/huevane-libxml2-unstable
if [ ! -d "$root$headers/usr/include/libxml2" ]; then
    list=$root/etc/apt/sources.list.d/huevane-unstable.list
    echo "deb $mirror unstable main" >"$list"
    in_root apt-get -o Acquire::Check-Valid-Until=false update -qq
    mkdir -p "$root$headers"
    in_root sh -c "cd $headers && apt-get download libxml2-dev/unstable && dpkg-deb -x libxml2-dev_*.deb ." ||
        { rm -f "$list"; exit 1; }
    rm -f "$list"
    in_root apt-get update -qq
fi
# Compile only: the headers may name calls the installed 2.9 library lacks, so links are stubbed.
in_root cmake -S /src -B "/src/$build-libxml2-unstable" -DLIBXML2_INCLUDE_DIR="$headers/usr/include/libxml2" \
    "-DCMAKE_CXX_LINK_EXECUTABLE=<CMAKE_COMMAND> -E touch <TARGET>" \
    "-DCMAKE_CXX_CREATE_SHARED_LIBRARY=<CMAKE_COMMAND> -E touch <TARGET>" \
    -DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST
in_root cmake --build "/src/$build-libxml2-unstable" -j "${JOBS:-2}"
echo "test-debian13: passed; everything also compiles against libxml2 $(sed -n \
    's/^#define LIBXML_DOTTED_VERSION "\(.*\)"/\1/p' "$root$headers/usr/include/libxml2/libxml/xmlversion.h")"

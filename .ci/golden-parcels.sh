#!/usr/bin/env bash
# Writes the outputs that must not depend on the machine the library runs on: the mode lists of
# each display of the sample device and the parcel of every (display, mode, intent) under several
# colour transforms, with and without an extension list. Two builds are compared with `diff -r`
# of their output folders.
# Usage: golden-parcels.sh OUT_DIR TOOL [EMULATOR...]
set -euo pipefail
out=$1
tool=$2
shift 2
repo=$(cd "$(dirname "$0")/.." && pwd)
rm -rf "$out"
mkdir -p "$out"

# Column-major 4x4: identity, a warm white point, a hue rotation with negative terms and an
# offset, and a dense matrix whose product with the extension's gamma_matrix in mode 2, intent 1
# of display 0 lands on a rounding corner that a fused multiply-add crosses.
transforms=(
    identity
    "1,0,0,0, 0,0.93,0,0, 0,0,0.82,0, 0,0,0,1"
    "0.7874,0.0722,-0.1065,0, 0.2126,0.9278,0.3411,0, -0.0001,0.3333,0.7654,0, 0.01,-0.02,0.03,1"
    "-0.5772403,0.05449846,0.7566395,0,0.02439147,-0.1931845,0.9905623,0,-0.4734578,-0.3972245,0.1905934,0,0.6783639,-0.4176948,-0.2726214,1"
)
# More dense transforms from a fixed seed: a fused multiply-add changes the last bit of a product,
# which reaches the fixed-point text in only about one product in a hundred.
dense_count=${GOLDEN_DENSE:-4}
while read -r line; do transforms+=("$line"); done < <(awk -v n="$dense_count" 'BEGIN {
    seed = 12345
    for (t = 0; t < n; t++) {
        line = ""
        for (e = 0; e < 16; e++) {
            seed = (seed * 16807) % 2147483647  # exact in a double
            v = (e % 4 == 3) ? (e == 15 ? 1 : 0) : -0.6 + 2.0 * seed / 2147483647
            line = line (e ? "," : "") sprintf("%.7f", v)
        }
        print line
    }
}')
extensions=(
    --attributes "1 2 3"
    --extension "gamma_matrix:1,60000,1234,-567,0,2345,61000,890,0,-123,456,64000,0,0,0,0,65536"
    --extension "linear_matrix:1,65536,0,0,0,0,52000,7000,0,0,-3000,70000,0,0,0,0,65536"
    --extension "hsc:1,2,3"
    --extension "4:0,16,32,64"
)

for display in 0 1; do
    "$@" "$tool" --root "$repo/examples/device" --display "$display" modes --json \
        >"$out/modes_d$display.json"
    mode=""
    "$@" "$tool" --root "$repo/examples/device" --display "$display" modes |
        while read -r word id _; do
            case $word in
            mode) mode=$id ;;
            intent)
                for t in "${!transforms[@]}"; do
                    name=d${display}_m${mode}_i${id}_t$t
                    common=(--root "$repo/examples/device" --display "$display" parcel
                        --mode "$mode" --intent "$id" --transform "${transforms[$t]}")
                    "$@" "$tool" "${common[@]}" -o "$out/$name.parcel" >/dev/null
                    "$@" "$tool" "${common[@]}" "${extensions[@]}" -o "$out/${name}_ext.parcel" >/dev/null
                done
                ;;
            esac
        done
done
count=$(find "$out" -name '*.parcel' | wc -l)
[ "$count" -gt 0 ] || { echo "golden-parcels: no parcel written" >&2; exit 1; }
echo "golden-parcels: $count parcels in $out"

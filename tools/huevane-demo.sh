#!/usr/bin/env bash
# `make run`: shows huevane-tool at work on the sample device in examples/device.
# Usage: tools/huevane-demo.sh BUILD_DIR
set -euo pipefail

repo="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-build}"
case "$build" in /*) ;; *) build="$repo/$build" ;; esac
tool="$build/tools/huevane-tool"
if [ ! -x "$tool" ]; then
    echo "huevane-demo: $tool is missing; build with HUEVANE_BUILD_TOOLS=ON first" >&2
    exit 1
fi
cd "$repo"
device=examples/device
parcel_file="$build/demo.parcel"
# A warm "night light" colour transform: red kept, green and blue turned down (column-major).
warm="1,0,0,0, 0,0.93,0,0, 0,0,0.82,0, 0,0,0,1"

bold="" plain=""
if [ -t 1 ]; then bold=$'\033[1m' plain=$'\033[0m'; fi
step() {
    printf '\n%s== %s%s\n' "$bold" "$1" "$plain"
    shift
    for line in "$@"; do printf '   %s\n' "$line"; done
}
# Echoes the command as a reader would type it, quoting arguments that hold spaces.
show() {
    local line="\$ huevane-tool" arg
    for arg in "$@"; do
        case "$arg" in *" "*) line="$line '$arg'" ;; *) line="$line $arg" ;; esac
    done
    printf '\n%s\n' "$line"
}
run() {
    show "$@"
    "$tool" "$@"
}

step "The sample device" \
    "$device stands for the device's '/'. Its sysfs node sys/class/pvx/pvx/xml names the" \
    "panel (demo_panel.xml), which picks display 0's calibration file under vendor/etc/pvx/."

step "1. Colour modes and render intents of display 0" \
    "Exactly what the compositor gets from getColorModes() and getRenderIntents(mode)." \
    "The hdr intent of display_p3 takes its LUTs from a sub document."
run --root "$device" modes

step "2. Display 1 has no sysfs node, so the library falls back to its default file"
run --root "$device" --display 1 modes

step "3. One coefficient parcel: mode 1 (srgb), intent 1 (enhance), warm colour transform" \
    "The tool calls setColorModeWithRenderIntent(1, 1), setColorTransform(warm)," \
    "getColorCoefSize() and updateColorCoef(buffer), then decodes the buffer." \
    "Each LUT shows its node, header fields and whether its CRC matches its text." \
    "The calibration's gamma_matrix (attr0 0) and the transform's (attr 255) are separate" \
    "hardware slots; the transform's slot carries the product transform x calibration."
run --root "$device" parcel --mode 1 --intent 1 --transform "$warm"

step "4. The same parcel as raw bytes, checked by the decoder" \
    "decode exits non-zero on anything inconsistent; here it only prints the summary lines."
run --root "$device" parcel --mode 1 --intent 1 --transform "$warm" -o "$parcel_file"
printf '\n$ huevane-tool decode %s | grep -E "^(parcel|result)"\n' "$parcel_file"
"$tool" decode "$parcel_file" | grep -E '^(parcel|result)'

step "5. The calibration files pass lint (no output, exit status 0)"
run lint "$device"/vendor/etc/pvx/calib_data_colormode0_demo_panel.xml \
    "$device"/vendor/etc/pvx/calib_data_colormode1.xml
panel=examples/panel/demo_panel.json
step "6. The panel: its description and ICC profile give the srgb mode's gamut matrix" \
    "$panel states the hardware order of the colour nodes, how the curve texts encode" \
    "their curves, and the panel's response (demo_panel.icc, made by 'profile')." \
    "The last line is the matrix text the srgb mode's gamma_matrix carries."
run matrix --panel "$panel" --target srgb

step "7. verify: what the panel is predicted to show, against each mode's target" \
    "The colorimetric intent (0) of every mode, in CIEDE2000 over the ColorChecker," \
    "a grey ramp, primaries and secondaries; exit status 1 past --fail-above."
run --root "$device" verify --panel "$panel" --intent 0 --fail-above 3
printf '\nDone. See README.md for the commands and for loading the library from a compositor.\n'

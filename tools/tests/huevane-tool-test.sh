#!/usr/bin/env bash
# Runs huevane-tool on the sample device and on the broken inputs in tools/testdata, checking exit
# statuses and key output lines. Usage: huevane-tool-test.sh CASE TOOL REPO
set -u
case_name=$1 tool=$2 repo=$3
data=$repo/tools/testdata
device=$repo/examples/device
calib=$device/vendor/etc/pvx
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
warm="1,0,0,0, 0,0.93,0,0, 0,0,0.82,0, 0,0,0,1"

fail() {
    echo "FAIL: $*"
    sed 's/^/    | /' "$work/out" "$work/err" | head -40
    failures=$((failures + 1))
}
# expect STATUS ARGS...: runs the tool; stdout lands in $work/out, stderr in $work/err.
expect() {
    local want=$1
    shift
    "$tool" "$@" >"$work/out" 2>"$work/err"
    local got=$?
    [ "$got" = "$want" ] || fail "exit $got, wanted $want: huevane-tool $*"
}
has() { grep -qxF -- "$1" "$work/out" || fail "no output line: $1"; }
contains() { grep -qF -- "$1" "$work/out" || fail "output lacks: $1"; }
err_contains() { grep -qF -- "$1" "$work/err" || fail "stderr lacks: $1"; }
quiet() { [ ! -s "$work/err" ] || fail "stderr is not empty"; }
valid_json() {
    if command -v python3 >/dev/null; then
        python3 -m json.tool "$work/out" >/dev/null || fail "output is not valid JSON"
    fi
}

case_modes() {
    expect 0 --root "$device" modes
    quiet
    has "  calibration   /vendor/etc/pvx/calib_data_colormode0_demo_panel.xml"
    has "  sub document  /vendor/etc/pvx/calib_data_colormode0_demo_panel_hdr.xml"
    has "mode 2  display_p3  (gamut 2)"
    has "    intent 2  hdr"
    # Global options after the command, display 1 without a sysfs node.
    expect 0 modes --json --root "$device" --display 1
    valid_json
    contains '"documents":["/vendor/etc/pvx/calib_data_colormode1.xml"]'
    contains '{"modeId":1,"gamutId":1,"modeName":"srgb","intents":[{"intentId":0,"intentName":"colorimetric"}]}'
    expect 1 --root "$device" --display 5 modes
    err_contains "display 5 has no calibration file"
}

case_parcel() {
    local calibration="1,55188,2195,996,0,9214,62226,4633,0,1134,1114,59906,0,0,0,0,65536"
    # An identity transform leaves the calibration matrix unchanged in both gamma_matrix slots.
    expect 0 --root "$device" parcel --mode 1 --intent 1 --transform identity --full
    quiet
    has "result      consistent"
    [ "$(grep -c -- "text      66 bytes: $calibration" "$work/out")" = 2 ] ||
        fail "identity transform changed the calibration matrix"
    expect 0 --root "$device" parcel --mode 1 --intent 1 --transform "$warm"
    cp "$work/out" "$work/comma"
    expect 0 --root "$device" parcel --mode 1 --intent 1 --transform ${warm//,/ }
    cmp -s "$work/out" "$work/comma" || fail "16 arguments and one list differ"
    # Raw bytes round-trip through decode, through a file and through a pipe.
    expect 0 --root "$device" parcel --mode 3 --intent 1 -o "$work/p.bin"
    expect 0 decode "$work/p.bin"
    has "result      consistent"
    "$tool" --root "$device" parcel --mode 2 --intent 2 -o - | "$tool" decode - >"$work/out" ||
        fail "parcel -o - | decode - failed"
    has "LUT 0       degamma (node 4) at offset 12"
    # Attributes apply to the extension LUTs after them; node names and ids both work.
    printf '5,6,7' >"$work/atc.txt"
    expect 0 --root "$device" parcel --mode 0 --extension gamma:9 --attributes "7 8" \
        --extension hsc:1,2,3 --extension 12:@"$work/atc.txt"
    has "LUT 2       gamma (node 5) at offset 2712"
    has "  header    magic 0xDA  total_size 14  header_size 12  attr 255,255,255,255  crc 0xFFB9 ok"
    has "LUT 4       atc (node 12) at offset 2744"
    has "  text      5 bytes: 5,6,7"
    [ "$(grep -c "attr 7,8,255,255" "$work/out")" = 2 ] || fail "attributes did not reach both LUTs"
    expect 0 --root "$device" parcel --mode 9
    has "parcel      12 bytes, seq_num 0, 0 LUTs"
    err_contains "mode 9 is not offered"
    expect 0 --root "$device" parcel --mode 0 --log-level 3
    err_contains "num_data(2)"
    for bad in "--transform 1,2,3" "--extension 13:x" "--extension hsc" "--mode x"; do
        # shellcheck disable=SC2086
        expect 2 --root "$device" parcel --mode 0 $bad
    done
    expect 2 --root "$device" parcel
}

case_decode() {
    expect 0 decode "$data/good.parcel"
    has "LUT 1       gamma_matrix (node 6) at offset 35"
    contains "crc 0xFF2C ok"
    has "              0.500000   0.000000   0.000000   0.100006   |     32768         0         0      6554"
    expect 0 decode --json "$data/good.parcel"
    valid_json
    contains '"fixed":[32768,0,0,0,0,65536,0,0,0,0,65536,0,6554,0,0,65536]'
    expect 1 decode "$data/bad_crc.parcel"
    has "  error: crc 0xFF2C does not match the text (0xFF44)"
    expect 1 decode "$data/truncated.parcel"
    has "  error: truncated: total_size says 100 bytes, only 40 present"
    expect 1 decode "$data/oversized_entry.parcel"
    has "  error: total_size 200 runs past the end of the parcel (88 bytes left)"
    expect 1 decode --json "$data/garbage.parcel"
    valid_json
    : >"$work/empty"
    expect 1 decode "$work/empty"
    has "  error: truncated: 0 bytes, a parcel header needs 12"
    # A dump of the whole coefficient buffer carries unwritten bytes after the parcel.
    { cat "$data/good.parcel"; head -c 20 /dev/zero; } >"$work/padded"
    expect 0 decode "$work/padded"
    has "  warning: 20 bytes after total_size are not part of the parcel"
    # Every cut of a good parcel is refused cleanly, never with a crash.
    for n in $(seq 0 99); do
        head -c "$n" "$data/good.parcel" >"$work/cut"
        expect 1 decode "$work/cut"
    done
    expect 1 decode "$work/missing"
    expect 2 decode
}

case_lint() {
    (cd "$data" && "$tool" lint lint_planted.xml lint_wrong_root.xml lint_broken.xml \
        >"$work/out" 2>"$work/err")
    [ $? = 1 ] || fail "lint of planted problems did not exit 1"
    while IFS= read -r line; do has "$line"; done <<'EOF'
lint_planted.xml:4: warning: <version> is not a mode node: the library ignores it
lint_planted.xml:7: warning: <gama> is not a LUT node: the library skips it
lint_planted.xml:9: warning: <gamma> has the same attributes as the one at line 8: only this one reaches the parcel
lint_planted.xml:11: error: mode node lacks gamut_name: the library skips it whole
lint_planted.xml:14: error: mode_id='abc' is not a number: it reads as absent (4294967295)
lint_planted.xml:14: warning: intent_id='1x' reads as 1: the library ignores what follows the number
lint_planted.xml:15: warning: (mode 0, intent 0) repeats the mode node at line 5: only this node's LUTs remain
lint_planted.xml:16: warning: att0=300 keeps only its low 8 bits: 44
lint_planted.xml:16: error: <gamma_matrix> text is not a matrix text (a flag and 16 fixed-point numbers): it is sent as it is instead of being combined
lint_planted.xml:17: error: <linear_matrix> text is not a matrix text (a flag and 16 fixed-point numbers): it is sent as it is instead of being combined
lint_planted.xml:19: warning: sub document lint_planted_missing.xml not found: this node's own LUTs are used
lint_planted.xml:20: warning: sub document lint_planted_notune.xml has no tune mode: this node's own LUTs are used
lint_planted_tune.xml:5: error: <linear_matrix> text is not a matrix text (a flag and 16 fixed-point numbers): it is sent as it is instead of being combined
lint_wrong_root.xml:2: error: root element is <calib_data>, not <Calib_Data>: the library refuses the document
lint_broken.xml:5: error: XML: Opening and ending tag mismatch: mode line 3 and mod (the library cannot read this document)
EOF
    [ "$(wc -l <"$work/out")" = 15 ] || fail "lint reported more than the planted problems"
    expect 0 lint "$calib"/calib_data_colormode0_demo_panel.xml "$calib"/calib_data_colormode1.xml
    [ ! -s "$work/out" ] || fail "the sample calibration is not clean"
    # Texts too long for a parcel entry, and LUT sets too large for any parcel.
    local long
    long=$(head -c 33000 /dev/zero | tr '\0' '7')
    {
        echo "<Calib_Data>"
        echo "<mode name='a' mode_id='0' gamut_id='0' gamut_name='g' intent_id='0' intent_name='i'>"
        echo "<gamma>$long$long</gamma></mode>"
        echo "<mode name='a' mode_id='0' gamut_id='0' gamut_name='g' intent_id='1' intent_name='j'>"
        echo "<gamma att0='0'>$long</gamma><gamma att0='1'>$long</gamma></mode>"
        echo "</Calib_Data>"
    } >"$work/big.xml"
    expect 1 lint "$work/big.xml"
    contains "big.xml:3: error: text of 66000 bytes does not fit a parcel entry (at most 65522)"
    contains "big.xml:2: error: LUTs of (mode 0, intent 0) need a parcel of 66025 bytes"
    contains "big.xml:4: error: LUTs of (mode 0, intent 1) need a parcel of 66038 bytes"
    # A sub document on its own is judged by its tune mode's LUTs, as the library reads it.
    (cd "$data" && "$tool" lint lint_planted_tune.xml >"$work/out" 2>"$work/err")
    has "lint_planted_tune.xml:5: error: <linear_matrix> text is not a matrix text (a flag and 16 fixed-point numbers): it is sent as it is instead of being combined"
    [ "$(wc -l <"$work/out")" = 1 ] || fail "a sub document was linted as a main document"
    expect 1 lint "$work/missing.xml"
    contains "missing.xml:0: error: cannot read the file"
    expect 2 lint
}

case_usage() {
    expect 2
    expect 2 frobnicate
    expect 2 --display abc modes
    expect 2 --root "$device" parcel --mode 1 --transform 1,0,0
    err_contains "--transform needs 16 floats, got 3"
    # A document the library refuses is reported, not passed over in silence.
    mkdir -p "$work/root/vendor/etc/pvx"
    echo "<calib_data/>" >"$work/root/vendor/etc/pvx/calib_data_colormode0.xml"
    expect 0 --root "$work/root" modes
    err_contains "document of the wrong type, root node != Calib_Data"
    for command in "" modes parcel decode lint; do
        # shellcheck disable=SC2086
        expect 0 $command --help
        contains "usage: huevane-tool"
    done
}

"case_$case_name"
if [ "$failures" = 0 ]; then echo "tool.$case_name: ok"; else echo "tool.$case_name: $failures failed"; fi
[ "$failures" = 0 ]

#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The table of quality by bytes on small images, and the packets that JPEG 2000 is cut at.
# usage: prefixTest.sh BUILD
#
# shellcheck disable=SC2016,SC2317 # what stands in single quotes is for awk; expect calls the functions
set -euo pipefail
. "$(dirname "$0")/support.sh"

build=$1
root=$(realpath "$scripts/..")
for tool in opj_compress opj_decompress cjpeg djpeg ppmtopgm pamdepth python3; do
    type -P "$tool" >/dev/null || { echo "There is no $tool."; exit 77; }
done
[ -x "$build/makeSample" ] || { echo 'There is no makeSample.'; exit 77; }
export PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=$root/bench

"$build/makeSample" 192 128 >"$work/rgb.ppm"
ppmtopgm "$work/rgb.ppm" >"$work/grey.pgm"
pamdepth 4095 "$work/rgb.ppm" | ppmtopgm >"$work/deep.pgm"
tail -c $((192 * 128 * 3)) "$work/rgb.ppm" >"$work/rgb.raw"
tail -c $((192 * 128 * 2)) "$work/deep.pgm" | dd conv=swab of="$work/deep.raw" status=none
printf '%s\t%d\t%d\t192\t128\t%s\n' rgb 3 8 "$work/rgb.raw" deep 2 12 "$work/deep.raw" >"$work/list"

# Fields are the columns by name; a row that must not be is printed.
# rowsThat CONDITION
rowsThat() {
    awk -F '\t' '
        NR == 1 { for (i = 1; i <= NF; ++i) at[$i] = i; codecs = (NF - 4) / 2; next }
        { mean = $2 ~ /^mean of 1$/ }
        '"$1" "$work/out"
}
noRowThat() { [ -z "$(rowsThat "$1")" ]; }
rowCount() { [ "$(rowsThat "$1" | wc -l)" -eq "$2" ]; }

run python3 -m teko_bench.prefix "$work/list" "$build/teko"
expect 'the table is made' ended 0
expect 'six shares of each image' rowCount '!mean' 12
expect 'and of each kind' rowCount 'mean' 12
expect 'no file is larger than the share' noRowThat '
    !mean { for (i = 5 + codecs; i <= NF; ++i) if ($i != "n/a" && $i > $4) print }'
expect 'a cut file is as large as the share' noRowThat '!mean && $at["teko bytes"] != $4'
expect 'more bytes, more quality' noRowThat '
    !mean { for (i = 5; i < 5 + codecs; ++i) if ($i != "n/a" && $3 > 1 && best[$2, i] != "" && $i <= best[$2, i]) print
            for (i = 5; i < 5 + codecs; ++i) best[$2, i] = $i == "n/a" ? "" : $i }'
expect 'the mean of one image is its figure' noRowThat '
    { for (i = 5; i < 5 + codecs; ++i) { if (mean && $i != figure[$1, $3, i]) print; figure[$1, $3, i] = $i } }'
expect 'JPEG takes no samples of 12 bits' rowCount '$1 == "grey16" && $at["JPEG"] == "n/a"' 12
expect 'JPEG takes the others' noRowThat '$1 != "grey16" && $3 > 10 && $at["JPEG"] == "n/a"'

sed 's/\t12\t/\t8\t/' "$work/list" >"$work/contradiction"
run python3 -m teko_bench.prefix "$work/contradiction" "$build/teko"
expect 'bits that do not fit the bytes are refused' grep -qF 'do not go together' "$work/err"

run python3 "$root/tests/scripts/packetCuts.py" "$root" "$work/grey.pgm" "$work"
expect 'cut at packets, grey' ended 0
run python3 "$root/tests/scripts/packetCuts.py" "$root" "$work/rgb.ppm" "$work"
expect 'cut at packets, colour' ended 0
finish

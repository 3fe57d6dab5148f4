#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# What the demo says of images of every type, and what it leaves of them. Status 77 without netpbm.
# usage: demoTest.sh BUILD
set -euo pipefail
. "$(dirname "$0")/support.sh"

for command in pngtopnm pnmtopng pnmdepth pnmcat pnmcut pamfile ppmtopgm; do
    type -P "$command" >/dev/null || exit 77
done
TEKO_BUILD=$(realpath "$1")
export TEKO_BUILD
mkdir "$work/a folder"
cd "$work/a folder"
: >"$calls"

# lossless IMAGE CHANGE [ANYMAP]: coded after this change, or none if it is empty; comes back as this anymap, if given
lossless() {
    rm -rf kept
    run "$scripts/demo" --keep kept "$1"
    expect "$1 is coded" ended 0
    expect "$1: no complaint" [ ! -s "$work/err" ]
    expect "$1: identical" says 'came back identical, byte for byte, to the samples that were coded:'
    if [ -n "$2" ]; then
        expect "$1: what is changed" says "Changed before it is coded: $2"
        expect "$1: what is identical" says "those of the image as changed ($2)."
    else
        expect "$1: nothing is changed" silent hanged
        expect "$1: all is identical" says 'all of those in the image, as they are there.'
    fi
    if [ -n "${3-}" ]; then
        expect "$1: what it decodes to" cmp <(pngtopnm kept/lossless.png) "$3"
    fi
}

"$TEKO_BUILD/makeSample" 24 16 >rgb.ppm
ppmtopgm rgb.ppm >grey.pgm
# 16 bits that 8 cannot say
{ printf 'P6\n12 16\n65535\n' && tail -c 1152 rgb.ppm; } >rgb16.ppm
{ printf 'P5\n12 16\n65535\n' && tail -c 384 grey.pgm; } >grey16.pgm
pnmdepth 255 rgb16.ppm >rgb16to8.ppm
pnmdepth 4095 grey.pgm >grey12.pgm
pnmdepth 1000 grey.pgm >grey1000.pgm
pnmdepth 15 grey.pgm >grey15.pgm
pnmdepth 31 rgb.ppm >rgb31.ppm
pnmdepth 3 rgb.ppm | pnmdepth 255 >few.ppm
printf 'P1\n8 8\n%s\n' '0110100110010110011010010110100110010110100101100110100110010110' >plain.pbm
pnmcat -tb plain.pbm >bitmap.pbm
pnmdepth 1 plain.pbm >bits.pgm 2>/dev/null
cat rgb.ppm rgb.ppm >two.ppm

lossless rgb.ppm '' rgb.ppm
lossless grey.pgm '' grey.pgm
lossless grey12.pgm ''
lossless grey15.pgm '' grey15.pgm
lossless grey1000.pgm ''
expect 'the peak of the PSNR' says 'PSNR is for a peak of 1023, not 1000'
lossless grey16.pgm '' grey16.pgm
lossless rgb31.ppm ''
lossless rgb16.ppm 'samples reduced from 16 bits to 8, maxval 65535 to 255' rgb16to8.ppm
lossless plain.pbm 'each bit unpacked into a byte' bitmap.pbm
lossless bitmap.pbm 'each bit unpacked into a byte' bitmap.pbm
lossless two.ppm 'only the first of 2 images taken' rgb.ppm

# makePng ANYMAP NAME OPTION...
makePng() { pnmtopng "${@:3}" "$1" >"$2" 2>/dev/null; }
makePng rgb.ppm rgb.png -force
makePng rgb.ppm interlaced.png -force -interlace
makePng rgb16.ppm rgb16.png
makePng grey12.pgm grey12.png
makePng plain.pbm bit.png
makePng grey16.pgm greyAlpha.png -alpha grey16.pgm
makePng rgb.ppm rgbAlpha.png -force -alpha grey.pgm
makePng few.ppm palette.png
makePng rgb.ppm transparent.png -force -transparent "$(tail -c 3 rgb.ppm | od -An -tx1 | sed 's/ //g; s/^/#/')"
lossless rgb.png '' rgb.ppm
lossless interlaced.png '' rgb.ppm
lossless rgb16.png 'samples reduced from 16 bits to 8, maxval 65535 to 255' rgb16to8.ppm
lossless bit.png 'each bit unpacked into a byte' bitmap.pbm
lossless greyAlpha.png 'alpha dropped' grey16.pgm
lossless rgbAlpha.png 'alpha dropped' rgb.ppm
lossless palette.png 'palette replaced by its colours' few.ppm
lossless transparent.png 'transparency dropped' rgb.ppm
lossless grey12.png 'the 12 bits of 16 taken that the chunk sBIT calls significant'

# makePam ANYMAP DEPTH TYPE: 24 x 4 pixels of so many bytes, out of the raster of an anymap
makePam() {
    printf 'P7\nWIDTH 24\nHEIGHT 4\nDEPTH %d\nMAXVAL 255\nTUPLTYPE %s\nENDHDR\n' "$2" "$3"
    tail -c $((24 * 4 * $2)) "$1"
}
if type -P pamtopnm >/dev/null; then
    makePam rgb.ppm 1 GRAYSCALE >grey.pam
    makePam rgb.ppm 2 GRAYSCALE_ALPHA >greyAlpha.pam
    makePam rgb.ppm 3 RGB >rgb.pam
    makePam rgb.ppm 4 RGB_ALPHA >rgbAlpha.pam
    lossless grey.pam ''
    lossless greyAlpha.pam 'alpha dropped'
    lossless rgb.pam ''
    lossless rgbAlpha.pam 'alpha dropped'
fi

cp grey.pgm ./-dash.pgm
lossless -dash.pgm '' grey.pgm
lossless ./-dash.pgm '' grey.pgm

# small "WIDTH HEIGHT": small.pgm
small() {
    local width height
    read -r width height <<<"$1"
    pnmcut 0 0 "$width" "$height" grey.pgm >small.pgm
}
small '4 5'
lossless small.pgm '' small.pgm
expect 'a rate that leaves nothing to decode' grep -qE '^0\.01 +10 +4\.000 +-$' "$work/out"
expect 'what a dash means' says '-: the rate leaves no whole word'
# shellcheck disable=SC2317 # expect calls it
different() { ! cmp -s <(pngtopnm "$1") small.pgm; }
for sides in '2 5' '3 16' '24 2' '13 2'; do
    small "$sides"
    run "$scripts/demo" --keep kept small.pgm
    expect "$sides ends well" ended 0
    expect "$sides: no complaint" [ ! -s "$work/err" ]
    if says 'did not come back'; then
        expect "$sides: the limit is named" says 'images with a side of 2 or 3 samples do not.'
        expect "$sides: not identical" silent identical
        expect "$sides: nor does the picture show it" different kept/lossless.png
    else
        expect "$sides: identical" says identical
    fi
done
expect 'three bytes behind the header' grep -qE '^0\.5 +13 +4\.000 +-$' "$work/out"
small '2 5'
run "$scripts/demo" small.pgm
expect '2 x 5 does not come back' says 'did not come back unchanged'
for sides in '1 7' '7 1' '1 1'; do
    small "$sides"
    run "$scripts/demo" small.pgm
    expect "$sides is refused" refusedWith 'refuses what is one sample wide or high ("Image format not supported")'
done
small '1 7'
run "$scripts/demo" small.pgm
expect 'the cure' grep -q 'pnmtile 4 7 IMAGE' "$work/err"

{ printf 'P6\n64 64\n255\n' && cat "$scripts/../tests/golden/raw/wrap_g3_64x64_max11_n.raw"; } >extreme.ppm
run "$scripts/demo" extreme.ppm
expect 'extreme samples end well' ended 0
expect 'extreme samples: the limit is named' says 'with extreme samples in certain patterns'
expect 'extreme samples: not identical' silent identical

head -c 100 rgb.ppm >short.ppm
run "$scripts/demo" short.ppm
expect 'an image that ends early is refused' refusedWith "netpbm cannot read"

mkdir -p kept
echo mine >kept/mine.txt
run "$scripts/demo" --keep kept grey.pgm
expect 'other files are kept' grep -q mine kept/mine.txt
for name in rate-0.05 rate-0.5 lossless; do
    expect "$name.tk is left" [ -s "kept/$name.tk" ]
    expect "$name.png is left" [ -s "kept/$name.png" ]
done
small '4 5'
run "$scripts/demo" --keep kept small.pgm
expect 'no picture of an earlier run is left beside a file that does not decode' [ ! -e kept/rate-0.05.png ]
lossless grey.pgm ''
run "$TEKO_BUILD/teko" d kept/lossless.tk back.raw
expect 'the lossless file is that of the image' cmp back.raw <(tail -c 384 grey.pgm)

run "$scripts/demo"
expect 'without an image there is a sample' says 'sample.ppm: 1536 x 1024'
finish

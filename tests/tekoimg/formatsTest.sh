#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Formats there and back: the samples of a .tk are those that another library wrote, and come back in every format.
. "$(dirname "$0")/support.sh"

# comesBack KIND WIDTH HEIGHT EXTENSION [PNM ENDING]: to the samples, and through its own format to the same .tk
comesBack() {
    local kind=$1 name=$1.$4
    make "$kind" "$2" "$3" "$name" expected
    run encode --strict "$name" -o one.tk --force
    expect "$kind is encoded" endedSilently
    run decode one.tk -o "one.${5:-pnm}" --force
    expect "$kind is decoded" endedSilently
    expect "$kind has its samples" same "one.${5:-pnm}" expected
    run decode one.tk -o "again.$4" --force
    run encode "again.$4" -o two.tk --force
    expect "$kind comes back through its format" same one.tk two.tk
    run compare one.tk "$name"
    expect "$kind is equal to its .tk" ended 0
    expect "$kind has no difference" says 'mse 0, psnr inf dB, largest difference 0'
}

for depth in 1 2 4 8 16; do
    comesBack "png-$depth" 70 61 png
    comesBack "png-$depth-interlaced" 33 50 png
done
comesBack png-rgb 67 45 png
comesBack png-rgb-interlaced 45 67 png
for order in le be; do
    for layout in strips tiles strips-lzw tiles-lzw; do
        comesBack "tiff-8-$layout-$order" 100 77 tif
        comesBack "tiff-16-$layout-$order" 77 100 tif
        comesBack "tiff-rgb-$layout-$order" 91 53 tiff
        comesBack "tiff-rgb-planar-$layout-$order" 53 91 tiff
    done
    comesBack "tiff-12-$order" 64 64 tif
done
for version in v1 v2; do
    comesBack "npy-u1-$version" 40 30 npy
    comesBack "npy-rgb-u1-$version" 30 40 npy
    comesBack "npy-u2-little-$version" 50 30 npy
    comesBack "npy-u2-big-$version" 50 30 npy
done
comesBack pnm-5-255 40 41 pgm
comesBack pnm-5-65535 40 41 pgm
comesBack pnm-5-4095 40 41 pgm
comesBack pnm-5-15 40 41 pgm
comesBack pnm-2-511 19 23 pgm
comesBack pnm-6-255-rgb 41 40 ppm
comesBack pnm-3-31-rgb 17 12 ppm
comesBack pnm-7-255-rgb 41 40 pam
comesBack pnm-7-1023 41 40 pam

# bitmaps, whose 1 is black
make pnm-1 37 21 bitmap.pbm expected
run encode bitmap.pbm
expect 'comments are named' complains 'comments'
run decode bitmap.tk -o back.pgm
expect 'a bitmap is a grey image of one bit' same back.pgm expected
run decode bitmap.tk -o back.pbm
run encode back.pbm -o again.tk
expect 'a bitmap comes back' same bitmap.tk again.tk

# maxvals that are no 2^n - 1
for maxval in 1000 100; do
    make "pnm-5-$maxval" 40 41 odd.pgm
    run encode odd.pgm --force
    expect 'an odd maxval is named' complains "maxval $maxval (decode with --maxval $maxval)"
    run decode odd.tk -o odd.back.pgm --maxval "$maxval" --force
    expect 'an odd maxval comes back' same odd.pgm odd.back.pgm
done
run encode odd.pgm --strict -o strict.tk
expect '--strict refuses it' ended 1
expect 'and writes nothing' absent strict.tk

# signed samples
for order in little big; do
    make "npy-i2-$order" 40 30 "signed-$order.npy"
    run encode "signed-$order.npy"
    expect 'signedness is named' complains 'signedness (decode with --signed)'
done
expect 'the order of bytes is not in a .tk' same signed-little.tk signed-big.tk
run decode signed-little.tk --signed -o back.npy
expect 'signed samples come back as .npy' same back.npy signed-little.npy
run compare --signed signed-little.tk signed-big.npy
expect 'and are equal' ended 0
run decode signed-little.tk --signed -o back.tif
run encode back.tif -o tiff.tk
expect 'signed samples come back through TIFF' same tiff.tk signed-little.tk
run decode signed-little.tk --signed -o signed.png
expect 'PNG has no signed samples' complains 'choose --format tiff or npy'

# pipes, of every format
for kind in png-rgb tiff-16-tiles-be npy-u2-big pnm-5-255; do
    make "$kind" 60 50 image expected
    "$tekoimg" encode - <image >pipe.tk 2>"$work/err"
    status=$?
    expect "$kind goes through a pipe" endedSilently
    "$tekoimg" decode - --format pnm <pipe.tk | cmp -s - expected
    status=$?
    expect "$kind comes back through a pipe" ended 0
    "$tekoimg" decode pipe.tk -o - --format tiff | "$tekoimg" encode - -o - | cmp -s - pipe.tk
    status=$?
    expect 'TIFF goes through pipes both ways' ended 0
done

# what a .tk does not hold is named, refused with --strict, and the samples are those without it
make png-rgb-alpha-meta 50 40 meta.png expected
run encode meta.png
expect 'losses of PNG are named' complains 'a .tk does not hold it: alpha, gamma, resolution, text'
run decode meta.tk -o meta.ppm
expect 'alpha is left out' same meta.ppm expected
make png-rgb-chunks 50 40 chunks.png
run encode chunks.png
expect 'chunks that libpng does not know are named' complains 'does not hold it: animation, the chunk teSt'
make tiff-rgb-alpha-meta-pages 50 40 meta.tif
run encode meta.tif -o tiff.tk --force
expect 'losses of TIFF are named' complains \
    'alpha or other channels behind the third, orientation, colour profile, resolution, the tag Software, 1 further'
expect 'channels behind the third are left out' same tiff.tk meta.tk
run encode meta.tif --strict -o no.tk
expect '--strict names them' complains 'does not hold: alpha'
expect '--strict refuses them' ended 1
make pnm-7-255-rgb-alpha 50 40 meta.pam
run encode meta.pam -o pam.tk
expect 'alpha of PAM is named' complains 'alpha'
expect 'and left out' same pam.tk meta.tk
make tiff-8-white 50 40 white.tif
make tiff-8 50 40 black.tif
run encode white.tif
expect 'white as 0 is named' complains 'white is 0'
run encode black.tif
run compare white.tif black.tif
expect 'and inverted' ended 1
make pnm-5-4095 30 30 twelve.pgm
run encode twelve.pgm
run decode twelve.tk
expect 'PNG does not say 12 bits' complains 'that its samples have 12 bits'
expect 'and is written' ended 0
run decode twelve.tk --strict -o no.png
expect 'but not with --strict' ended 1

# budgets, cutting, thumbnails
make png-rgb 300 200 picture.png
run encode picture.png --bytes 5000
expect 'a budget of bytes is kept' [ "$(stat -c %s picture.tk)" -eq 5000 ]
run info picture.tk
expect 'a cut file is described' says 'teko, 300 x 200, RGB, 8 bits, 5000 bytes, 2.78 % of raw, cut'
run decode picture.tk -o approximation.png
expect 'a cut file is said to be one' complains 'ends early: the image is an approximation'
run compare approximation.png picture.png
expect 'an approximation differs' ended 1
run encode picture.png --rate 0.1 --force
expect 'a rate is kept' [ "$(stat -c %s picture.tk)" -eq 18000 ]
run encode picture.png --force
run cut picture.tk -o cut.tk --percent 10
expect 'a percentage is kept' [ "$(stat -c %s cut.tk)" -le "$(($(stat -c %s picture.tk) / 10))" ]
run cut picture.tk -o bytes.tk --bytes 5000
run encode picture.png -o budget.tk --bytes 4998
expect 'cutting is what a budget does' same bytes.tk budget.tk
run thumbnail picture.tk --size 75
run info picture.thumbnail.png
expect 'a thumbnail has the largest size that fits' says 'PNG, 75 x 50, RGB, 8 bits'
run thumbnail picture.tk --size 74 --force
run info picture.thumbnail.png
expect 'or is half of it' says 'PNG, 38 x 25, RGB, 8 bits'
run thumbnail picture.tk --size 3 -o tiny.png
run info tiny.png
expect 'beyond the levels, means' says 'PNG, 3 x 2, RGB, 8 bits'
make tiff-16-be 400 400 wide.tif
run encode wide.tif
run thumbnail wide.tk
run info wide.thumbnail.png
expect 'a thumbnail has 8 bits' says 'PNG, 200 x 200, grey, 8 bits'
finish

#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# What is refused: by its name, with what to do instead, and without an output.
. "$(dirname "$0")/support.sh"

# refused NAME TEXT
refused() {
    run encode "$1" -o refused.tk
    expect "$1 is refused" ended 1
    expect "$1 is refused for its reason" complains "$2"
    expect "$1 leaves nothing" absent refused.tk
    expect "$1 leaves no part" absent refused.tk.part
}

# text NAME CONTENT TEXT: the content, printf's way
text() {
    # shellcheck disable=SC2059 # it is a format
    printf "$2" >"$1"
    refused "$1" "$3"
}

make png-palette 40 30 palette.png
refused palette.png 'has a palette'
make png-16-rgb 40 30 rgb16.png
refused rgb16.png 'RGB of 16 bits'
make tiff-16-rgb 40 30 rgb16.tif
refused rgb16.tif 'RGB of 16 bits'
make tiff-cmyk 40 30 cmyk.tif
refused cmyk.tif 'CMYK'
make tiff-16-float 40 30 float.tif
refused float.tif 'floating-point samples of 16 bits'
make tiff-8-signed 40 30 signed8.tif
refused signed8.tif 'signed or complex samples of 8 bits'
make tiff-8-wrongmaximum 40 30 maximum.tif
refused maximum.tif 'encode it with --bits 8'
run encode maximum.tif --bits 8
expect 'and with them encoded' ended 0
make pnm-6-1023-rgb 10 10 rgb16.ppm
refused rgb16.ppm 'RGB of 16 bits'
make npy-f4-u2 10 10 float.npy
refused float.npy "samples of type '<f4'"
make npy-u2-fortran 10 10 fortran.npy
refused fortran.npy 'Fortran order'
make png-8 3 30 thin.png
refused thin.png 'does not come back unchanged'
run encode thin.png --bytes 1000
expect 'with a budget it is an approximation' ended 0
make png-8 1 30 thinner.png
refused thinner.png 'keep this image in its own format'

# PNM, strictly
text empty.pgm '' 'is empty'
text end1.pgm 'P5\n3' 'ends before its height'
text end2.pgm 'P5\n4 4\n255\n0123456789' 'ends in row 3 of 4'
text end3.pgm 'P2\n4 4\n255\n1 2 3 4 5' 'ends in row 2 of 4'
text more.pgm 'P5\n2 2\n255\n01234' 'goes on behind its last row'
text moreplain.pgm 'P2\n2 2\n255\n0 1 2 3 4' 'goes on behind its last row'
text above.pgm 'P5\n2 2\n9\n\001\002\012\003' 'the sample 10 above its maxval 9'
text aboveplain.pgm 'P2\n2 2\n9\n1 2 3 10' 'the sample 10 above its maxval 9'
text zero.pgm 'P5\n2 2\n0\n0123' 'the maxval 0'
text large.pgm 'P5\n2 2\n65536\n0123' 'the maxval 65536'
text side.pgm 'P5\n0 2\n255\n' 'there is no sample in it'
text sides.pgm 'P5\n70000 2\n255\n' 'at most 65535'
text digits.pgm 'P5\n99999999999 2\n255\n' 'too large a number'
text word.pgm 'P5\nx 2\n255\n' 'no number for its width'
text minus.pgm 'P2\n2 2\n255\n1 2 -3 4' 'no number for its sample'
text letter.pgm 'P2\n2 2\n255\n1 2 3x 4' 'something else than numbers'
text bits.pbm 'P1\n2 2\n0 1 2 1' 'something else than 0 and 1'
text keyword.pam 'P7\nWIDTH 2\nFOO 3\nENDHDR\n' "the line 'FOO'"
text depth.pam 'P7\nWIDTH 2\nHEIGHT 2\nDEPTH 7\nMAXVAL 255\nENDHDR\n' 'has 7 channels'
text nodepth.pam 'P7\nWIDTH 2\nHEIGHT 2\nMAXVAL 255\nENDHDR\n' 'no DEPTH'
text type.pam 'P7\nWIDTH 2\nHEIGHT 2\nDEPTH 3\nMAXVAL 255\nTUPLTYPE LAB\nENDHDR\n' "of type 'LAB'"

# .npy, strictly
text end.npy '\223NUMPY\001\000' 'ends within its header'
text version.npy '\223NUMPY\003\000\002\000\000\000{}' 'version 3'
text header.npy '\223NUMPY\001\000\002\000{}' 'not as numpy.save writes it'
# dictionary TEXT SAMPLES: a content for text
dictionary() {
    printf '\\223NUMPY\\001\\000\\%03o\\000%s%s' "${#1}" "$1" "$2"
}
text shape.npy "$(dictionary "{'descr': '|u1', 'fortran_order': False, 'shape': (2, 2, 2, 2)}" '')" '(2, 2, 2, 2)'
text short.npy "$(dictionary "{'descr': '|u1', 'fortran_order': False, 'shape': (2, 2)}" 012)" 'ends in row 2 of 2'
text long.npy "$(dictionary "{'descr': '|u1', 'fortran_order': False, 'shape': (2, 2)}" 01234)" 'goes on behind'

# others
text jpeg.png '\377\330\377\340' 'is JPEG'
text words.png 'hello' 'no image that tekoimg knows'
make png-rgb 60 50 whole.png
head -c 1000 whole.png >cut.png
refused cut.png 'ends early'
head -c 5 whole.png >stub.png
refused stub.png 'no image that tekoimg knows'
sed 's/IDAT/IDAU/' whole.png >damaged.png
refused damaged.png 'libpng'
text chunk.png '\211PNG\015\012\032\012\000\000\000\015IHDR\000\000\000\002\000\000\000\002\010\002\000\000\000\375\324\232sL\000\000\003tEXta' \
    'tEXt: chunk data is too large'
make tiff-16 60 50 whole.tif
head -c 4000 whole.tif >cut.tif
refused cut.tif 'libtiff'
# field NUMBER VALUE: a field of 16 bits of a TIFF, for text
field() {
    printf '\\%03o\\%03o\\003\\000\\001\\000\\000\\000\\%03o\\%03o\\000\\000' \
        $(($1 & 255)) $(($1 >> 8)) $(($2 & 255)) $(($2 >> 8))
}
text channels.tif "II*\\000\\010\\000\\000\\000\\011\\000$(field 256 1000)$(field 257 1000)$(field 258 8)$(field 259 5
    )$(field 262 1)$(field 273 8)$(field 277 60000)$(field 278 1000)$(field 279 8)\\000\\000\\000\\000" \
    'far larger than the image'

# .tk files
run encode whole.png -o whole.tk
refused whole.tk 'is a .tk already'
head -c 12 whole.tk >short.tk
run decode short.tk
expect 'a .tk of 12 bytes is refused' complains 'too short'
run decode whole.png -o no.ppm
expect 'a PNG is no .tk' ended 1
run decode whole.tk -o no.xyz
expect 'an unknown ending is refused' complains 'names no format'
run decode whole.tk -o no.pgm
expect 'RGB is no PGM' complains 'name the output .ppm'
run decode whole.tk -o no.png --maxval 100
expect 'PNG has no maxval' complains 'choose --format pnm'
run decode whole.tk --signed -o no.png
expect 'bytes are not signed' complains 'leave --signed out'
run cut whole.tk -o no.tk --bytes 5
expect 'a budget may be too small' complains 'give more --bytes'
cat whole.tk whole.png >behind.tk
run decode behind.tk
expect 'bytes behind the image are named' complains 'bytes behind the image'

# the command line
for arguments in '' 'frobnicate' 'encode' 'encode --nonsense x' 'encode x --bytes 1 --rate 1' 'encode x --rate 2' \
    'cut x --bytes 9' 'compare x' 'decode x --format jpeg'; do
    # shellcheck disable=SC2086 # words
    run $arguments
    expect "'$arguments' is refused" ended 2
    expect "'$arguments' is refused by a line" complains 'see tekoimg '
done
run cut whole.tk -o no.tk
expect 'cutting needs a size' complains 'give --bytes or --percent'
run compare whole.tk whole.tif
expect 'what cannot be compared has status 2' ended 2
run compare whole.tk missing.png
expect 'what is not there has status 2' ended 2
run cut whole.tk
expect 'what an option is wrong for is named' complains 'see tekoimg cut --help'
for command in '' encode decode info cut compare thumbnail; do
    # shellcheck disable=SC2086 # a word or none
    run $command --help
    expect "help of '$command'" ended 0
    expect "help of '$command' goes to standard output" says Usage
done
run --version
expect 'the version' says 'tekoimg '
finish

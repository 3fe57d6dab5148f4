#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Many files and folders: what becomes of each, which names they get, and what is said.
. "$(dirname "$0")/support.sh"

mkdir -p in/below
make png-rgb 60 50 in/a.png
make tiff-16-tiles-be 50 60 in/below/b.tif
make pnm-5-255 40 40 in/c.pgm
make npy-u2 40 40 in/d.NPY
head -c 1500 in/a.png >in/damaged.png
: >in/zero.pgm
echo notes >in/notes.txt
cp -r in before
good='a.tk below below/b.tk c.tk d.tk'

for jobs in 1 2 0; do
    run encode in missing.png -o "out$jobs" --jobs "$jobs"
    expect 'a folder with bad files has status 1' ended 1
    expect 'the last line counts them' lastLineIs \
        'tekoimg: 4 of 7 images encoded, 3 failed; 1 other files left alone'
    expect 'the damaged one is named' complains 'in/damaged.png: '
    expect 'the missing one is named' complains \
        'missing.png: cannot be opened: No such file or directory; check the name'
    expect 'the empty one is named' complains 'in/zero.pgm: is empty'
    expect 'a log has no progress bar' [ "$(tr -cd '\r\033' <"$work/err" | wc -c)" -eq 0 ]
    # shellcheck disable=SC2086 # names
    expect 'the good ones are there, and nothing else' holds "out$jobs" $good
done
expect 'as many at a time make the same' diff -r out1 out2
expect 'no input is lost' diff -r in before

run decode out1 -o back --format tiff --jobs 2
expect 'a folder is decoded' ended 0
expect 'with folders as they were' holds back a.tif below below/b.tif c.tif d.tif
run encode back -o again
expect 'and encoded again' diff -r out1 again
run info in/a.png out1
expect 'info has a line for each' [ "$(wc -l <"$work/out")" -eq 5 ]
run encode in/notes.txt
expect 'a file that is named is taken by its content' complains 'no image that tekoimg knows'

# beside the inputs
cp in/a.png in/c.pgm .
run encode a.png c.pgm --quiet
expect 'quiet says nothing' endedSilently
expect 'outputs are beside' [ -e a.tk ]
run encode a.png c.pgm missing.png --quiet --force
expect 'quiet counts failures' lastLineIs 'tekoimg: 2 of 3 images encoded, 1 failed'

# existing files
echo mine >a.tk
run encode a.png c.pgm
expect 'existing files are kept' complains 'a.tk exists already and is kept; choose another name behind -o, or --force replaces it'
expect 'the status tells' ended 1
expect 'kept as they are' [ "$(cat a.tk)" = mine ]
run encode a.png --force
expect '--force replaces' ended 0
expect 'with the whole file' same a.tk out1/a.tk

# names
mkdir twins
cp in/a.png twins/x.png
cp in/c.pgm twins/x.pgm
for arguments in 'twins' 'twins/x.png twins/x.pgm' 'twins/x.png in/../twins/x.pgm' 'a.png twins twins/x.png -o twins' \
    'twins/x.png in/a.png ./twins/x.png -o one'; do
    # shellcheck disable=SC2086 # words
    run encode $arguments
    expect "'$arguments' has one name for two" complains 'would both become'
    expect "'$arguments' is refused" ended 1
    expect "'$arguments' writes nothing" holds twins x.pgm x.png
    expect "'$arguments' makes nothing" absent one
done
cp in/a.png disguised.tk
run encode disguised.tk --force
expect 'an input is no output' complains 'is the input disguised.tk'
expect 'and stays' same disguised.tk in/a.png
run cut out1/a.tk -o out1/a.tk --bytes 100 --force
expect 'nor with cut' complains 'is the input'
run encode in -o a.png
expect 'many files need a folder' complains 'is a file'
run encode in/a.png -o other.png
expect 'a .tk has no ending of another format' complains 'other.png would be a .tk under the ending of another format'
expect 'and none is made' absent other.png
run encode in/a.png other.tk
expect 'outputs are behind -o' complains 'other.tk: cannot be opened: No such file or directory; check the name, or put'
run encode in -o -
expect 'a pipe takes one' complains 'takes one image'
run encode - -o out1
expect 'a pipe has no name' complains 'has no name'
run encode in/a.png -o new/folder/
expect 'a folder is made' same new/folder/a.tk out1/a.tk
mkdir nothing
run encode nothing
expect 'an empty folder is told' complains 'there is no image'
run encode a.png -o ./-x.tk
expect 'names that begin with a minus' ended 0
run decode -o ./x.png -- -x.tk
expect 'come back behind --' ended 0

# a progress bar on a terminal
if type -P script >/dev/null; then
    script -qec "'$tekoimg' encode in/a.png in/c.pgm -o terminal" /dev/null </dev/null >"$work/out" 2>&1
    status=$?
    expect 'a terminal gets a bar' says '] 2 of 2, 0 failed'
fi
finish

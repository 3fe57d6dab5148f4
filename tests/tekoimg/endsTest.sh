#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A device that is full, a program that is killed, another one that is at the same file: no half file under a name.
. "$(dirname "$0")/support.sh"

make png-rgb 400 300 a.png
make pnm-5-255 400 300 b.pgm
run encode a.png
run encode b.pgm
mkfifo pipe

# begin: encodes what comes from the pipe in the background, up to where the part of x.tk is there. Its
# rest is sent by feed.
begin() {
    env --default-signal=INT,TERM,HUP "$tekoimg" encode - -o x.tk <pipe >"$work/out" 2>"$work/err" &
    process=$!
    exec 9>pipe
    head -c 5000 b.pgm >&9
    until [ -e x.tk.part ] || ! kill -0 "$process" 2>/dev/null; do
        sleep 0.01
    done
}
feed() {
    tail -c +5001 b.pgm >&9
    close
}
close() {
    exec 9>&-
    status=0
    wait "$process" 2>/dev/null || status=$?
}
# killedBy SIGNAL: its input goes on
killedBy() {
    kill -s "$1" "$process"
    status=0
    wait "$process" 2>/dev/null || status=$?
    exec 9>&-
}

begin
feed
expect 'a run that is not disturbed' ended 0
expect 'makes the file' same x.tk b.tk
rm x.tk

for signal in INT TERM HUP; do
    begin
    killedBy "$signal"
    expect "$signal ends by the signal" [ "$(kill -l "$status" 2>/dev/null)" = "$signal" ]
    expect "$signal leaves no file" absent x.tk
    expect "$signal leaves no part" absent x.tk.part
done

begin
killedBy KILL
expect 'KILL leaves no file' absent x.tk
expect 'but a part' [ -e x.tk.part ]
run encode b.pgm -o x.tk
expect 'which the next run replaces' ended 0
expect 'with the whole file' same x.tk b.tk
expect 'and takes away' absent x.tk.part
rm x.tk

begin
run encode a.png -o x.tk
expect 'two runs do not make one file' complains 'is being written by another run'
expect 'the second fails' ended 1
feed
expect 'the first does not' ended 0
expect 'and has its file' same x.tk b.tk
rm x.tk

begin
echo mine >x.tk
feed
expect 'a file that comes in between is kept' [ "$(cat x.tk)" = mine ]
expect 'and told' complains 'exists already and is kept'
expect 'with status 1' ended 1
expect 'without a part' absent x.tk.part
rm x.tk

begin
close
expect 'an input that ends early fails' complains 'ends in row'
expect 'without a file' absent x.tk
expect 'or a part' absent x.tk.part

echo mine >victim
ln -s victim x.tk.part
run encode b.pgm -o x.tk
expect 'a link is no part' ended 1
expect 'and not followed' [ "$(cat victim)" = mine ]
rm x.tk.part
run encode b.pgm -o /dev/null --force
expect 'a device is no file' complains 'no regular file'
expect 'and stays' [ -c /dev/null ]

# full devices
for arguments in 'encode a.png -o -' 'decode a.tk -o -' 'info a.tk' 'compare a.tk a.tk' '--help' '--version'; do
    status=0
    # shellcheck disable=SC2086 # words
    "$tekoimg" $arguments >/dev/full 2>"$work/err" || status=$?
    expect "'$arguments' to a full device" [ "$status" -ne 0 ]
    expect "'$arguments' says so" complains 'tekoimg: '
done
status=0
"$tekoimg" encode - </ >"$work/out" 2>"$work/err" || status=$?
expect 'a read that fails' complains 'cannot be read'
expect 'has status 1' ended 1

# fillsUp FOLDER COMMAND...: in it there is less room than any of these need
fillsUp() {
    local folder=$1 name
    shift
    for name in encode.tk decode.png decode.pgm decode.pam decode.tif decode.npy; do
        status=0
        "$@" "$tekoimg" "${name%.*}" "$([ "${name%.*}" = encode ] && echo b.pgm || echo b.tk)" -o "$folder/$name" \
            >"$work/out" 2>"$work/err" || status=$?
        expect "$name finds no room" ended 1
        expect "$name says so" complains 'make room and run it again'
        expect "$name leaves nothing" absent "$folder/$name"
        expect "$name leaves no part" absent "$folder/$name.part"
    done
}
mkdir limited
# shellcheck disable=SC2016 # for the other shell
fillsUp limited bash -c 'ulimit -f 16; exec "$@"' limited
if [ "$(id -u)" -eq 0 ] && mkdir full && mount -t tmpfs -o size=16k tmpfs full 2>/dev/null; then
    trap 'umount "$work/files/full"; rm -rf "$work"' EXIT
    fillsUp full env
    run encode a.png b.pgm -o full --jobs 2
    expect 'a full device fails every image' lastLineIs 'tekoimg: 0 of 2 images encoded, 2 failed'
    expect 'and stays empty' [ -z "$(ls -A full)" ]
fi
finish

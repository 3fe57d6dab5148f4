#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A hundred images of every sort with bad ones among them: as they are, on a device that fills up, and by runs that are
# killed. What has its name is whole, what is missing is told, and the images stay as they were.
. "$(dirname "$0")/support.sh"

kinds=(tiff-12-{le,be} pnm-5-4095 pnm-7-4095 pnm-7-255-rgb png-rgb{,-interlaced} png-{1,2,4,8,16}{,-interlaced}
    tiff-{8,16,rgb,rgb-planar}-{strips,tiles}{,-lzw}-{le,be} npy-{u1,rgb-u1,u2-little,u2-big}-v{1,2}
    pnm-5-{255,65535} pnm-2-511 pnm-6-255-rgb pnm-3-31-rgb)
extensionFor() {
    case $1 in
    png-*) echo png ;;
    tiff-*) echo tif ;;
    npy-*) echo npy ;;
    pnm-7-*) echo pam ;;
    *) echo pnm ;;
    esac
}

# 97 that are good, every third in a folder of its own; one is damaged, one empty, and missing.png is not there.
mkdir -p in/below expected/below
for ((i = 0; i < 95; ++i)); do
    kind=${kinds[i % ${#kinds[@]}]}
    name=$([ $((i % 3)) -ne 0 ] || echo below/)$(printf '%02d' "$i")-$kind
    make "$kind" $((40 + i % 37)) $((30 + i % 23)) "in/$name.$(extensionFor "$kind")" "expected/$name.pnm"
done
for slow in 25 60; do
    make pnm-5-255 200 150 "in/$slow.pgm" "expected/$slow.pnm"
done
make png-rgb 60 50 whole.png
head -c 1500 whole.png >in/below/damaged.png
: >in/zero.tif
cp -r in before
expect 'a hundred with the one that is missing' [ "$(find in -type f | wc -l)" -eq 99 ]

run_all() { run encode in missing.png -o "$@"; }
countOf() { find "$1" -name '*.tk' | wc -l; }

# two that would get one name
cp "in/25.pgm" "in/25.ppm"
run_all whole
expect 'two with one name are refused' complains 'in/25.pgm and in/25.ppm would both become whole/25.tk'
expect 'with status 1' ended 1
expect 'before anything is written' absent whole
rm in/25.ppm

for jobs in 1 2; do
    run_all "whole$jobs" --jobs "$jobs"
    expect 'bad ones give status 1' ended 1
    expect 'and are counted' lastLineIs 'tekoimg: 97 of 100 images encoded, 3 failed'
    expect 'the damaged one is told' complains 'tekoimg: in/below/damaged.png: ends early; fetch or make it again'
    expect 'the empty one is told' complains 'tekoimg: in/zero.tif: is empty; fetch or make it again'
    expect 'the missing one is told' complains 'tekoimg: missing.png: cannot be opened: No such file'
    expect 'no other is' [ "$(grep -c . "$work/err")" -eq 4 ]
    expect 'the good ones are there' [ "$(countOf "whole$jobs")" -eq 97 ]
    expect 'without parts' noParts "whole$jobs"
    run decode "whole$jobs" -o "back$jobs" --format pnm --jobs "$jobs"
    expect 'they are decoded' ended 0
    expect 'to the samples of every one' diff -r "back$jobs" expected
done
mv whole1 whole
expect 'two at a time make the same files' diff -r whole whole2
expect 'images stay as they are' diff -r in before

# a device that fills up half-way
if [ "$(id -u)" -eq 0 ] && mkdir full && mount -t tmpfs -o "size=$(($(du -s --block-size=1 whole | cut -f1) / 2))" \
    tmpfs full 2>/dev/null; then
    trap 'umount "$work/files/full"; rm -rf "$work"' EXIT
    for jobs in 1 2; do
        run_all full --jobs "$jobs"
        made=$(countOf full)
        expect 'a full device gives status 1' ended 1
        expect 'after some images' [ "$made" -gt 10 ]
        expect 'before others' [ "$made" -lt 97 ]
        expect 'which are counted' lastLineIs "tekoimg: $made of 100 images encoded, $((100 - made)) failed"
        expect 'and told' [ "$(grep -c 'make room and run it again' "$work/err")" -eq $((97 - made)) ]
        expect 'what got a name is whole' isWholeAs full whole
        expect 'no part stays' noParts full
        rm -r full/*
    done
    run_all full
    mount -o remount,size=64m full
    run_all full --quiet --force
    expect 'when there is room, all get there' diff -r full whole
    run decode whole -o full/back --format pnm
    expect 'decoded ones too' diff -r full/back expected
    rm -r full/*
    mount -o "remount,size=$(($(du -s --block-size=1 expected | cut -f1) / 2))" full
    run decode whole -o full --format pnm --jobs 2
    expect 'decoding, a full device gives status 1' ended 1
    made=$(find full -name '*.pnm' | wc -l)
    expect 'after some' [ "$made" -gt 10 ]
    expect 'counted' lastLineIs "tekoimg: $made of 97 images decoded, $((97 - made)) failed"
    expect 'without parts' noParts full
    expect 'and what has a name is whole' isWholeAs full expected
else
    echo 'A full device is left out: it needs root.'
fi
expect 'a full device costs no image' diff -r in before

# killedAt SIGNAL JOBS: while every job is in the middle of an image, since a half of it comes from a pipe
killedAt() {
    rm -rf out
    for slow in 25 60; do
        rm "in/$slow.pgm"
        mkfifo "in/$slow.pgm"
        head -c 9000 "before/$slow.pgm" >half
        { cat half && exec sleep 60; } >"in/$slow.pgm" &
        writers+=($!)
    done
    env --default-signal=INT,TERM,HUP "$tekoimg" encode in -o out --jobs "$2" >"$work/out" 2>"$work/err" &
    process=$!
    until [ -e out/25.tk.part ] && { [ "$2" -eq 1 ] || [ -e out/60.tk.part ]; } || ! kill -0 "$process"; do
        sleep 0.01
    done
    kill -s "$1" "$process"
    status=0
    wait "$process" 2>/dev/null || status=$?
    { kill "${writers[@]}" && wait "${writers[@]}"; } 2>/dev/null
    writers=()
    for slow in 25 60; do
        rm "in/$slow.pgm"
        cp "before/$slow.pgm" in
    done
}
writers=()
for signal in TERM KILL; do
    for jobs in 1 2; do
        killedAt "$signal" "$jobs"
        name="$signal with $jobs at a time"
        expect "$name is how it ended" [ "$(kill -l "$status")" = "$signal" ]
        expect "$name has some done" [ "$(countOf out)" -gt 10 ]
        expect "$name has some to do" [ "$(countOf out)" -lt 97 ]
        expect "$name leaves what is whole" isWholeAs out whole
        if [ "$signal" = TERM ]; then
            expect "$name leaves no part" noParts out
        else
            expect "$name leaves a part of each" [ "$(find out -name '*.part' | wc -l)" -eq "$jobs" ]
        fi
        expect "$name costs no image" diff -r in before
        run_all out --force --jobs "$jobs"
        expect "$name is made good by another run" diff -r out whole
    done
done

# whenever it comes
for delay in 0.01 0.02 0.05 0.1 0.2; do
    for signal in TERM KILL; do
        rm -rf out
        mkdir out
        status=0
        { timeout -s "$signal" "$delay" "$tekoimg" encode in -o out --jobs 2 >"$work/out" || status=$?; } 2>"$work/err"
        expect "$signal after $delay s leaves what is whole" isWholeAs out whole
        [ "$signal" = KILL ] || expect "$signal after $delay s leaves no part" noParts out
    done
done
expect 'no image is lost' diff -r in before
finish

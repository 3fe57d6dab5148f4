#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Help and refusals come before anything is installed or built.
# usage: argumentsTest.sh BUILD
set -euo pipefail
. "$(dirname "$0")/support.sh"

# scripts/bench reads its arguments with Python, and with nothing else.
TEKO_PYTHON=$(python3 -c 'import sys; print(sys.executable)') || { echo 'There is no python3.'; exit 77; }
export TEKO_PYTHON
for command in apt-get sudo dpkg-query cmake ninja ctest python3 pngtopnm; do
    fake "$command" 'exit 1'
done
PATH=$work/bin:$PATH
unset TEKO_BUILD
cd "$work"

# refused TEXT SCRIPT ARGUMENT...
refused() {
    run "$scripts/$2" "${@:3}"
    expect "scripts/${*:2} is refused with: $1" refusedWith "$1"
    expect "scripts/${*:2} is refused first" noCalls
}

for script in "$scripts"/*; do
    [ -f "$script" ] || continue
    name=$(basename "$script")
    run "$script" --help
    expect "$name --help ends well" ended 0
    expect "$name --help shows the usage" says "usage: scripts/$name"
    expect "$name --help shows no code" silent 'set -'
    expect "$name --help does nothing" noCalls
done
for name in check faults limits oldProcessor; do
    refused 'takes no argument' "$name" nonsense
done

refused "no preset 'nonsense'" test nonsense
refused "no preset ''" test ''
refused 'one preset at a time' test debug release
refused 'one part at a time' test core library
refused 'with the preset release alone' test sanitize python
refused "no machine 'nonsense'" otherMachines nonsense
refused 'SECONDS' fuzz
refused 'SECONDS' fuzz 0
refused "no fuzzer 'nonsense'" fuzz 1 nonsense
refused "'few' is none" mutate few
refused "no option '--nonsense'" bench --nonsense
refused "no option '--nonsense'" packages --nonsense
refused 'one option at a time' packages --twice --try
[ "$(id -u)" -eq 0 ] || refused 'only root' packages --try
refused "no option '--nonsense'" abi --nonsense
refused "no image 'nonsense.pgm'" bench nonsense.pgm
refused 'needs a revision' bench --against
refused 'needs a folder' bench --images
refused 'needs a number' bench --seconds nonsense
refused 'not allowed with' bench --rate --sizes

printf 'P5\n2 2\n255\nabcd' >image.pgm
cp image.pgm lossless.png
echo 'P6 is how it does not start' >text.txt
echo 'P8' >p8.txt
: >empty.png
printf '\211PNG\r\n\032\n' >start.png
printf 'P7\nWIDTH 1\nHEIGHT 1\nDEPTH 2\nMAXVAL 255\nTUPLTYPE DEPTH_MAP\nENDHDR\nab' >depth.pam
mkfifo pipe
refused "'nonsense.pgm' does not exist" demo nonsense.pgm
refused "'' does not exist" demo ''
refused 'is a folder' demo .
refused 'no ordinary file' demo pipe
refused 'is no PGM, PPM, PBM, PAM or PNG' demo p8.txt
refused 'is no PGM, PPM, PBM, PAM or PNG' demo empty.png
refused 'is no whole PNG' demo start.png
refused "type 'DEPTH_MAP' and depth '2'" demo depth.pam
refused 'one image at a time' demo image.pgm image.pgm
refused "no option '--nonsense'" demo --nonsense
refused "'--help' does not exist" demo -- --help
refused '--keep needs a folder' demo image.pgm --keep
refused 'cannot be made' demo --keep text.txt image.pgm
refused 'would overwrite the image' demo --keep . lossless.png
if [ "$(id -u)" -ne 0 ]; then
    chmod a-r image.pgm
    refused 'may not be read' demo image.pgm
fi
TEKO_BUILD=$work refused "no teko and makeSample in '$work'" demo lossless.png

cp -r "$scripts" scripts
scripts=$work/scripts
refused 'there is no .git here' check
refused 'there is no .git here' mutate
finish

# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Sourced by the tests beside it, in a folder of their own: runs, and what is expected of them.
# usage of the tests: TEST TEKOIMG MAKEIMAGE
set -uo pipefail
tekoimg=$(realpath "$1")
makeImage=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/files"
cd "$work/files" || exit 1
failures=0

# make KIND WIDTH HEIGHT FILE [EXPECTED]
make() {
    "$makeImage" "$@" || exit 1
}

# run ARGUMENT...: tekoimg, which leaves status and the files out and err
run() {
    status=0
    "$tekoimg" "$@" >"$work/out" 2>"$work/err" </dev/null || status=$?
}

# expect WHAT CONDITION...: of what was run last
expect() {
    "${@:2}" && return
    failures=$((failures + 1))
    echo "FAILED: $1 (status $status)"
    sed 's/^/    /' "$work/out" "$work/err"
}

ended() { [ "$status" -eq "$1" ]; }
endedSilently() { [ "$status" -eq 0 ] && [ ! -s "$work/err" ]; }
complains() { grep -qF -- "$1" "$work/err"; }
says() { grep -qF -- "$1" "$work/out"; }
lastLineIs() { [ "$(tail -n 1 "$work/err")" = "$1" ]; }
same() { cmp -s "$1" "$2"; }
absent() { [ ! -e "$1" ]; }
# isWholeAs FOLDER REFERENCE: what has a name in the folder has it in the reference as well, with the same bytes
isWholeAs() {
    (cd "$1" && find . -type f ! -name '*.part') | while read -r name; do
        cmp -s "$1/$name" "$2/$name" || exit 1
    done
}
noParts() { [ -z "$(find "$1" -name '*.part')" ]; }
# no file but these in the folder
holds() {
    local folder=$1
    shift
    [ "$(cd "$folder" && find . -mindepth 1 -printf '%P\n' | sort | tr '\n' ' ')" = "$(printf '%s ' "$@")" ]
}

finish() {
    [ "$failures" -eq 0 ]
    exit
}

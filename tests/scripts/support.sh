# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Sourced by the tests beside it: runs, and what is expected of them.

# shellcheck disable=SC2034 # the tests use it
scripts=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../../scripts")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
calls=$work/calls
failures=0

# fake NAME [LINE...]: a command in $work/bin that notes its call and then runs these lines
fake() {
    mkdir -p "$work/bin"
    { printf '%s\n' '#!/bin/sh' "echo \"$1 \$*\" >>'$calls'" "${@:2}"; } >"$work/bin/$1"
    chmod +x "$work/bin/$1"
}

# run COMMAND...: leaves status, the files out and err, and in calls which fakes it called
run() {
    : >"$calls"
    status=0
    "$@" >"$work/out" 2>"$work/err" </dev/null || status=$?
}

# expect WHAT CONDITION...: of what was run last
expect() {
    "${@:2}" && return
    failures=$((failures + 1))
    echo "FAILED: $1 (status $status)"
    sed 's/^/    /' "$work/out" "$work/err" "$calls"
}

ended() { [ "$status" -eq "$1" ]; }
says() { grep -qF -- "$1" "$work/out"; }
silent() { ! grep -qF -- "$1" "$work/out"; }
noCalls() { [ ! -s "$calls" ]; }
notCalled() { ! grep -q "^$1 " "$calls"; }
called() { grep -qx -- "$1" "$calls"; }
# refusedWith TEXT: status 1, nothing but one line, on standard error, with this text
refusedWith() {
    [ "$status" -eq 1 ] && [ ! -s "$work/out" ] && [ "$(wc -l <"$work/err")" -eq 1 ] && grep -qF -- "$1" "$work/err"
}

finish() {
    [ "$failures" -eq 0 ]
    exit
}

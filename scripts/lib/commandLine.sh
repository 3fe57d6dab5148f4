# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Sourced by the scripts beside this folder, before they leave the folder that they were started in: their usage, and
# how they refuse.

script=$(realpath -- "$0")

# usage: the comment at the head of the script
usage() { sed -n '3,/^[^#]/s/^# \{0,1\}//p' "$script"; }

# refuse SENTENCE: ends the script
refuse() {
    printf 'scripts/%s: %s\n' "$(basename "$script")" "$1" >&2
    exit 1
}

# answerHelp ARGUMENT...: shows the usage if that is asked for, and ends the script
answerHelp() {
    if [ "${1-}" = --help ]; then
        usage
        exit
    fi
}

# takeNothing ARGUMENT...: for scripts without arguments
takeNothing() {
    answerHelp "$@"
    [ $# -eq 0 ] || refuse "takes no argument, and '$1' is one."
}

# quietly COMMAND...: its output only if it fails
quietly() {
    local output
    output=$("$@" 2>&1) || { printf '%s\n' "$output" >&2; return 1; }
}

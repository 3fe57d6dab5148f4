# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Sourced by the tests beside it.

# CMake would take make, which need not be there.
export CMAKE_GENERATOR=Ninja

# shellcheck disable=SC2034 # the tests use it
here=$(realpath "$(dirname "${BASH_SOURCE[0]}")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

# expect WHAT CONDITION...
expect() {
    if "${@:2}"; then
        echo "ok: $1"
    else
        echo "FAILED: $1"
        failures=$((failures + 1))
    fi
}
fails() { ! "$@" 2>/dev/null; }

# quiet COMMAND...: its output only where it fails
quiet() { "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; return 1; }; }

# nowhere TEXT TEXT PATH...: no file below these has one of the two
nowhere() { ! grep -rF -e "$1" -e "$2" "${@:3}"; }

# functionsOf HEADER: what it declares
functionsOf() { sed -n 's/^TEKO_API .*\b\(teko_[a-z_]*\)(.*/\1/p' "$1" | sort; }

# exportsOf LIBRARY: the names that it shows, without that of their version
exportsOf() {
    nm -D --defined-only "$1" | awk '{ print $3 }' | sed 's/@@TEKO_1$//' | grep -vx TEKO_1 | sort
}

# symbolsOf FILE: the names in a Debian symbols file, without that of their version
symbolsOf() { sed -n 's/^ \(teko_[a-z_]*\)@TEKO_1 .*/\1/p' "$1" | sort; }

finish() {
    [ "$failures" -eq 0 ]
    exit
}

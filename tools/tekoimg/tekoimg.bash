# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Completion of tekoimg in bash.
_tekoimg() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} options=--help
    COMPREPLY=()
    if [ "$COMP_CWORD" -eq 1 ]; then
        mapfile -t COMPREPLY < <(compgen -W 'encode decode info cut compare thumbnail --help --version' -- "$word")
        return
    fi
    case $before in
    --format)
        mapfile -t COMPREPLY < <(compgen -W 'png pnm pam tiff npy' -- "$word")
        return
        ;;
    -b | --bytes | -r | --rate | -p | --percent | -j | --jobs | -s | --size | --bits | --maxval | --memory) return ;;
    esac
    if [[ $word == -* ]]; then
        case ${COMP_WORDS[1]} in
        encode) options+=' --output --force --jobs --bytes --rate --bits --strict --no-verify --quiet' ;;
        decode) options+=' --output --force --jobs --format --maxval --signed --strict --salvage --memory --quiet' ;;
        info) options+=' --memory --quiet' ;;
        cut) options+=' --output --force --jobs --bytes --percent --quiet' ;;
        compare) options+=' --signed --memory --quiet' ;;
        thumbnail) options+=' --output --force --jobs --size --memory --quiet' ;;
        esac
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
    else
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
    fi
}
complete -F _tekoimg tekoimg

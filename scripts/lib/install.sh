# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Sourced by the scripts beside this folder, behind commandLine.sh: installs Debian or Ubuntu packages that are not
# there yet.

# commandsOf PACKAGE: the commands by which a package shows; none for a library
commandsOf() {
    case $1 in
    g++) echo c++ ;;
    ninja-build) echo ninja ;;
    netpbm) echo pngtopnm pnmtopng ;;
    clang) echo clang++ ;;
    g++-*) echo "${1#g++-}-g++" ;;
    qemu-user) echo qemu-x86_64 ;;
    abigail-tools) echo abidiff abidw ;;
    binutils) echo readelf strip ;;
    dpkg-dev) echo dpkg-gensymbols dpkg-shlibdeps ;;
    libjpeg-turbo-progs) echo cjpeg djpeg ;;
    libopenjp2-tools) echo opj_compress opj_decompress ;;
    libjxl-tools) echo cjxl djxl ;;
    lib* | googletest) ;;
    *) echo "$1" ;;
    esac
}

# hasCommands PACKAGE: whether it is there without being a package. A library that no apt-get can bring is taken for
# present: the build looks for it and says so if it is not.
hasCommands() {
    local commands command
    read -ra commands < <(commandsOf "$1") || { ! type -P apt-get >/dev/null; return; }
    for command in "${commands[@]}"; do
        type -P "$command" >/dev/null || return 1
    done
}

isInstalled() {
    if type -P dpkg-query >/dev/null; then
        dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'
    else
        hasCommands "$1"
    fi
}

# need PACKAGE...
need() {
    local package missing=() asRoot=() obstacle=''
    for package; do
        isInstalled "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    if ! type -P apt-get >/dev/null; then
        obstacle='there is no apt-get here'
    elif [ "$(id -u)" -ne 0 ]; then
        asRoot=(sudo -n)
        "${asRoot[@]}" true 2>/dev/null ||
            obstacle='only root can install them, and sudo is absent or asks for a password'
    fi
    if [ -n "$obstacle" ]; then
        refuseWithout "$obstacle" "${missing[@]}"
    else
        installPackages "${missing[@]}"
    fi
}

# refuseWithout OBSTACLE PACKAGE...: but what is there by other means will do
refuseWithout() {
    local obstacle=$1 package missing=()
    shift
    for package; do
        hasCommands "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    refuse "missing: ${missing[*]}; $obstacle; on Debian or Ubuntu, root installs them with:\
 apt-get install ${missing[*]}"
}

# installPackages PACKAGE...: as $asRoot. A package list that cannot be brought up to date may do.
installPackages() {
    local output reason
    echo "Installing $*"
    asRoot+=(env DEBIAN_FRONTEND=noninteractive)
    "${asRoot[@]}" apt-get update -qq >/dev/null 2>&1 || true
    output=$("${asRoot[@]}" apt-get install -y -qq --no-install-recommends "$@" 2>&1) && return
    reason=$(sed -n '/^E: /{p;q}' <<<"$output")
    refuse "apt-get could not install $* (${reason:-no reason given}); once it can, root installs them with:\
 apt-get update && apt-get install $*"
}

# needClone: for what asks git about the files of the project
needClone() {
    [ -e .git ] || refuse 'this needs a clone of the project by git, and there is no .git here.'
}

#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# What the scripts install, how, and what they say where they cannot.
# usage: installTest.sh BUILD
#
# shellcheck disable=SC2016 # what stands in single quotes is for the fakes
set -euo pipefail
. "$(dirname "$0")/support.sh"

cat >"$work/probe" <<EOF
set -euo pipefail
. "$scripts/lib/commandLine.sh"
. "$scripts/lib/install.sh"
need "\$@"
echo ready
EOF
bash=$(type -P bash)

# machine USER [COMMAND...]: nothing on the PATH but what the scripts ask of any system, and fakes of these commands.
# dpkg-query there is one that knows cmake alone.
machine() {
    local tool
    rm -rf "${work:?}/bin"
    fake id "echo $([ "$1" = root ] && echo 0 || echo 1000)"
    for tool in basename env grep head realpath sed true; do
        ln -s "$(type -P "$tool")" "$work/bin/$tool"
    done
    for tool in "${@:2}"; do
        case $tool in
        dpkg-query) fake dpkg-query 'case $* in *" cmake") echo install ok installed ;; *) exit 1 ;; esac' ;;
        sudo) fake sudo '[ "$1" = -n ] && shift && exec "$@"' ;;
        *) fake "$tool" ;;
        esac
    done
}
need() { PATH=$work/bin run "$bash" "$work/probe" "$@"; }

# expectReady WHAT: and nothing was installed
expectReady() {
    expect "$1: ready" says ready
    expect "$1: status 0" ended 0
    expect "$1: nothing installed" notCalled apt-get
}
# expectRefusal WHAT PACKAGES: one sentence with these, and nothing was installed
expectRefusal() {
    expect "$1: refused" refusedWith "missing: $2; "
    expect "$1: the way to install them" refusedWith "apt-get install $2"
    expect "$1: nothing installed" notCalled apt-get
}

machine user dpkg-query apt-get sudo
need cmake
expectReady 'a package that is there'
expect 'sudo is left alone' notCalled sudo

machine user dpkg-query apt-get
need cmake netpbm ninja-build
expectRefusal 'neither root nor sudo' 'netpbm ninja-build'

machine user dpkg-query apt-get
fake sudo 'exit 1'
need cmake netpbm
expectRefusal 'a sudo that asks' netpbm
expect 'sudo must not ask' called 'sudo -n true'

machine user dpkg-query apt-get ninja
need cmake ninja-build
expectReady 'a command that is no package'
need ninja-build libgtest-dev
expectRefusal 'a library' libgtest-dev

installing='apt-get install -y -qq --no-install-recommends netpbm ninja-build'
machine user dpkg-query apt-get sudo
need cmake netpbm ninja-build
expect 'sudo: ready' says ready
expect 'sudo: installs' called "$installing"
expect 'sudo: is asked' called "sudo -n env DEBIAN_FRONTEND=noninteractive $installing"

machine root dpkg-query apt-get sudo
need cmake netpbm ninja-build
expect 'root: ready' says ready
expect 'root: installs' called "$installing"
expect 'root: without sudo' notCalled sudo

fake apt-get '[ "$1" != update ]'
need netpbm
expect 'package lists that stay old will do' says ready

fake apt-get 'echo "E: No network" >&2' 'exit 100'
need netpbm
expect 'apt-get that fails: status 1' ended 1
expect 'apt-get that fails: not ready' silent ready
expect 'apt-get that fails: one sentence' [ "$(wc -l <"$work/err")" -eq 1 ]
expect 'apt-get that fails: its reason' grep -qF 'could not install netpbm (E: No network)' "$work/err"

machine user c++ ninja pngtopnm pnmtopng
need g++ ninja-build netpbm libgtest-dev
expectReady 'tools without any package manager'
need g++ cmake netpbm
expectRefusal 'a tool is missing without any package manager' cmake

machine root dpkg-query c++ ninja
need g++ ninja-build
expectReady 'a dpkg-query that knows nothing, and no apt-get'
finish

#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs a build into a prefix, moves the prefix, and builds programs against it in the ways that others would: by
# CMake, with and without C++ of their own, and by pkg-config.
# usage: consumers.sh CMAKE BUILD [CONFIGURATION]
#
# shellcheck disable=SC2317 # expect calls the functions
set -euo pipefail
. "$(dirname "$0")/support.sh"
cmake=$1
build=$(realpath "$2")
unset DESTDIR CFLAGS CXXFLAGS LDFLAGS

"$cmake" --install "$build" ${3:+--config "$3"} --prefix "$work/first" >"$work/log"
mv "$work/first" "$work/moved"
prefix=$work/moved
pc=$(find "$prefix" -name teko.pc)
libraries=$(dirname "$(dirname "$pc")")
export PKG_CONFIG_PATH=$libraries/pkgconfig
version=$(sed -n 's/^Version: //p' "$pc")
kinds=(teko)
[ ! -e "$libraries/libteko.so" ] || kinds+=(shared)
[ ! -e "$libraries/libteko.a" ] || kinds+=(static)
echo "Installed ${kinds[*]:1} of version $version"

expect 'installed files do not know where they were built or put' \
    nowhere "$work" "$build" "$prefix/include" "$libraries/pkgconfig" "$libraries/cmake"
if [ -e "$libraries/libteko.so" ]; then
    expect 'the shared library has the name of its interface' \
        grep -qF "Library soname: [libteko.so.${version%%.*}]" <(readelf -d "$libraries/libteko.so")
    expect 'it shows the functions of teko.h and no more' \
        diff <(functionsOf "$prefix/include/teko/teko.h") <(exportsOf "$libraries/libteko.so")
    expect "Debian's package says the same" \
        diff <(symbolsOf "$here/../../packaging/debian/libteko1.symbols") <(exportsOf "$libraries/libteko.so")
fi

expect 'the port for vcpkg is of the same version' \
    grep -qF "\"version\": \"$version\"" "$here/../../packaging/vcpkg/vcpkg.json"

# configured LANGUAGES VERSION: a project of these languages that asks for that version
configured() {
    rm -rf "$work/consumer"
    quiet "$cmake" -S "$here/installed" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Debug \
        -DLANGUAGES="$1" -DVERSION="$2" -DKINDS="$(IFS=';' && echo "${kinds[*]}")"
}
for languages in C 'C;CXX'; do
    expect "CMake, $languages: configures" configured "$languages" "$version"
    expect "CMake, $languages: builds" quiet "$cmake" --build "$work/consumer"
    for kind in "${kinds[@]}"; do
        expect "CMake, $languages, teko::$kind" "$work/consumer/c-$kind"
        [ "$languages" = C ] || expect "CMake, teko.hpp, teko::$kind" "$work/consumer/cxx-$kind"
    done
done
expect 'any version of the same first number will do' configured C "${version%%.*}"
expect 'a later version will not' fails configured C "$((${version%%.*} + 1)).0"
expect 'an earlier first number will not' fails configured C "$((${version%%.*} - 1)).9"

strict=(-std=c99 -Wall -Wextra -pedantic -Werror)
# linked NAME OPTION...: the C program, by the compiler alone
linked() { quiet "${CC:-cc}" "${strict[@]}" -o "$work/$1" "$here/roundTrip.c" "${@:2}"; }
if ! type -P pkg-config >/dev/null; then
    echo 'pkg-config is not installed: left out'
else
    read -ra flags < <(pkg-config --cflags --libs teko)
    expect 'pkg-config: links' linked byPkgConfig "${flags[@]}"
    expect 'pkg-config: runs' env LD_LIBRARY_PATH="$libraries" "$work/byPkgConfig"
    if [ -e "$libraries/libteko.a" ]; then
        read -ra flags < <(pkg-config --static --cflags --libs teko)
        expect 'pkg-config --static: links' linked statically -static "${flags[@]}"
        expect 'pkg-config --static: runs' "$work/statically"
    fi
    expect 'pkg-config: the version' [ "$(pkg-config --modversion teko)" = "$version" ]
fi
finish

#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A project that includes the sources as a folder: it gets the library alone, and nothing of it shows outside.
# usage: subdirectory.sh CMAKE SOURCES
#
# shellcheck disable=SC2317 # expect calls the functions
set -euo pipefail
. "$(dirname "$0")/support.sh"
cmake=$1
unset DESTDIR CFLAGS CXXFLAGS LDFLAGS

# configured OPTION...: optimised little, since the library is compiled here once more
configured() {
    rm -rf "$work/consumer"
    quiet "$cmake" -G Ninja -S "$here/included" -B "$work/consumer" -DTEKO_SOURCES="$2" -DCMAKE_BUILD_TYPE=Debug \
        -DCMAKE_CXX_FLAGS_DEBUG=-O0 -DPREFERRED="$1" "${@:3}"
}
expect 'BUILD_SHARED_LIBS=ON prefers the shared library' configured teko_shared "$2" -DBUILD_SHARED_LIBS=ON
expect 'BUILD_SHARED_LIBS=OFF prefers the static library' configured teko_static "$2" -DBUILD_SHARED_LIBS=OFF
expect 'without it the shared one is preferred' configured teko_shared "$2"
expect 'it builds' quiet "$cmake" --build "$work/consumer" -j "$(nproc)"
for kind in shared static teko; do
    expect "teko::$kind" "$work/consumer/c-$kind"
done
expect 'there is no program' [ ! -e "$work/consumer/teko/teko" ]
expect 'its project installs' quiet "$cmake" --install "$work/consumer" --prefix "$work/prefix"
expect 'and nothing but its own file' diff <(echo share/CMakeLists.txt) <(cd "$work/prefix" && find . -type f -printf '%P\n')
finish

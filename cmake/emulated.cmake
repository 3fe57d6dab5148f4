# SPDX-License-Identifier: Apache-2.0
# Another machine, by Debian's cross compiler for `triple`, run by qemu for `machine`; included where both are set.
# Programs are linked statically, so that the emulator needs no libraries of that machine and starts quickly.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${machine})
set(CMAKE_CXX_COMPILER ${triple}-g++)
set(CMAKE_C_COMPILER ${triple}-gcc)
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_FIND_ROOT_PATH /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
find_program(qemu qemu-${machine} REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${qemu})

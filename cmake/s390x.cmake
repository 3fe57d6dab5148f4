# SPDX-License-Identifier: Apache-2.0
# The other byte order: s390x by Debian's cross compiler, run by qemu. Programs are linked statically, so that the
# emulator needs no libraries of that machine and starts quickly.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(CMAKE_CXX_COMPILER s390x-linux-gnu-g++)
set(CMAKE_C_COMPILER s390x-linux-gnu-gcc)
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_FIND_ROOT_PATH /usr/s390x-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
find_program(qemu qemu-s390x REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${qemu})

# SPDX-License-Identifier: Apache-2.0
# x86 with 32-bit pointers.
set(machine i386)
set(triple i686-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/emulated.cmake)

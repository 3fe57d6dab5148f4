# SPDX-License-Identifier: Apache-2.0
# ARM with 32-bit pointers and hard floats.
set(machine arm)
set(triple arm-linux-gnueabihf)
include(${CMAKE_CURRENT_LIST_DIR}/emulated.cmake)

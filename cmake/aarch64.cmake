# SPDX-License-Identifier: Apache-2.0
# AArch64.
set(machine aarch64)
set(triple aarch64-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/emulated.cmake)

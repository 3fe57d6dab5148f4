# SPDX-License-Identifier: Apache-2.0
# The other byte order.
set(machine s390x)
set(triple s390x-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/emulated.cmake)

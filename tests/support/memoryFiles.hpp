// SPDX-License-Identifier: Apache-2.0
// Temporary directories lie in memory where the system has a place for that; for tests that replace thousands of files.
// A disk takes its time with each of them.
#pragma once

#include <cstdlib>
#include <unistd.h>

namespace teko {

inline const bool hasMemoryFiles = access("/dev/shm", W_OK) == 0 && setenv("TMPDIR", "/dev/shm", 0) == 0;

} // namespace teko

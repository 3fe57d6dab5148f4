// SPDX-License-Identifier: Apache-2.0
// Processor-time stopwatch.
#pragma once

#include <ctime>

namespace teko {

struct Chron {
    std::clock_t start = 0; // clock() when timing began; set by whoever starts it

    // Prints "LABEL S.SSS seconds" and a newline: the processor time since start, which goes on running.
    void display(const char* label) const;
};

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
#include "driver/chron.hpp"

#include <cstdio>

namespace teko {

void Chron::display(const char* label) const {
    constexpr double clocksPerSecond = 1000000.0;
    std::printf("%s %.3f seconds\n", label,
                (static_cast<double>(std::clock()) - static_cast<double>(start)) / clocksPerSecond);
}

} // namespace teko

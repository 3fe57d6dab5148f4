// SPDX-License-Identifier: Apache-2.0
// Processor time, which other programs on the machine disturb less than the time on the wall.
#pragma once

#include <algorithm>
#include <ctime>
#include <vector>

#if defined(__x86_64__)
#include <x86intrin.h>
#endif

namespace teko::bench {

inline double secondsOf(clockid_t clock) {
    std::timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// Of all threads of the process.
inline double processorSeconds() {
    return secondsOf(CLOCK_PROCESS_CPUTIME_ID);
}

// Ticks of the time stamp counter in a second: the processor's nominal frequency, whatever it runs at. 0 where
// there is no such counter.
inline double referenceCyclesPerSecond() {
#if defined(__x86_64__)
    const double start = secondsOf(CLOCK_MONOTONIC);
    const auto startTicks = __rdtsc();
    double elapsed = 0;
    while (elapsed < 0.05) {
        elapsed = secondsOf(CLOCK_MONOTONIC) - start;
    }
    return static_cast<double>(__rdtsc() - startTicks) / elapsed;
#else
    return 0;
#endif
}

template <typename Work>
double processorSecondsOf(Work work) {
    const double start = processorSeconds();
    work();
    return processorSeconds() - start;
}

inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace teko::bench

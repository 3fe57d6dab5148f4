// SPDX-License-Identifier: Apache-2.0
// Signals to filter.
#pragma once

#include <cstddef>
#include <random>
#include <vector>

namespace teko {

// Independent samples from -bound to bound; bound is below 2^62.
template <typename T>
std::vector<T> randomSignal(std::mt19937_64& random, int n, long bound) {
    std::vector<T> signal(static_cast<std::size_t>(n));
    for (T& sample : signal) {
        const auto span = static_cast<unsigned long>(2 * bound + 1);
        sample = static_cast<T>(static_cast<long>(random() % span) - bound);
    }
    return signal;
}

// Samples for which every predict sum and every result of the filter fits in 16 bits.
constexpr long tameBound = 1500;

template <typename T>
std::vector<T> negated(std::vector<T> signal) {
    for (T& sample : signal) {
        sample = static_cast<T>(-sample);
    }
    return signal;
}

} // namespace teko

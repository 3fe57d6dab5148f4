// SPDX-License-Identifier: Apache-2.0
#include "coding/runLengthParameter.hpp"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>

namespace teko {

namespace {

double segmentEntropy(std::uint64_t events, std::uint64_t candidates) {
    const auto passes = candidates - events;
    const auto e = static_cast<double>(events);
    const auto a = static_cast<double>(passes);
    const auto n = static_cast<double>(candidates);
    if (0.11 * n > e) {
        const double eventShare = events != 0 ? e * std::log(e / n) / std::log(2.0) : 0.0;
        return -(a * std::log(a / n) / std::log(2.0) + eventShare);
    }
    return n;
}

// 0.48 / density + 0.5 without its fraction. No event (infinity) and no candidate (NaN) count as the largest.
std::uint32_t targetRun(double density) {
    const double target = 0.48 / density + 0.5;
    return target < 2147483648.0 ? static_cast<std::uint32_t>(target) : 0x80000000U;
}

} // namespace

int runLengthParameter(std::uint64_t events, std::uint64_t candidates) {
    assert(events <= candidates);
    const double density = static_cast<double>(events) / static_cast<double>(candidates);
    if (density > 0.21384) {
        return 0;
    }
    if (density > 0.11385) {
        return 2;
    }
    if (density > 0.05838) {
        return 3;
    }
    // The smallest k with 2^k >= target, which is 8 at least (a tile of 64 x 64 has 162 segments with a parameter: 1.05
    // times on encoding it, against a search from 3 on).
    return std::min(static_cast<int>(std::bit_width(targetRun(density) - 1)), largestRunLengthParameter);
}

std::uint64_t runSegmentBitsEstimate(std::uint64_t events, std::uint64_t candidates) {
    const double estimate = 1.3 * segmentEntropy(events, candidates) + static_cast<double>(events);
    return estimate > 0.0 ? static_cast<std::uint64_t>(estimate) : 0;
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// Whether samples are as large as their bits or their maxval say.
#pragma once

#include "image.hpp"

#include <algorithm>
#include <span>

namespace tekoimg {

template <typename Sample>
std::span<Sample> samplesOf(std::span<std::byte> row) {
    return {reinterpret_cast<Sample*>(row.data()), row.size() / sizeof(Sample)};
}

// Of a row of unsigned samples, or of signed ones, which have no such limit.
inline bool isWithin(const teko::Image& image, std::span<std::byte> row, std::uint32_t largest) {
    if (image.isSigned) {
        return true;
    }
    const auto isAbove = [largest](auto sample) { return sample > largest; };
    if (image.bytesPerSample() == 2) {
        return largest >= 65535 || std::ranges::none_of(samplesOf<std::uint16_t>(row), isAbove);
    }
    return largest >= 255 || std::ranges::none_of(samplesOf<std::uint8_t>(row), isAbove);
}

inline void clampTo(const teko::Image& image, std::span<std::byte> row, std::uint32_t largest) {
    const auto clamped = [largest](auto sample) {
        return static_cast<decltype(sample)>(std::min<std::uint32_t>(sample, largest));
    };
    if (image.bytesPerSample() == 2) {
        std::ranges::transform(samplesOf<std::uint16_t>(row), samplesOf<std::uint16_t>(row).begin(), clamped);
    } else {
        std::ranges::transform(samplesOf<std::uint8_t>(row), samplesOf<std::uint8_t>(row).begin(), clamped);
    }
}

} // namespace tekoimg

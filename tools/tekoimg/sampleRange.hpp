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

template <typename Sample>
bool areWithin(std::span<std::byte> row, std::uint32_t largest) {
    const std::span<Sample> samples = samplesOf<Sample>(row);
    return std::none_of(samples.begin(), samples.end(), [largest](Sample sample) { return sample > largest; });
}

template <typename Sample>
void clampSamples(std::span<std::byte> row, std::uint32_t largest) {
    for (Sample& sample : samplesOf<Sample>(row)) {
        sample = static_cast<Sample>(std::min<std::uint32_t>(sample, largest));
    }
}

// Of a row of unsigned samples, or of signed ones, which have no such limit.
inline bool isWithin(const teko::Image& image, std::span<std::byte> row, std::uint32_t largest) {
    if (image.isSigned) {
        return true;
    }
    return image.bytesPerSample() == 2 ? largest >= 65535 || areWithin<std::uint16_t>(row, largest)
                                       : largest >= 255 || areWithin<std::uint8_t>(row, largest);
}

inline void clampTo(const teko::Image& image, std::span<std::byte> row, std::uint32_t largest) {
    image.bytesPerSample() == 2 ? clampSamples<std::uint16_t>(row, largest) : clampSamples<std::uint8_t>(row, largest);
}

} // namespace tekoimg

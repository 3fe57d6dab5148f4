// SPDX-License-Identifier: Apache-2.0
// The two segments of a bit plane, said as simply as they can be: a bit at a time, in a vector.
#pragma once

#include "coding/bitPlanes.hpp"
#include "coding/subband.hpp"
#include "support/bitStreams.hpp"
#include "support/coefficientClasses.hpp"

#include <vector>

namespace teko {

template <typename T>
Bits refinementSegment(const std::vector<T>& folded, int b) {
    Bits bits;
    for (const T value : folded) {
        if (bitLength(magnitudeOf(value)) > b + 1) {
            bits.push_back((magnitudeOf(value) >> b & 1) != 0);
        }
    }
    return bits;
}

inline void putNumber(Bits& bits, std::uint64_t value, int n) {
    for (int i = 0; i < n; ++i) {
        bits.push_back((value >> i & 1) != 0);
    }
}

inline void putZeros(Bits& bits, std::uint64_t n) {
    bits.resize(bits.size() + n);
}

// With any parameter, also one that nobody would choose.
template <typename T>
Bits runSegment(const std::vector<T>& folded, int b, int k) {
    Bits bits;
    putNumber(bits, static_cast<std::uint64_t>(k), 5);
    const std::uint64_t unit = std::uint64_t{1} << k;
    std::uint64_t passes = 0;
    for (const T value : folded) {
        const int length = bitLength(magnitudeOf(value));
        if (length <= b) {
            ++passes;
        } else if (length == b + 1) {
            putZeros(bits, passes / unit);
            bits.push_back(true);
            putNumber(bits, passes % unit, k);
            bits.push_back(signBitOf(value) != 0);
            passes = 0;
        }
    }
    putZeros(bits, passes / unit + (passes % unit != 0 ? 1 : 0));
    return bits;
}

// The stream of an image of folded values; parameterOf(channel, c, b, folded values of the class) gives k.
template <typename T, typename ParameterOf>
Bits streamOf(const ImageData<T>& folded, int topPlane, ParameterOf parameterOf) {
    const int levels = numberOfLevels(folded.width, folded.height);
    std::vector<std::vector<T>> classes;
    for (int channel = 0; channel < folded.channels; ++channel) {
        for (int c = 0; c <= levels; ++c) {
            classes.push_back(classOf(folded, channel, c, levels));
        }
    }
    Bits bits;
    putNumber(bits, static_cast<std::uint64_t>(topPlane), 8);
    forEachSegmentPair(folded.channels, levels, topPlane, [&](int channel, int c, int b) {
        const std::vector<T>& values = classes[static_cast<std::size_t>(channel * (levels + 1) + c)];
        bits =
            std::move(bits) + refinementSegment(values, b) + runSegment(values, b, parameterOf(channel, c, b, values));
        return true;
    });
    return bits;
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// Values for images, from few bytes of an input.
#pragma once

#include "fuzz/input.hpp"

#include <algorithm>

namespace teko::fuzz {

// Values of a position, in the low bits of 64.
class Texture {
public:
    // Takes what chooses the texture; whatever the input has left then is the texture's material.
    explicit Texture(Input& input)
        : kind(input.below(7)), a(input.byte()), b(input.byte()), low(input.number(8)), high(input.number(8)),
          material(input.rest()) {
        high = high == 0 ? ~low : high;
    }

    std::uint64_t at(int channel, int y, int x) const {
        const auto place = static_cast<std::uint64_t>(channel) << 40 | static_cast<std::uint64_t>(y) << 20 |
                           static_cast<std::uint64_t>(x);
        const std::uint64_t slope = static_cast<std::uint64_t>(x) * a + static_cast<std::uint64_t>(y) * b;
        switch (kind) {
        case 0:
            return low;
        case 1: // a ramp
            return low + slope * (1 + static_cast<std::uint64_t>(channel)) / 16;
        case 2: // noise that leaves the lowest bits more often than the high ones
            return low + (scattered(place) >> (scattered(place ^ high) % (1 + b % 64)) & high);
        case 3: // stripes and checks
            return (slope >> a % 8 & 1) != 0 ? low : high;
        case 4: // a few values in a field
            return scattered(place ^ a) % (2U + b) == 0 ? high : low;
        case 5: // one bit of the material a sample
            return (materialAt(static_cast<std::size_t>(y) * 2 + static_cast<std::size_t>(x) / 8) >> x % 8 & 1) != 0
                       ? low
                       : high;
        default: // the material as it is
            return joined(static_cast<std::size_t>(y) * (8U + a) + static_cast<std::size_t>(x) * (1U + b % 4));
        }
    }

private:
    static std::uint64_t scattered(std::uint64_t value) {
        value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9U;
        value = (value ^ value >> 27) * 0x94D049BB133111EBU;
        return value ^ value >> 31;
    }
    std::uint64_t materialAt(std::size_t i) const { return material.empty() ? 0 : material[i % material.size()]; }
    std::uint64_t joined(std::size_t i) const { return materialAt(i) ^ materialAt(i + 1) << 8; }

    unsigned kind;
    unsigned a;
    unsigned b;
    std::uint64_t low;
    std::uint64_t high;
    Bytes material;
};

struct Shape {
    int width;
    int height;
    int channels;
};

// Sides of low .. 66, small ones much likelier, and no more samples than given.
inline Shape anyShape(Input& input, int low, int channels, int mostSamples) {
    const auto side = [&] {
        const unsigned byte = input.byte();
        return low + static_cast<int>(byte < 192 ? byte % 24 : byte % 67) % (67 - low);
    };
    Shape shape{side(), side(), channels};
    if (shape.width * shape.height * channels > mostSamples) {
        shape.height = std::max(low, shape.height % 18);
    }
    return shape;
}

} // namespace teko::fuzz

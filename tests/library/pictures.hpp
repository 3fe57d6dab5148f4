// SPDX-License-Identifier: Apache-2.0
// Images for the library: packed samples, the least significant byte first, and what describes them.
#pragma once

#include "support/bytes.hpp"

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <random>
#include <string>
#include <teko/teko.h>

namespace teko {

struct Picture {
    std::uint32_t kind;
    std::uint32_t width;
    std::uint32_t height;
    std::uint32_t bits = 0;
    Bytes samples = {};

    std::uint32_t channels() const { return kind == TEKO_RGB8 ? 3 : 1; }
    std::uint32_t sampleBytes() const { return kind == TEKO_GREY16 ? 2 : 1; }
    std::size_t count() const { return std::size_t{width} * height * channels(); }
    std::size_t rawBytes() const { return count() * sampleBytes(); }
    std::uint32_t significantBits() const { return bits == 0 ? 8 * sampleBytes() : bits; }
    std::uint32_t greatest() const { return (1U << significantBits()) - 1; }

    // The packed description, with which samples lie as in a raw file.
    teko_image description() const {
        teko_image image = {};
        image.struct_size = sizeof image;
        image.kind = kind;
        image.bits = bits;
        image.width = width;
        image.height = height;
        image.byte_order = TEKO_LITTLE_ENDIAN;
        return image;
    }

    void append(std::uint32_t sample) {
        samples.push_back(static_cast<std::uint8_t>(sample & 0xFFU));
        if (sampleBytes() == 2) {
            samples.push_back(static_cast<std::uint8_t>(sample >> 8 & 0xFFU));
        }
    }
};

inline std::ostream& operator<<(std::ostream& stream, const Picture& picture) {
    return stream << "kind " << picture.kind << ", " << picture.width << " x " << picture.height << ", "
                  << picture.significantBits() << " bits";
}

enum class Look { flat, noise, photograph, extremes, checks };

inline constexpr Look allLooks[] = {Look::flat, Look::noise, Look::photograph, Look::extremes, Look::checks};

inline std::uint32_t sampleOf(Look look, const Picture& shape, std::uint32_t x, std::uint32_t y, std::uint32_t channel,
                              std::mt19937& random) {
    const std::uint32_t greatest = shape.greatest();
    switch (look) {
    case Look::flat:
        return greatest / 3;
    case Look::noise:
        return static_cast<std::uint32_t>(random()) & greatest;
    case Look::photograph: { // slopes, an edge and a little grain
        const std::uint32_t slope = (x * (3 + channel) + 2 * y) * greatest / 1024;
        const std::uint32_t edge = 3 * x > 2 * y + 9 ? greatest / 4 : 0;
        return (slope + edge + static_cast<std::uint32_t>(random()) % (greatest / 50 + 1)) & greatest;
    }
    case Look::extremes:
        return random() % 2 == 0 ? 0 : greatest;
    default:
        return (x + y + channel) % 2 == 0 ? 0 : greatest;
    }
}

// The same on every machine.
inline Picture picture(Look look, std::uint32_t kind, std::uint32_t width, std::uint32_t height,
                       std::uint32_t bits = 0) {
    Picture result{kind, width, height, bits, {}};
    std::mt19937 random(width * 131 + height * 17 + kind);
    result.samples.reserve(result.rawBytes());
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            for (std::uint32_t channel = 0; channel < result.channels(); ++channel) {
                result.append(sampleOf(look, result, x, y, channel, random));
            }
        }
    }
    return result;
}

// Sides that take every way through the codec; none is 1, which has no file.
inline constexpr std::uint32_t telltaleSides[] = {0, 2, 3, 4, 5, 8, 9, 17, 64};

// Those sides in pairs, and a long thin shape each way.
inline std::vector<Picture> telltaleShapes() {
    std::vector<Picture> shapes;
    for (const std::uint32_t kind : {TEKO_GREY8, TEKO_GREY16, TEKO_RGB8}) {
        for (const std::uint32_t width : telltaleSides) {
            for (const std::uint32_t height : telltaleSides) {
                shapes.push_back({kind, width, height});
            }
        }
        shapes.push_back({kind, 100, 3});
        shapes.push_back({kind, 3, 100});
        shapes.push_back({kind, 100, 6});
    }
    return shapes;
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// Contents of raw image files, and the shapes they have.
#pragma once

#include "support/bytes.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace teko {

// The four numbers that describe a raw file on the command line.
struct Shape {
    int bytesPerPixel;
    int bitsPerPixel;
    int xsize;
    int ysize;

    std::size_t pixels() const { return static_cast<std::size_t>(xsize) * static_cast<std::size_t>(ysize); }
    std::size_t fileBytes() const { return pixels() * static_cast<std::size_t>(bytesPerPixel); }
    std::uint32_t maximum() const { return (std::uint32_t{1} << bitsPerPixel) - 1; }
    Shape sized(int x, int y) const { return {bytesPerPixel, bitsPerPixel, x, y}; }

    std::vector<std::string> arguments() const {
        return {std::to_string(bytesPerPixel), std::to_string(bitsPerPixel), std::to_string(xsize),
                std::to_string(ysize)};
    }
};

// The kind of image that bytes/pixel say.
inline std::string kindName(const Shape& shape) {
    switch (shape.bytesPerPixel) {
    case 1:
        return "grey8";
    case 2:
        return "grey16";
    case 3:
        return "colour";
    default:
        return "kind" + std::to_string(shape.bytesPerPixel);
    }
}

// Fit for a test's name.
inline std::ostream& operator<<(std::ostream& stream, const Shape& shape) {
    return stream << kindName(shape) << "_" << shape.xsize << "x" << shape.ysize << "_b" << shape.bitsPerPixel;
}

// One shape of each kind.
inline const std::vector<Shape> everyKind = {{1, 8, 33, 47}, {2, 16, 33, 47}, {3, 8, 33, 47}};

namespace raw {

// A raw file of which every sample is sampleAt(x, y, channel), cut to the file's sample width.
inline Bytes file(const Shape& shape, const std::function<std::uint32_t(int, int, int)>& sampleAt) {
    Bytes content;
    content.reserve(shape.fileBytes());
    for (int y = 0; y < shape.ysize; ++y) {
        for (int x = 0; x < shape.xsize; ++x) {
            for (int channel = 0; channel < (shape.bytesPerPixel == 3 ? 3 : 1); ++channel) {
                const std::uint32_t sample = sampleAt(x, y, channel);
                content.push_back(static_cast<std::uint8_t>(sample & 0xFF));
                if (shape.bytesPerPixel == 2) {
                    content.push_back(static_cast<std::uint8_t>(sample >> 8 & 0xFF));
                }
            }
        }
    }
    return content;
}

inline Bytes flat(const Shape& shape, std::uint32_t value) {
    return file(shape, [=](int, int, int) { return value; });
}

// Independent samples over the whole range, from a xorshift generator; seed is not 0.
inline Bytes noise(const Shape& shape, std::uint32_t seed = 1) {
    return file(shape, [state = seed, &shape](int, int, int) mutable {
        state ^= (state & 0x7FFFF) << 13;
        state ^= state >> 17;
        state ^= (state & 0x7FFFFFF) << 5;
        return state >> 8 & shape.maximum();
    });
}

// A slope over the whole range, the same in no two channels.
inline Bytes slope(const Shape& shape) {
    return file(shape, [&shape](int x, int y, int channel) {
        const auto position = static_cast<std::uint32_t>(x + 2 * y + 5 * channel);
        return position * shape.maximum() / static_cast<std::uint32_t>(shape.xsize + 2 * shape.ysize + 10);
    });
}

// Black and white squares of five samples: what is cut off from their coding overshoots on both sides.
inline Bytes squares(const Shape& shape) {
    return file(shape, [&shape](int x, int y, int channel) {
        return (x / 5 + y / 5 + channel) % 2 == 0 ? std::uint32_t{0} : shape.maximum();
    });
}

} // namespace raw

} // namespace teko

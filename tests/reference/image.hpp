// SPDX-License-Identifier: Apache-2.0
// Images of the reference: planes of plain 64-bit values, with the width of the real samples as a parameter.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <vector>

namespace teko::reference {

// Bits of a stored sample: 16 for images of one byte per sample, 64 for images of two.
enum class Samples { sixteenBit = 16, sixtyFourBit = 64 };

using Plane = std::vector<std::int64_t>;

// Value (x, y) of a plane is plane[y * width + x].
struct Image {
    int width = 0;
    int height = 0;
    std::vector<Plane> planes;

    Image() = default;
    Image(int xsize, int ysize, int channels)
        : width(xsize), height(ysize),
          planes(static_cast<std::size_t>(channels),
                 Plane(static_cast<std::size_t>(xsize) * static_cast<std::size_t>(ysize))) {}

    std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
    }

    bool operator==(const Image&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, const Image& image) {
    stream << image.width << " x " << image.height << " x " << image.planes.size() << ':';
    for (const Plane& plane : image.planes) {
        for (const std::int64_t value : plane) {
            stream << ' ' << value;
        }
    }
    return stream;
}

// What a sample keeps of a value: its low bits, read as two's complement.
constexpr std::int64_t stored(std::int64_t value, Samples samples) {
    return samples == Samples::sixteenBit ? static_cast<std::int16_t>(value) : value;
}

} // namespace teko::reference

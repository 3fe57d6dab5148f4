// SPDX-License-Identifier: Apache-2.0
// Memory that holds an image in some layout, with bytes between the samples that nobody may touch.
#pragma once

#include "pictures.hpp"

#include <array>
#include <cstddef>
#include <cstring>

namespace teko {

class Canvas {
public:
    // The pitches of the description are those of a picture's samples; bytes apart from these are scattered.
    Canvas(const Picture& shape, const teko_image& described, std::uint32_t seed = 1)
        : picture(shape), image(described), rowPitch(described.row_pitch), pixelPitch(described.pixel_pitch),
          channelPitch(described.channel_pitch) {
        channelPitch = channelPitch != 0 ? channelPitch : static_cast<std::ptrdiff_t>(shape.sampleBytes());
        pixelPitch = pixelPitch != 0 ? pixelPitch : static_cast<std::ptrdiff_t>(shape.channels() * shape.sampleBytes());
        rowPitch = rowPitch != 0 ? rowPitch : static_cast<std::ptrdiff_t>(shape.width) * pixelPitch;
        std::ptrdiff_t behind = 0;
        for (const auto& [count, pitch] :
             {std::pair{shape.height, rowPitch}, {shape.width, pixelPitch}, {shape.channels(), channelPitch}}) {
            const std::ptrdiff_t farthest = count == 0 ? 0 : static_cast<std::ptrdiff_t>(count - 1) * pitch;
            (farthest < 0 ? first : behind) += std::abs(farthest);
        }
        first += static_cast<std::ptrdiff_t>(seed % 8); // any alignment
        memory.resize(static_cast<std::size_t>(first + behind) + shape.sampleBytes() + seed % 5);
        std::mt19937 random(seed);
        std::generate(memory.begin(), memory.end(), [&] { return static_cast<std::uint8_t>(random() & 0xFFU); });
    }

    const teko_image& description() const { return image; }
    std::uint8_t* samples() { return memory.data() + first; }
    std::uint8_t* row(std::uint32_t y) { return samples() + static_cast<std::ptrdiff_t>(y) * rowPitch; }

    // Puts packed samples where the layout has them.
    void place(const Bytes& packed) {
        forEachByte([&](std::size_t i, std::size_t at, std::uint8_t flip) { memory[at] = packed[i] ^ flip; });
    }

    Bytes packed() const {
        Bytes result(picture.rawBytes());
        forEachByte([&](std::size_t i, std::size_t at, std::uint8_t flip) { result[i] = memory[at] ^ flip; });
        return result;
    }

    // The whole memory, with zeros for samples.
    Bytes between() const {
        Bytes result = memory;
        forEachByte([&](std::size_t, std::size_t at, std::uint8_t) { result[at] = 0; });
        return result;
    }

    // Whether two samples lie on the same byte.
    bool overlapsItself() const {
        std::vector<bool> isTaken(memory.size());
        bool overlaps = false;
        forEachByte([&](std::size_t, std::size_t at, std::uint8_t) {
            overlaps = overlaps || isTaken[at];
            isTaken[at] = true;
        });
        return overlaps;
    }

private:
    // Index of the byte in packed samples, its place in memory, and the bits of it that are the other way round.
    template <typename Action>
    void forEachByte(Action action) const {
        const std::size_t size = picture.sampleBytes();
        const bool mostFirst = image.byte_order == TEKO_BIG_ENDIAN || (image.byte_order == TEKO_HOST_ORDER && isBig());
        std::size_t i = 0;
        for (std::uint32_t y = 0; y < picture.height; ++y) {
            for (std::uint32_t x = 0; x < picture.width; ++x) {
                for (std::uint32_t c = 0; c < picture.channels(); ++c) {
                    const auto at = static_cast<std::size_t>(first + y * rowPitch + x * pixelPitch + c * channelPitch);
                    for (std::size_t byte = 0; byte < size; ++byte, ++i) {
                        const bool isTop = byte + 1 == size;
                        action(i, at + (mostFirst ? size - 1 - byte : byte),
                               static_cast<std::uint8_t>(image.is_signed != 0 && isTop ? 0x80 : 0));
                    }
                }
            }
        }
    }

    static bool isBig() {
        const std::uint16_t one = 1;
        std::uint8_t low = 0;
        std::memcpy(&low, &one, 1);
        return low == 0;
    }

    Picture picture;
    teko_image image;
    std::ptrdiff_t rowPitch;
    std::ptrdiff_t pixelPitch;
    std::ptrdiff_t channelPitch;
    std::ptrdiff_t first = 0;
    Bytes memory;
};

// Any order of rows, pixels and channels, any signs, gaps or none; pitches that nothing follows are any number.
inline teko_image anyLayout(const Picture& shape, std::mt19937& random) {
    teko_image image = shape.description();
    image.byte_order = static_cast<std::uint32_t>(random() % 3);
    image.is_signed = shape.kind == TEKO_GREY16 && shape.significantBits() == 16 ? random() % 2 : 0;
    struct Direction {
        std::ptrdiff_t* pitch;
        std::uint32_t count;
    };
    std::array<Direction, 3> directions{Direction{&image.channel_pitch, shape.channels()},
                                        {&image.pixel_pitch, shape.width},
                                        {&image.row_pitch, shape.height}};
    if (random() % 2 == 0) {
        std::shuffle(directions.begin(), directions.end(), random);
    }
    auto taken = static_cast<std::ptrdiff_t>(shape.sampleBytes());
    for (const Direction& direction : directions) {
        const std::ptrdiff_t gap = random() % 2 == 0 ? 0 : static_cast<std::ptrdiff_t>(random() % 7);
        const std::ptrdiff_t pitch = taken + gap;
        *direction.pitch = random() % 3 == 0 ? -pitch : pitch;
        if (direction.count > 1) {
            taken = static_cast<std::ptrdiff_t>(direction.count - 1) * pitch + taken;
        } else if (random() % 2 == 0) {
            *direction.pitch = static_cast<std::ptrdiff_t>(random() % 100000) - 50000;
        }
    }
    return image;
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// A caller's image: what it is, and where its samples lie.
#pragma once

#include <teko/teko.h>

#include "codec/fileHeader.hpp"

#include <cstddef>
#include <cstdint>

namespace teko::library {

// Memory from one byte to behind another.
struct Extent {
    std::uintptr_t begin;
    std::uintptr_t end;

    static Extent of(const void* memory, std::size_t bytes) {
        const auto begin = reinterpret_cast<std::uintptr_t>(memory);
        return {begin, begin + bytes};
    }
    bool overlaps(const Extent& other) const {
        return begin < end && other.begin < other.end && begin < other.end && other.begin < end;
    }
};

// A description that has been checked, every pitch known.
struct ImageLayout {
    const ImageKind* kind;
    int bits;
    int width;
    int height;
    bool flipsSign;
    bool swapsBytes; // samples of two bytes have the most significant first
    std::ptrdiff_t rowPitch;
    std::ptrdiff_t pixelPitch;
    std::ptrdiff_t channelPitch;

    // To decode into, the bits of a description are not looked at: the file's count.
    enum class Bits { ofTheImage, ofTheFile };

    // TEKO_OK, or what is wrong with a description.
    static teko_status from(const teko_image* image, ImageLayout& layout, Bits bits = Bits::ofTheImage);

    bool isEmpty() const { return width == 0 || height == 0; }
    std::uint64_t samples() const {
        return static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) *
               static_cast<std::uint64_t>(kind->channels);
    }
    FileHeader header() const { return FileHeader::forImage(kind->bytesPerPixel, bits, width, height); }
    std::size_t rowBytes() const { return header().rowBytes(); }

    // Whether a row lies in memory as the codec takes it.
    bool hasRawRows() const;
    // Whether no two samples share a byte. Layouts that nest in some order of rows, pixels and channels are known to.
    bool isApart() const;
    // The bytes of `rows` rows whose first sample lies there.
    Extent extent(const void* samples, int rows) const;
};

} // namespace teko::library

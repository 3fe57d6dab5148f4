// SPDX-License-Identifier: Apache-2.0
// A caller's image: what it is, where its samples lie, and its rows as the codec takes and gives them. Encoding and
// Decoding go through it, and whatever asks for an image's size.
#pragma once

#include <teko/teko.h>

#include "codec/fileHeader.hpp"

#include "image/rows.hpp"
#include "memory/memory.hpp"

#include <cstddef>
#include <cstdint>

namespace teko::library {

// Addresses from one byte to behind another.
struct Extent {
    std::uintptr_t begin;
    std::uintptr_t end; // where it is not above begin, there are no bytes

    static Extent of(const void* memory, std::size_t bytes) {
        const auto begin = reinterpret_cast<std::uintptr_t>(memory);
        return {begin, begin + bytes};
    }
    // Whether some byte is in both.
    bool overlaps(const Extent& other) const {
        return begin < end && other.begin < other.end && begin < other.end && other.begin < end;
    }
};

// teko_image, checked, with every pitch known. Pitches are bytes from one row, pixel or channel to the next, of any
// sign.
struct ImageLayout {
    const ImageKind* kind; // never null
    int bits;              // significant bits of a sample, 1 to 8 or 16
    int width;             // pixels in a row, 0 to 65535
    int height;            // rows, 0 to 65535
    bool flipsSign;        // samples of two bytes are two's complement
    bool swapsBytes;       // samples of two bytes have the most significant first
    std::ptrdiff_t rowPitch;
    std::ptrdiff_t pixelPitch;
    std::ptrdiff_t channelPitch;

    // Whose bits count. To decode into, those of a description are not looked at, and all of the kind's are set.
    enum class Bits { ofTheImage, ofTheFile };

    // Sets all fields from a caller's description. Returns TEKO_OK, or TEKO_ERROR_ARGUMENT, _KIND or _SHAPE for what is
    // wrong with it.
    static teko_status from(const teko_image* image, ImageLayout& layout, Bits bits = Bits::ofTheImage);

    bool isEmpty() const { return width == 0 || height == 0; }
    // Whether a caller's null is no image of this layout: only an empty one may do without samples.
    bool lacks(const void* samples) const { return samples == nullptr && !isEmpty(); }
    // Samples of all channels.
    std::uint64_t samples() const {
        return static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) *
               static_cast<std::uint64_t>(kind->channels);
    }
    // The header of a file of such an image.
    FileHeader header() const { return FileHeader::forImage(kind->bytesPerPixel, bits, width, height); }
    // Bytes of a row as the codec takes it, packed, wherever it lies.
    std::size_t rowBytes() const { return header().rowBytes(); }

    // Whether rows lie in memory as the codec takes and gives them (image/rows.hpp).
    bool hasRawRows() const;
    // Whether no two samples share a byte, as teko.h asks it of what is decoded into: true where rows, pixels and
    // channels nest in some order, false for all other layouts.
    bool isApart() const;
    // The addresses of `rows` rows whose first sample lies there; none of an empty image or of no rows.
    Extent extent(const void* samples, int rows) const;
};

// The rows of an image in a caller's memory, for an encoder: where they lie if they lie there as the codec takes them,
// else by way of one row of memory. One object goes through all portions of an image.
class LayoutSource final : public RowSource {
public:
    // Copies the layout. Throws std::bad_alloc.
    explicit LayoutSource(const ImageLayout& imageLayout);

    // Starts a portion: where the next row has its first sample.
    void startAt(const void* samples);
    const unsigned char* next() override;

private:
    ImageLayout layout;
    const unsigned char* row = nullptr; // the portion's first
    std::ptrdiff_t done = 0;            // rows of the portion
    TakenArray<unsigned char> gathered; // null where rows lie as the codec takes them
};

// The rows of an image in a caller's memory, from a decoder: straight to their places if they lie there as the codec
// gives them, else by way of one row of memory. One object goes through all portions of an image.
class LayoutSink final : public RowSink {
public:
    // Copies the layout. Throws std::bad_alloc.
    explicit LayoutSink(const ImageLayout& imageLayout);

    // Starts a portion: where the next row has its first sample. The portion before it is finished.
    void startAt(void* samples);
    unsigned char* next() override;
    // Brings the last row to its place: after each portion, too. Always returns true.
    bool finish() override;

private:
    void scatter();

    ImageLayout layout;
    unsigned char* row = nullptr;       // the portion's first
    std::ptrdiff_t done = 0;            // rows of the portion that are in their places, or handed out there
    bool isFilled = false;              // whether `gathered` holds a row
    TakenArray<unsigned char> gathered; // null where rows lie as the codec gives them
};

} // namespace teko::library

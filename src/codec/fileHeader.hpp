// SPDX-License-Identifier: Apache-2.0
// What the first ten bytes of a file say: the header, the kinds of images that it names, and the bytes that a rate
// leaves for the coded stream. Encoder, decoder, library and driver all start from here.
//
//   offset  size  field
//   0       4     magic           "TK10"
//   4       1     bytesPerPixel   1 grey of 8 bits, 2 grey of 16 bits, 3 colour of 8 bits a sample
//   5       1     bitsPerPixel    significant bits per sample; bounds what a cut file decodes to
//   6       2     xsize           samples per row, least significant byte first
//   8       2     ysize           rows, least significant byte first
//
// The coded stream runs from offset 10 to the end of the file. There is no length and no checksum.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace teko {

// What a sample and a pixel of an image are made of.
struct ImageKind {
    int bytesPerPixel;
    int channels;
    int bytesPerSample; // 1: samples and coefficients of 16 bits in the codec; 2: of 64

    bool isColour() const { return channels == 3; }
};

constexpr std::array<ImageKind, 3> imageKinds{{{1, 1, 1}, {2, 1, 2}, {3, 3, 1}}};

// The kind of that many bytes a pixel; null where there is none.
constexpr const ImageKind* imageKindOf(int bytesPerPixel) {
    for (const ImageKind& kind : imageKinds) {
        if (kind.bytesPerPixel == bytesPerPixel) {
            return &kind;
        }
    }
    return nullptr;
}

// The fields of a header. Any values may stand in it: whoever codes by it asks for its kind and isTooThin.
struct FileHeader {
    static constexpr int bytes = 10; // of a header in a file

    std::array<char, 4> magic{};
    std::uint8_t bytesPerPixel = 0;
    std::uint8_t bitsPerPixel = 0;
    std::uint16_t xsize = 0;
    std::uint16_t ysize = 0;

    // A header for a new file. The numbers keep their low 8 (16) bits, as the fields do.
    static FileHeader forImage(std::int64_t bytesPerPixel, std::int64_t bitsPerPixel, std::int64_t xsize,
                               std::int64_t ysize);
    // The header in the first bytes of a file. Judges nothing.
    static FileHeader parse(const std::array<unsigned char, bytes>& raw);
    // The first bytes of a file with this header.
    std::array<unsigned char, bytes> format() const;

    // Whether the magic is there.
    bool isRecognized() const;
    // Bytes of a row of the raw image.
    std::size_t rowBytes() const { return static_cast<std::size_t>(bytesPerPixel) * xsize; }
};

// Whether an image of a known kind, and not empty, is one sample wide or high: it has no wavelet decomposition and no
// place in the coded stream.
bool isTooThin(const FileHeader& header);

// Bytes that the coded stream may take in a file of at most rate * (raw image size), header included: never
// negative. Nothing when rate * size is no number of bytes: the size is a 32-bit product that wraps, and the rate may
// be NaN.
std::optional<std::uint64_t> byteBudget(const FileHeader& header, float rate);

} // namespace teko

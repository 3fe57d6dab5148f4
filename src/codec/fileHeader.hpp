// SPDX-License-Identifier: Apache-2.0
// The ten bytes in front of every coded stream.
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
#include <cstdint>

namespace teko {

struct FileHeader {
    static constexpr int bytes = 10;

    std::array<char, 4> magic{};
    std::uint8_t bytesPerPixel = 0;
    std::uint8_t bitsPerPixel = 0;
    std::uint16_t xsize = 0;
    std::uint16_t ysize = 0;

    // A header for a new file. The numbers keep their low 8 (16) bits, as the fields do.
    static FileHeader forImage(std::int64_t bytesPerPixel, std::int64_t bitsPerPixel, std::int64_t xsize,
                               std::int64_t ysize);
    // From the first bytes of a file and to them. Judges nothing.
    static FileHeader parse(const std::array<unsigned char, bytes>& raw);
    std::array<unsigned char, bytes> format() const;

    // Whether the magic is there.
    bool isRecognized() const;
};

} // namespace teko

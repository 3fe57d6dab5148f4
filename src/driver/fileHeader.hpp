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
#include <cstdio>

namespace teko {

struct FileHeader {
    static constexpr int bytes = 10;

    std::array<char, 4> magic{};
    std::uint8_t bytesPerPixel = 0;
    std::uint8_t bitsPerPixel = 0;
    std::uint16_t xsize = 0;
    std::uint16_t ysize = 0;

    // A header for a new file. The numbers keep their low 8 (16) bits, as the fields do.
    static FileHeader forImage(long bytesPerPixel, long bitsPerPixel, long xsize, long ysize);
    // Reads ten bytes from the file's position; bytes that are missing count as 0.
    static FileHeader read(std::FILE* file);

    // Writes ten bytes with one fwrite and does not look whether they arrive: a full device shows up later.
    void write(std::FILE* file) const;
    // Whether the magic is there.
    bool isRecognized() const;
};

// Bytes that the coded stream may take in a file of at most rate * (raw image size), header included: never
// negative. Throws std::bad_array_new_length when rate * size is not a number of bytes: the size is a 32-bit
// product that wraps, and the rate may be NaN.
std::uint64_t byteBudget(const FileHeader& header, float rate);

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// One raster: a plane of signed samples per channel, and its way from and to raw files.
//
// A raw file has no header. Rows run from top to bottom, pixels from left to right, the channels of one
// pixel follow one another; a sample is one unsigned byte, or two with the least significant first.
#pragma once

#include <cstdint>
#include <cstdio>

namespace teko {

// T is short for files of one byte per sample and long for files of two. It is signed and wider than the
// file's samples because wavelet coefficients take the samples' place in the planes.
template <typename T>
class ImageData {
public:
    // Allocates `channels` planes of stride * height samples and leaves them uninitialised.
    // Throws 5 when channels is not 1, 2 or 3 (the dimensions are stored, nothing is allocated), and
    // std::bad_array_new_length when stride * height is negative or above 2^31 - 1.
    ImageData(int xsize, int ysize, int channels);
    ~ImageData();
    ImageData(const ImageData&) = delete;
    ImageData& operator=(const ImageData&) = delete;

    // Row y from and to the bytes of a raw row: width * channels samples of one byte (readRow8 ...) or two. They are
    // zero-extended; written are their low 8 (16) bits, after clampedTo(limit, sample) unless the limit is 0.
    void readRow8(int y, const unsigned char* raw);
    void readRow16(int y, const unsigned char* raw);
    void writeRow8(int y, unsigned char* raw, int limit);
    void writeRow16(int y, unsigned char* raw, int limit);

    // Fill the planes from the file's current position; the samples are zero-extended. Return 0.
    // Throw 3 when the file ends early; the planes then hold the rows read so far.
    int rawRead8(std::FILE* file);
    int rawRead16(std::FILE* file);

    // Write the planes at the file's current position and hand them to the system. Return 0, or throw 3
    // when the file takes less. With limit 0 the low 8 (16) bits of each sample are written; with any
    // other limit every sample is first clamped to 0 .. limit - 1, in the plane as well as in the file.
    int rawWrite8(std::FILE* file, int limit);
    int rawWrite16(std::FILE* file, int limit);

    // Mean over all samples of the squared difference; -1.0 when the shapes differ, NaN for empty images.
    double getMSE(const ImageData* other) const;

    T* planes[3] = {nullptr, nullptr, nullptr}; // owned; sample (c, y, x) is planes[c][y * stride + x]
    int channels;                               // 1 to 3
    int width;                                  // samples in a row
    int height;                                 // rows
    int stride;                                 // samples from one row's start to the next; the width
};

extern template class ImageData<std::int16_t>;
extern template class ImageData<std::int64_t>;

} // namespace teko

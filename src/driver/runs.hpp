// SPDX-License-Identifier: Apache-2.0
// The three things that the program does, once its command line has been accepted.
//
// Each run opens its files, prints its progress lines, and returns the exit status: 0, or 1 when a file cannot
// be opened (also when input and output are one file) or is not of our kind. What goes wrong beyond that is
// thrown and not caught: a raw file that ends early or cannot be written (3), memory that is refused
// (std::bad_alloc), a compressed file without a whole word behind its header (3).
#pragma once

#include "codec/fileHeader.hpp"

#include <cstdint>

namespace teko {

enum class StreamPlace { file, memory };

struct CompressionRequest {
    const char* rawPath;
    const char* codedPath;
    FileHeader header;
    StreamPlace place; // memory: the coded file keeps to the rate
    float rate;        // of the raw image size, 0 to 1; without effect when place is file
};

struct ComparisonRequest {
    const char* firstPath;
    const char* secondPath;
    int bytesPerPixel;
    std::int64_t bitsPerPixel;
    int xsize;
    int ysize;
};

int compress(const CompressionRequest& request);
int decompress(const char* codedPath, const char* rawPath, StreamPlace place);
int compare(const ComparisonRequest& request);

} // namespace teko

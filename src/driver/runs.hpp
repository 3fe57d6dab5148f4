// SPDX-License-Identifier: Apache-2.0
// The three things that the program does, once main has accepted its command line: compress, decompress, compare.
//
// Each run opens its files, prints its progress lines, and returns the exit status: 0, or 1 when a file cannot
// be opened (also when input and output are one file) or is not of our kind. What goes wrong beyond that is
// thrown and not caught: a raw file that ends early or cannot be written (3), memory that is refused
// (std::bad_alloc), a compressed file without a whole word behind its header (3).
#pragma once

#include "codec/fileHeader.hpp"

#include <cstdint>
#include <ctime>

namespace teko {

// Where the coded stream is made or read: piece by piece in its file, or as a whole in memory.
enum class StreamPlace { file, memory };

// A raw file to be compressed, and how.
struct CompressionRequest {
    const char* rawPath;
    const char* codedPath;
    FileHeader header; // of the coded file; says what the raw one holds
    StreamPlace place; // memory: the coded file keeps to the rate
    float rate;        // of the raw image size, 0 to 1; without effect when place is file
};

// Two raw files of one kind and shape to be compared.
struct ComparisonRequest {
    const char* firstPath;
    const char* secondPath;
    int bytesPerPixel;         // of other kinds than 1, 2 and 3 nothing is read, and no difference found
    std::int64_t bitsPerPixel; // makes the peak
    int xsize;
    int ysize;
};

// Codes a raw file. With an unknown number of bytes a pixel it says so on standard error, writes a header and no
// stream, and returns 0.
int compress(const CompressionRequest& request);
// Decodes a coded file, or a prefix with at least one word of the stream, into a raw file. With an unknown number of
// bytes a pixel it leaves the raw file empty and returns 0.
int decompress(const char* codedPath, const char* rawPath, StreamPlace place);
// Reads two raw files, and prints their mean squared error, its root, and the peak signal-to-noise ratio.
int compare(const ComparisonRequest& request);

// A stopwatch for processor time.
struct Chron {
    std::clock_t start = 0; // clock() when timing began; set by whoever starts it

    // Prints "LABEL S.SSS seconds" and a newline: the processor time since start, which goes on running.
    void display(const char* label) const;
};

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// Rows of raw samples, from the caller and to the caller. A row is width * bytesPerPixel bytes: pixels from the left,
// the channels of a pixel one behind the other, samples of two bytes with the least significant first. Rows go from the
// top; nobody asks for those of an image that is 0 samples wide.
#pragma once

#include <cstddef>

namespace teko {

class RowSource {
public:
    // The next row; it stays until the one after it is asked for. Null when there is none: the image ends early.
    virtual const unsigned char* next() = 0;

protected:
    ~RowSource() = default;
};

class RowSink {
public:
    // Where the next row goes. It is there when the one after it is asked for, or finish is called. Null when no more
    // rows are taken.
    virtual unsigned char* next() = 0;
    // After the last row. Returns whether all rows have been taken.
    virtual bool finish() = 0;

protected:
    ~RowSink() = default;
};

// Rows in the caller's memory, `pitch` bytes from one to the next: negative where the last row comes first in memory.
class MemorySource final : public RowSource {
public:
    MemorySource(const unsigned char* firstRow, std::ptrdiff_t rowPitch) : row(firstRow), pitch(rowPitch) {}

    const unsigned char* next() override { return row + done++ * pitch; }

private:
    const unsigned char* row;
    std::ptrdiff_t pitch;
    std::ptrdiff_t done = 0; // rows
};

class MemorySink final : public RowSink {
public:
    MemorySink(unsigned char* firstRow, std::ptrdiff_t rowPitch) : row(firstRow), pitch(rowPitch) {}

    unsigned char* next() override { return row + done++ * pitch; }
    bool finish() override { return true; }

private:
    unsigned char* row;
    std::ptrdiff_t pitch;
    std::ptrdiff_t done = 0; // rows
};

} // namespace teko

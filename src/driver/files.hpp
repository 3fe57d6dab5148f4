// SPDX-License-Identifier: Apache-2.0
// The files of a run: opened, their header read and written, the rows of raw ones handed to the codec and taken from
// it. What a file cannot do is said on standard error, or shows in what these return.
#pragma once

#include "codec/fileHeader.hpp"
#include "image/rows.hpp"

#include <cstddef>
#include <cstdio>
#include <memory>

namespace teko {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
// An open file that is closed with its owner; null where there is none.
using File = std::unique_ptr<std::FILE, FileCloser>;

// Opens a file as std::fopen does. Where that fails, says so on standard error and returns null.
File openFile(const char* path, const char* mode);

// Opens a file for writing, empty. Where that fails, says so on standard error and returns null; so it does, and leaves
// the file alone, when it is the regular file that inputPath names, by whatever link.
File openOutput(const char* path, const char* inputPath);

// Reads a header from a file's position on; bytes that are missing count as 0.
FileHeader readHeader(std::FILE* file);
// Writes a header at a file's position, with one fwrite. Nobody looks whether it arrives: a full device shows up later.
void writeHeader(const FileHeader& header, std::FILE* file);

// The rows of a raw file from its position on, read several at a time: large enough pieces come from the system to
// their place without another copy. The file stays open, and its owner's.
class RawFileReader final : public RowSource {
public:
    // `height` rows of `rowBytes` bytes each. Throws std::bad_alloc.
    RawFileReader(std::FILE* raw, std::size_t rowBytes, int height);

    // The next row; null where the file ends before it, or before another row that is read together with it.
    const unsigned char* next() override;

private:
    std::FILE* file;
    std::size_t size;      // bytes of a row
    std::size_t left;      // rows that are still in the file
    std::size_t held;      // rows that memory has room for
    std::size_t ready = 0; // rows in memory behind `row`
    std::unique_ptr<unsigned char[]> memory;
    const unsigned char* row = nullptr; // the last one that was handed out
};

// The rows of a raw file at its position, written several at a time: large enough pieces go to the system without
// another copy. finish hands the last ones over. The file stays open, and its owner's.
class RawFileWriter final : public RowSink {
public:
    // Rows of `rowBytes` bytes each. Throws std::bad_alloc.
    RawFileWriter(std::FILE* raw, std::size_t rowBytes);

    // The place of the next row; null where the file did not take those before it.
    unsigned char* next() override;
    // Returns whether the system has taken all rows.
    bool finish() override;

private:
    bool write();

    std::FILE* file;
    std::size_t size;      // bytes of a row
    std::size_t held;      // rows that memory has room for
    std::size_t count = 0; // rows in memory
    std::unique_ptr<unsigned char[]> memory;
};

} // namespace teko

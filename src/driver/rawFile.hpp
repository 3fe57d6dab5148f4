// SPDX-License-Identifier: Apache-2.0
// The rows of raw files, read and written several at a time: large enough pieces go from the system to their place and
// back without another copy.
#pragma once

#include "image/rows.hpp"

#include <cstdio>
#include <memory>

namespace teko {

// `height` rows from a file's position on. Ends early where the file does.
class RawFileReader final : public RowSource {
public:
    // Throws std::bad_alloc.
    RawFileReader(std::FILE* raw, std::size_t rowBytes, int height);

    const unsigned char* next() override;

private:
    std::FILE* file;
    std::size_t size;
    std::size_t left; // rows
    std::size_t held;
    std::size_t ready = 0;
    std::unique_ptr<unsigned char[]> memory;
    const unsigned char* row = nullptr;
};

// Rows at a file's position; finish hands them to the system.
class RawFileWriter final : public RowSink {
public:
    // Throws std::bad_alloc.
    RawFileWriter(std::FILE* raw, std::size_t rowBytes);

    unsigned char* next() override;
    bool finish() override;

private:
    bool write();

    std::FILE* file;
    std::size_t size;
    std::size_t held;
    std::size_t count = 0;
    std::unique_ptr<unsigned char[]> memory;
};

} // namespace teko

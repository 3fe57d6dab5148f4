// SPDX-License-Identifier: Apache-2.0
// Rows of a caller's image as the codec takes and gives them: without a copy where they lie so, else by way of one row.
#pragma once

#include "image/rows.hpp"
#include "library/imageLayout.hpp"
#include "memory/memory.hpp"

namespace teko::library {

// Rows from a caller's memory. The same object goes through several portions of an image.
class LayoutSource final : public RowSource {
public:
    // Throws std::bad_alloc.
    explicit LayoutSource(const ImageLayout& imageLayout);

    // Where the next row has its first sample.
    void startAt(const void* samples);
    const unsigned char* next() override;

private:
    ImageLayout layout;
    const unsigned char* row = nullptr;
    std::ptrdiff_t done = 0; // rows from there
    TakenArray<unsigned char> gathered;
};

// Rows to a caller's memory.
class LayoutSink final : public RowSink {
public:
    explicit LayoutSink(const ImageLayout& imageLayout);

    void startAt(void* samples);
    unsigned char* next() override;
    // Also after the last row of a portion.
    bool finish() override;

private:
    void scatter();

    ImageLayout layout;
    unsigned char* row = nullptr;
    std::ptrdiff_t done = 0;
    bool isFilled = false; // the row that is gathered
    TakenArray<unsigned char> gathered;
};

} // namespace teko::library

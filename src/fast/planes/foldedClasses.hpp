// SPDX-License-Identifier: Apache-2.0
// The folded coefficients of one channel, class by class.
#pragma once

#include "coding/imageShape.hpp"
#include "coding/subband.hpp"
#include "fast/planes/foldedSequence.hpp"
#include "fast/rows/rowKernels.hpp"
#include "memory/memory.hpp"

#include <cstddef>
#include <cstdint>

namespace teko {

template <typename T>
class FoldedClasses {
public:
    using Sequence = FoldedSequence<RowSample<T>>;

    // All classes empty, in memory that stays the caller's: rowBytes from `lowest` on for the lowest bytes of all of
    // them, as many `stride` bytes behind that for the second ones, and so on.
    FoldedClasses(const ImageShape& shape, unsigned char* lowest, std::size_t stride);
    static std::size_t rowBytes(const ImageShape& shape);

    Sequence& operator[](int c) { return sequences[c]; }

private:
    Sequence sequences[maximumClasses];
    Vector<unsigned char> rowsInUse;
    Vector<unsigned char> longest;
};

extern template class FoldedClasses<std::int16_t>;
extern template class FoldedClasses<std::int64_t>;

} // namespace teko

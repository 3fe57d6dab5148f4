// SPDX-License-Identifier: Apache-2.0
#include "fast/planes/foldedClasses.hpp"

namespace teko {

template <typename T>
FoldedClasses<T>::FoldedClasses(const ImageShape& shape, unsigned char* lowest, std::size_t stride) {
    std::int64_t allBlocks = 0;
    for (int c = 0; c <= shape.levels; ++c) {
        allBlocks += Sequence::blocks(classSamples(shape, c));
    }
    rowsInUse.assign(static_cast<std::size_t>(allBlocks), 1);
    longest.resize(static_cast<std::size_t>(allBlocks));
    std::int64_t first = 0; // block
    for (int c = 0; c <= shape.levels; ++c) {
        for (int row = 0; row < Sequence::byteRows; ++row) {
            sequences[c].rows[row] = lowest + static_cast<std::size_t>(row) * stride;
        }
        sequences[c].rowsInUse = rowsInUse.data() + first;
        sequences[c].longest = longest.data() + first;
        lowest += Sequence::rowBytes(classSamples(shape, c));
        first += Sequence::blocks(classSamples(shape, c));
    }
}

template <typename T>
std::size_t FoldedClasses<T>::rowBytes(const ImageShape& shape) {
    std::size_t bytes = 0;
    for (int c = 0; c <= shape.levels; ++c) {
        bytes += static_cast<std::size_t>(Sequence::rowBytes(classSamples(shape, c)));
    }
    return bytes;
}

template class FoldedClasses<std::int16_t>;
template class FoldedClasses<std::int64_t>;

} // namespace teko

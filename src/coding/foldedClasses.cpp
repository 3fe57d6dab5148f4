#include "coding/foldedClasses.hpp"

#include "image/memoryAdvice.hpp"

namespace teko {

template <typename T>
FoldedClasses<T>::FoldedClasses(const ImageShape& shape) {
    long allBlocks = 0;
    long rowBytes = 0;
    for (int c = 0; c <= shape.levels; ++c) {
        allBlocks += Sequence::blocks(classSamples(shape, c));
        rowBytes += Sequence::rowBytes(classSamples(shape, c));
    }
    memory.reset(new unsigned char[static_cast<std::size_t>(Sequence::byteRows * rowBytes)]);
    adviseFilling(memory.get(), static_cast<std::size_t>(Sequence::rowsOftenUsed * rowBytes));
    rowsInUse.assign(static_cast<std::size_t>(allBlocks), 1);
    longest.resize(static_cast<std::size_t>(allBlocks));
    unsigned char* lowest = memory.get();
    long first = 0; // block
    for (int c = 0; c <= shape.levels; ++c) {
        for (int row = 0; row < Sequence::byteRows; ++row) {
            sequences[c].rows[row] = lowest + row * rowBytes;
        }
        sequences[c].rowsInUse = rowsInUse.data() + first;
        sequences[c].longest = longest.data() + first;
        lowest += Sequence::rowBytes(classSamples(shape, c));
        first += Sequence::blocks(classSamples(shape, c));
    }
}

template class FoldedClasses<short>;
template class FoldedClasses<long>;

} // namespace teko

// The folded coefficients of one channel, class by class.
#pragma once

#include "coding/foldedSequence.hpp"
#include "coding/imageShape.hpp"
#include "coding/subband.hpp"
#include "wavelet/rowStream.hpp"

#include <memory>
#include <vector>

namespace teko {

template <typename T>
class FoldedClasses {
public:
    using Sequence = FoldedSequence<RowSample<T>>;

    // All classes empty, with room for all of their coefficients. Throws std::bad_alloc.
    explicit FoldedClasses(const ImageShape& shape);

    Sequence& operator[](int c) { return sequences[c]; }

private:
    Sequence sequences[maximumClasses];
    std::unique_ptr<unsigned char[]> memory;
    std::vector<unsigned char> rowsInUse;
    std::vector<unsigned char> longest;
};

extern template class FoldedClasses<short>;
extern template class FoldedClasses<long>;

} // namespace teko

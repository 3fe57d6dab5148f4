// The coefficients of one channel in memory class by class, each class in scan order.
#pragma once

#include "coding/imageShape.hpp"
#include "coding/subband.hpp"
#include "wavelet/rowStream.hpp"

#include <memory>

namespace teko {

template <typename T>
class ClassSequences {
public:
    using Value = RowSample<T>;

    // Values are left uninitialised. Throws std::bad_alloc.
    explicit ClassSequences(const ImageShape& shape);

    // Behind each class is room for this many values more, which may be overwritten.
    static constexpr long spare = 64;

    Value* begin(int c) { return memory.get() + starts[c]; }
    long count(int c) const { return starts[c + 1] - spare - starts[c]; }

private:
    long starts[maximumClasses + 1] = {};
    std::unique_ptr<Value[]> memory;
};

extern template class ClassSequences<short>;
extern template class ClassSequences<long>;

} // namespace teko

#include "coding/classSequences.hpp"

#include "image/memoryAdvice.hpp"

namespace teko {

template <typename T>
ClassSequences<T>::ClassSequences(const ImageShape& shape) {
    for (int c = 0; c <= shape.levels; ++c) {
        starts[c + 1] = starts[c] + classSamples(shape, c) + spare;
    }
    const auto all = static_cast<std::size_t>(starts[shape.levels + 1]);
    memory.reset(new Value[all]);
    adviseFilling(memory.get(), all * sizeof(Value));
}

template class ClassSequences<short>;
template class ClassSequences<long>;

} // namespace teko

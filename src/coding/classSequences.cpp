#include "coding/classSequences.hpp"

#include "image/memoryAdvice.hpp"

#include <cstdint>
#include <limits>
#include <new>

namespace teko {

template <typename T>
ClassSequences<T>::ClassSequences(int width, int height) {
    if (static_cast<long>(width) * height > std::numeric_limits<std::int32_t>::max()) {
        throw std::bad_array_new_length();
    }
    const int levels = numberOfLevels(width, height);
    const auto latticeCount = [=](int c) {
        return ((width + (1L << c) - 1) >> c) * ((height + (1L << c) - 1) >> c);
    };
    for (int c = 0; c <= levels; ++c) {
        const long samples = latticeCount(c) - (c < levels ? latticeCount(c + 1) : 0);
        starts[c + 1] = starts[c] + samples + spare;
    }
    const auto all = static_cast<std::size_t>(starts[levels + 1]);
    memory.reset(new Value[all]);
    adviseFilling(memory.get(), all * sizeof(Value));
}

template class ClassSequences<short>;
template class ClassSequences<long>;

} // namespace teko

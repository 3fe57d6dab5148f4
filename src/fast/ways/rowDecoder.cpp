// SPDX-License-Identifier: Apache-2.0
#include "fast/ways/rowDecoder.hpp"
#include "fast/kernels/kernels.hpp"

#include <cassert>
#include <cstdint>

namespace teko {

template <typename T>
bool RowDecoder<T>::suits(int width, int height, Target target) {
    return target != Target::plain && suitsRowStreams(width, height);
}

template <typename T>
RowDecoder<T>::RowDecoder(int width, int height, int channels, Target itsTarget)
    : shape(shapeOf(width, height, channels)), target(itsTarget), coefficients(shape, kernelsOf(target).planes<T>()) {}

template <typename T>
void RowDecoder<T>::start(int halvings) {
    assert(transforms.empty());
    coefficients.start();
    for (int c = 0; c < shape.channels; ++c) {
        transforms.emplace_back(shape.width, shape.height, target, coefficients.channel(c), halvings);
    }
}

template class RowDecoder<std::int16_t>;
template class RowDecoder<std::int64_t>;

} // namespace teko

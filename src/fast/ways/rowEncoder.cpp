// SPDX-License-Identifier: Apache-2.0
#include "fast/ways/rowEncoder.hpp"
#include "fast/kernels/kernels.hpp"

#include <algorithm>

namespace teko {

template <typename T>
bool RowEncoder<T>::suits(int width, int height, Target target) {
    return target != Target::plain && suitsRowStreams(width, height);
}

template <typename T>
RowEncoder<T>::RowEncoder(int width, int height, int channels, Target target)
    : coefficients(shapeOf(width, height, channels), kernelsOf(target).planes<T>()) {
    for (int c = 0; c < channels; ++c) {
        transforms.emplace_back(width, height, target, coefficients.channel(c));
    }
}

template <typename T>
bool RowEncoder<T>::isReversible() const {
    return std::all_of(transforms.begin(), transforms.end(),
                       [](const ForwardStream<T>& transform) { return transform.isReversible(); });
}

template class RowEncoder<std::int16_t>;
template class RowEncoder<std::int64_t>;

} // namespace teko

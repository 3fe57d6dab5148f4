#include "coding/rowEncoder.hpp"

#include "target/target.hpp"

namespace teko {

template <typename T>
bool RowEncoder<T>::suits(int width, int height) {
    return planeCoding<T>(activeTarget()) != nullptr && suitsRowStreams(width, height);
}

template <typename T>
RowEncoder<T>::RowEncoder(int width, int height, int channels)
    : coefficients(shapeOf(width, height, channels), *planeCoding<T>(activeTarget())) {
    for (int c = 0; c < channels; ++c) {
        transforms.emplace_back(width, height, activeTarget(), coefficients.channel(c));
    }
}

template class RowEncoder<short>;
template class RowEncoder<long>;

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
#include "coding/rowDecoder.hpp"

#include <algorithm>
#include <cassert>
#include <cstdint>

namespace teko {

template <typename T>
class RowDecoder<T>::ChannelSource final : public CoefficientSource<T>, public InTakenMemory {
public:
    ChannelSource(SlicedImage<T>& slicedImage, int ofChannel) : sliced(slicedImage), channel(ofChannel) {}

    const RowSample<T>* take(int c, int n) override { return sliced.take(channel, c, n); }
    int magnitudeBits(int c) const override { return sliced.magnitudeBits(channel, c); }
    const std::int16_t* takeSmall(int c, int n) override { return sliced.takeSmall(channel, c, n); }

private:
    SlicedImage<T>& sliced;
    int channel;
};

template <typename T>
bool RowDecoder<T>::suits(int width, int height, Target target) {
    return planeCoding<T>(target) != nullptr && suitsRowStreams(width, height);
}

template <typename T>
bool RowDecoder<T>::suits(int topPlane) {
    return topPlane <= std::min(highestSlicedPlane<T>, InverseStream<T>::safeBits - 1);
}

template <typename T>
RowDecoder<T>::RowDecoder(int width, int height, int channels, Target itsTarget)
    : shape(shapeOf(width, height, channels)), target(itsTarget), sliced(planeCoding<T>(target)->makeSliced(shape)) {}

template <typename T>
RowDecoder<T>::~RowDecoder() = default;

template <typename T>
template <typename Word>
int RowDecoder<T>::read(int topPlane, BasicBitStreamer<Word>& in) {
    ByteStreamer bytes;
    moveReader(in, bytes);
    const int endedEarly = sliced->read(topPlane, bytes);
    moveReader(bytes, in);
    return endedEarly;
}

template <typename T>
void RowDecoder<T>::start(int halvings) {
    assert(transforms.empty());
    for (int channel = 0; channel < shape.channels; ++channel) {
        sources.push_back(std::make_unique<ChannelSource>(*sliced, channel));
        transforms.emplace_back(shape.width, shape.height, target, *sources.back(), halvings);
    }
}

template class RowDecoder<std::int16_t>;
template class RowDecoder<std::int64_t>;
template int RowDecoder<std::int16_t>::read(int, BasicBitStreamer<std::uint32_t>&);
template int RowDecoder<std::int64_t>::read(int, BasicBitStreamer<std::uint32_t>&);
template int RowDecoder<std::int16_t>::read(int, BasicBitStreamer<UnalignedWord>&);
template int RowDecoder<std::int64_t>::read(int, BasicBitStreamer<UnalignedWord>&);

} // namespace teko

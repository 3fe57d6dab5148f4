#include "coding/rowDecoder.hpp"

#include "target/target.hpp"

#include <algorithm>

namespace teko {

template <typename T>
class RowDecoder<T>::ChannelSource final : public CoefficientSource<T> {
public:
    ChannelSource(SlicedImage<T>& slicedImage, int ofChannel) : sliced(slicedImage), channel(ofChannel) {}

    const RowSample<T>* take(int c, int n) override { return sliced.take(channel, c, n); }
    int magnitudeBits(int c) const override { return sliced.magnitudeBits(channel, c); }
    const short* takeSmall(int c, int n) override { return sliced.takeSmall(channel, c, n); }

private:
    SlicedImage<T>& sliced;
    int channel;
};

template <typename T>
bool RowDecoder<T>::suits(int width, int height) {
    return planeCoding<T>(activeTarget()) != nullptr && suitsRowStreams(width, height);
}

template <typename T>
bool RowDecoder<T>::suits(int topPlane) {
    return topPlane <= std::min(highestSlicedPlane<T>, InverseStream<T>::safeBits - 1);
}

template <typename T>
RowDecoder<T>::RowDecoder(int width, int height, int channels)
    : shape(shapeOf(width, height, channels)), sliced(planeCoding<T>(activeTarget())->makeSliced(shape)) {}

template <typename T>
RowDecoder<T>::~RowDecoder() = default;

template <typename T>
int RowDecoder<T>::read(int topPlane, BitStreamer& in) {
    const int endedEarly = sliced->read(topPlane, in);
    for (int channel = 0; channel < shape.channels; ++channel) {
        sources.push_back(std::make_unique<ChannelSource>(*sliced, channel));
        transforms.emplace_back(shape.width, shape.height, activeTarget(), *sources.back());
    }
    return endedEarly;
}

template class RowDecoder<short>;
template class RowDecoder<long>;

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
#include "fast/ways/coefficientDecoder.hpp"

#include <algorithm>
#include <cassert>
#include <cstdint>

namespace teko {

template <typename T>
class CoefficientDecoder<T>::ChannelSource final : public CoefficientSource<T>, public InTakenMemory {
public:
    ChannelSource(SlicedImage<T>& slicedImage, int ofChannel) : sliced(slicedImage), channel(ofChannel) {}

    const RowSample<T>* take(int c, int n) override { return sliced.take(channel, c, n); }
    int magnitudeBits(int c) const override { return sliced.magnitudeBits(channel, c); }
    const std::int16_t* take16(int c, int n) override { return sliced.take16(channel, c, n); }

private:
    SlicedImage<T>& sliced;
    int channel;
};

template <typename T>
bool CoefficientDecoder<T>::suits(int topPlane) {
    return topPlane <= std::min(highestSlicedPlane<T>, InverseStream<T>::safeBits - 1);
}

template <typename T>
CoefficientDecoder<T>::CoefficientDecoder(const ImageShape& imageShape, const PlaneKernels<T>& coding)
    : channels(imageShape.channels), sliced(coding.makeSliced(imageShape)) {}

template <typename T>
CoefficientDecoder<T>::~CoefficientDecoder() = default;

template <typename T>
template <typename Word>
int CoefficientDecoder<T>::read(int topPlane, BasicBitStreamer<Word>& in) {
    ByteStreamer bytes;
    moveReader(in, bytes);
    const int endedEarly = sliced->read(topPlane, bytes);
    moveReader(bytes, in);
    return endedEarly;
}

template <typename T>
void CoefficientDecoder<T>::start() {
    assert(sources.empty());
    for (int c = 0; c < channels; ++c) {
        sources.push_back(std::make_unique<ChannelSource>(*sliced, c));
    }
}

template <typename T>
CoefficientSource<T>& CoefficientDecoder<T>::channel(int c) {
    return *sources[static_cast<std::size_t>(c)];
}

template class CoefficientDecoder<std::int16_t>;
template class CoefficientDecoder<std::int64_t>;
template int CoefficientDecoder<std::int16_t>::read(int, BasicBitStreamer<std::uint32_t>&);
template int CoefficientDecoder<std::int64_t>::read(int, BasicBitStreamer<std::uint32_t>&);
template int CoefficientDecoder<std::int16_t>::read(int, BasicBitStreamer<UnalignedWord>&);
template int CoefficientDecoder<std::int64_t>::read(int, BasicBitStreamer<UnalignedWord>&);

} // namespace teko

#include "coding/streamArrayManager.hpp"

#include <memory>

namespace teko {

namespace {

// Sets up a memory writer for that many bits on memory of its own, which the caller frees.
void setUpSubStream(BitStreamer& stream, std::uint64_t bits, std::uint64_t spareCapacity,
                    std::uint64_t spareAllocation) {
    const std::uint64_t bytes = (bits + 7) >> 3;
    const std::uint64_t words = (bytes + spareAllocation + 3) / 4;
    stream.setUpMemoryWriter(new std::uint32_t[words], static_cast<std::int64_t>(bytes + spareCapacity));
}

} // namespace

void RunCoder::setUp(BitStreamer* segment, int parameter) {
    stream = segment;
    k = parameter;
    divisor = 1U << parameter;
    count = 0;
    stream->putBits(static_cast<std::uint32_t>(parameter), 5);
}

void RunCoder::codeWholeUnits() {
    for (; count >= divisor; count -= divisor) {
        stream->putBit(0);
    }
}

void RunCoder::codeEvent(unsigned sign) {
    codeWholeUnits();
    stream->putBit(1);
    stream->putBits(count, k);
    stream->putBit(sign);
    count = 0;
}

void RunCoder::finish() {
    codeWholeUnits();
    if (count != 0) {
        stream->putBit(0);
    }
}

template <typename T>
StreamArrayManager<T>::StreamArrayManager(int channelCount, int levelCount, int highest)
    : channels(channelCount), levels(levelCount), topPlane(highest) {}

template <typename T>
StreamArrayManager<T>::~StreamArrayManager() {
    for (int channel = 0; channel < channels; ++channel) {
        for (int c = 0; c <= levels; ++c) {
            for (int plane = 0; plane <= topPlane; ++plane) {
                delete[] refinementStreams[channel][c][plane].buffer;
                if (BitStreamer* runs = runCoders[channel][c][plane].stream) {
                    delete[] runs->buffer;
                    delete runs;
                }
            }
        }
    }
}

template <typename T>
void StreamArrayManager<T>::setUpRefinement(int channel, int c, int plane, std::uint64_t bits) {
    setUpSubStream(refinementStreams[channel][c][plane], bits, spareCapacity, spareAllocation);
}

template <typename T>
void StreamArrayManager<T>::setUpRuns(int channel, int c, int plane, std::uint64_t bits, int runLengthParameter) {
    auto stream = std::make_unique<BitStreamer>();
    setUpSubStream(*stream, bits, spareCapacity, spareAllocation);
    runCoders[channel][c][plane].setUp(stream.release(), runLengthParameter);
}

template struct StreamArrayManager<short>;
template struct StreamArrayManager<long>;

} // namespace teko

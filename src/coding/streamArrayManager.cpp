// SPDX-License-Identifier: Apache-2.0
#include "coding/streamArrayManager.hpp"

#include "memory/memory.hpp"
#include "memory/pageBuffer.hpp"

#include <cassert>
#include <cstdint>
#include <memory>

namespace teko {

void RunCoder::setUp(BitStreamer* segment, int parameter) {
    assert(parameter >= 0 && parameter <= 24);
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
    assert(k >= 0 && sign <= 1);
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
template <typename Visit>
void StreamArrayManager<T>::forEachEntry(Visit visit) {
    for (int channel = 0; channel < channels; ++channel) {
        for (int c = 0; c <= levels; ++c) {
            for (int plane = 0; plane <= topPlane; ++plane) {
                visit(refinementStreams[channel][c][plane], runCoders[channel][c][plane]);
            }
        }
    }
}

template <typename T>
StreamArrayManager<T>::StreamArrayManager(int channelCount, int levelCount, int highest)
    : channels(channelCount), levels(levelCount), topPlane(highest) {
    assert(channels >= 0 && channels < maximumChannels);
    assert(levels < maximumClasses && topPlane < planes);
    forEachEntry([](BitStreamer& stream, RunCoder& coder) {
        std::construct_at(&stream);
        std::construct_at(&coder);
    });
}

template <typename T>
StreamArrayManager<T>::~StreamArrayManager() {
    forEachEntry([](BitStreamer& stream, RunCoder& coder) {
        giveMemoryBack(stream.buffer);
        if (coder.stream != nullptr) {
            giveMemoryBack(coder.stream->buffer);
            delete coder.stream;
        }
        std::destroy_at(&coder);
        std::destroy_at(&stream);
    });
}

template <typename T>
void StreamArrayManager<T>::setUp(BitStreamer& stream, std::uint64_t bits) {
    const std::uint64_t bytes = (bits + 7) / 8;
    stream.setUpMemoryWriter(takeMemory(addressable(bytes + spareAllocation)),
                             static_cast<std::int64_t>(bytes + spareCapacity));
}

template <typename T>
void StreamArrayManager<T>::setUpRefinement(int channel, int c, int plane, std::uint64_t bits) {
    assert(channel < channels && c <= levels && plane <= topPlane);
    setUp(refinementStreams[channel][c][plane], bits);
}

template <typename T>
void StreamArrayManager<T>::setUpRuns(int channel, int c, int plane, std::uint64_t bits, int runLengthParameter) {
    assert(channel < channels && c <= levels && plane <= topPlane);
    auto stream = std::make_unique<BitStreamer>();
    setUp(*stream, bits);
    runCoders[channel][c][plane].setUp(stream.release(), runLengthParameter);
}

template struct StreamArrayManager<std::int16_t>;
template struct StreamArrayManager<std::int64_t>;

} // namespace teko

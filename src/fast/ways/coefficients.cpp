// SPDX-License-Identifier: Apache-2.0
#include "fast/ways/coefficients.hpp"

#include "coding/bitStreamer.hpp"
#include "fast/planes/subbandBytes.hpp"

#include <algorithm>
#include <cassert>
#include <cstdint>

namespace teko {

// Folds the coefficients of a channel on their way into memory, and counts their bit lengths block by block, still in
// the cache.
template <typename T>
class CoefficientEncoder<T>::SubbandCollector final : public CoefficientSink<T>, public InTakenMemory {
public:
    using Row = RowSample<T>;
    using Counts = std::uint64_t (*)[BitLengthHistogram<T>::buckets];

    SubbandCollector(const ImageShape& shape, unsigned char* lowestBytes, std::size_t stride,
                     const PlaneKernels<T>& itsCoding, Counts itsCounts)
        : classes(shape, lowestBytes, stride), coding(itsCoding), counts(itsCounts) {}

    void take(int c, const Row* samples, int n) override { taken(c, coding.fold(samples, n, classes[c])); }
    void takePairs(int c, const Row* even, const Row* odd, int n) override {
        taken(c, coding.foldPairs(even, odd, n, classes[c]));
    }
    void take16(int c, const std::int16_t* samples, int n) override { taken(c, coding.fold16(samples, n, classes[c])); }
    void take16Pairs(int c, const std::int16_t* even, const std::int16_t* odd, int n) override {
        taken(c, coding.fold16Pairs(even, odd, n, classes[c]));
    }

    // After the last coefficient of all classes.
    void finish(int levels) {
        for (int c = 0; c <= levels; ++c) {
            classes[c].finish();
            countUpTo(classes[c].blocks(classes[c].count), c);
        }
    }

    ChannelSubbands<T> classes;
    Unsigned<Row> magnitudes = 0; // OR of all

private:
    // After more coefficients, with that OR of their magnitudes: the last of them may be the first of a block that is
    // not full yet.
    void taken(int c, Unsigned<Row> more) {
        magnitudes = static_cast<Unsigned<Row>>(magnitudes | more);
        uncounted[c] = static_cast<Unsigned<Row>>(uncounted[c] | more);
        const std::int64_t full = classes[c].count / blockSamples;
        if (counted[c] < full) {
            countUpTo(full, c);
            uncounted[c] = more;
        }
    }

    void countUpTo(std::int64_t blocks, int c) {
        const int atMost = bitLength(uncounted[c]) + 1;
        for (; counted[c] < blocks; ++counted[c]) {
            const int longest = coding.countLengths(classes[c], counted[c], atMost, counts[c]);
            classes[c].longest[counted[c]] = static_cast<unsigned char>(longest);
        }
    }

    const PlaneKernels<T>& coding;
    Counts counts;                                // [class][bit length]
    std::int64_t counted[maximumClasses] = {};    // blocks
    Unsigned<Row> uncounted[maximumClasses] = {}; // OR of magnitudes: those in blocks not counted, at least
};

template <typename T>
CoefficientEncoder<T>::CoefficientEncoder(const ImageShape& imageShape, const PlaneKernels<T>& planeCoding)
    : shape(imageShape), coding(planeCoding), histogram(std::make_unique_for_overwrite<BitLengthHistogram<T>>()) {
    using Sequence = typename ChannelSubbands<T>::Sequence;
    const std::size_t rowBytes = ChannelSubbands<T>::rowBytes(shape);
    const std::size_t stride = static_cast<std::size_t>(shape.channels) * rowBytes;
    coefficientBytes = Sequence::bytePlanesOfValue * stride;
    memory = PageBuffer(coefficientBytes);
    memory.adviseHugePages(Sequence::bytePlanesOftenUsed * stride);
    for (int c = 0; c < shape.channels; ++c) {
        collectors.push_back(std::make_unique<SubbandCollector>(shape,
                                                                memory.data() + static_cast<std::size_t>(c) * rowBytes,
                                                                stride, coding, histogram->bitLengthCount[c]));
    }
}

template <typename T>
CoefficientEncoder<T>::~CoefficientEncoder() = default;

template <typename T>
CoefficientSink<T>& CoefficientEncoder<T>::channel(int c) {
    return *collectors[static_cast<std::size_t>(c)];
}

template <typename T>
struct CoefficientEncoder<T>::Coded : InTakenMemory {
    Coded(const ImageShape& shape, int itsTopPlane, const BitLengthHistogram<T>& histogram, std::uint64_t room,
          SizeEstimate lengths)
        : topPlane(itsTopPlane), plan(shape, topPlane, histogram, room, lengths) {}

    int topPlane;
    SegmentPlan<T> plan;
    PageBuffer memory; // of what has no place behind the coefficients
};

template <typename T>
std::uint64_t CoefficientEncoder<T>::code(std::uint64_t room) {
    Unsigned<T> magnitudes = 0;
    for (const auto& collector : collectors) {
        collector->finish(shape.levels);
        magnitudes |= collector->magnitudes;
    }
    const int topPlane = topPlaneOf<T>(magnitudes);
    if (topPlane > highestSlicedPlane<T>) {
        throw 5;
    }
    histogram->sum();
    // Of typical sizes, little more is coded than a budget holds; of the lower bound, now and then as much as three
    // quarters more (1.0 to 1.15 times as fast on images cut to 5 %).
    std::optional<std::uint64_t> bits = codeSegments(topPlane, SizeEstimate::typical, room);
    if (!bits) {
        bits = codeSegments(topPlane, SizeEstimate::lowerBound, room);
    }
    return topPlaneBits + *bits;
}

template <typename T>
std::optional<std::uint64_t> CoefficientEncoder<T>::codeSegments(int topPlane, SizeEstimate lengths,
                                                                 std::uint64_t room) {
    coded.reset(); // its memory first
    coded = std::make_unique<Coded>(shape, topPlane, *histogram, room, lengths);
    const std::size_t bytes = addressable(coded->plan.bytes());
    unsigned char* streamMemory = memory.data() + coefficientBytes;
    if (memory.sizeOnLargePages() < coefficientBytes + bytes) {
        coded->memory = PageBuffer(bytes);
        coded->memory.adviseHugePages(bytes);
        streamMemory = coded->memory.data();
    }
    SegmentPlan<T>& plan = coded->plan;
    plan.setUp(streamMemory);
    for (int channel = 0; channel < shape.channels; ++channel) {
        ChannelSubbands<T>& classes = collectors[static_cast<std::size_t>(channel)]->classes;
        for (int c = 0; c <= shape.levels; ++c) {
            coding.codeClass(classes[c], plan.streams(channel, c), topPlane, plan.lowestPlane(channel, c),
                             plan.lowestSparsePlane(channel, c));
        }
    }
    return plan.codedBits();
}

template <typename T>
template <typename Word>
void CoefficientEncoder<T>::write(BasicBitStreamer<Word>& out) {
    if (coded == nullptr) {
        code(roomIn(out));
    }
    out.putBits(static_cast<std::uint32_t>(coded->topPlane), topPlaneBits);
    coded->plan.assemble(out);
}

template class CoefficientEncoder<std::int16_t>;
template class CoefficientEncoder<std::int64_t>;
template void CoefficientEncoder<std::int16_t>::write(BasicBitStreamer<std::uint32_t>&);
template void CoefficientEncoder<std::int64_t>::write(BasicBitStreamer<std::uint32_t>&);
template void CoefficientEncoder<std::int16_t>::write(BasicBitStreamer<UnalignedWord>&);
template void CoefficientEncoder<std::int64_t>::write(BasicBitStreamer<UnalignedWord>&);

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

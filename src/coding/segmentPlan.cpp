// SPDX-License-Identifier: Apache-2.0
#include "coding/segmentPlan.hpp"

#include "coding/bitStreamer.hpp"
#include "coding/runLengthParameter.hpp"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <iterator>

namespace teko {

namespace {

// Of a run segment: its parameter, its events, and the units that the passes fill without what is left over at the end
// of every run.
std::uint64_t runBits(const PlaneCount& count, RunLengths lengths) {
    const int k = runLengthParameter(count.events, count.candidates());
    const std::uint64_t longest = (count.events + 1) * ((std::uint64_t{1} << k) - 1);
    const std::uint64_t remainders = lengths == RunLengths::shortest ? longest : longest / 2;
    const std::uint64_t units = count.passes > remainders ? (count.passes - remainders) >> k : 0;
    return 5 + count.events * static_cast<std::uint64_t>(k + 2) + units;
}

} // namespace

template <typename T>
SegmentPlan<T>::SegmentPlan(const ImageShape& imageShape, int top, const BitLengthHistogram<T>& counts,
                            std::uint64_t bitsOfRoom, RunLengths lengths)
    : shape(imageShape), topPlane(top), histogram(counts), room(bitsOfRoom) {
    assert(topPlane >= 0 && topPlane <= highestPlane<T>);
    for (auto& channel : lowest) {
        std::fill(std::begin(channel), std::end(channel), topPlane + 1);
    }
    std::uint64_t bits = 0;
    forEachSegmentPair(shape.channels, shape.levels, topPlane, [&](int channel, int c, int b) {
        lowest[channel][c] = b;
        const PlaneCount count = histogram.plane(channel, c, b);
        bits += histogram.coefficients(channel, c) - count.candidates() + runBits(count, lengths);
        return bits <= room;
    });
}

template <typename T>
int SegmentPlan<T>::lowestSparsePlane(int channel, int c) const {
    assert(channel < shape.channels && c <= shape.levels);
    const std::uint64_t all = histogram.coefficients(channel, c);
    int b = topPlane + 1;
    while (b > 0 && sparseShare * (all - histogram.plane(channel, c, b - 1).passes) <= all) {
        --b;
    }
    return b;
}

template <typename T>
template <typename Visit>
void SegmentPlan<T>::forEachSubStreamPair(Visit visit) const {
    for (int channel = 0; channel < shape.channels; ++channel) {
        for (int c = 0; c <= shape.levels; ++c) {
            for (int b = lowest[channel][c]; b <= topPlane; ++b) {
                visit(channel, c, b, histogram.plane(channel, c, b));
            }
        }
    }
}

template <typename T>
std::uint64_t SegmentPlan<T>::compactBytes() const {
    using Streams = StreamArrayManager<T>;
    std::uint64_t bytes = 0;
    forEachSubStreamPair([&](int channel, int c, int, const PlaneCount& count) {
        bytes += Streams::bytesFor(histogram.coefficients(channel, c) - count.candidates()) +
                 Streams::bytesFor(longestRunSegment(count.events, count.candidates()));
    });
    return bytes;
}

template <typename T>
void SegmentPlan<T>::setUp(StreamArrayManager<T>& streams) const {
    forEachSubStreamPair([&](int channel, int c, int b, const PlaneCount& count) {
        // the lattice holds the coarser classes too: an upper bound
        const auto region = static_cast<std::uint64_t>(latticeSamples(shape, c));
        const std::uint64_t samples = streams.hasLentMemory() ? histogram.coefficients(channel, c) : region;
        streams.setUpRefinement(channel, c, b, samples - count.candidates());
        const auto runs = streams.hasLentMemory() ? longestRunSegment : runSegmentBitsEstimate;
        streams.setUpRuns(channel, c, b, runs(count.events, count.candidates()),
                          runLengthParameter(count.events, count.candidates()));
    });
}

template <typename T>
std::optional<std::uint64_t> SegmentPlan<T>::finish(StreamArrayManager<T>& streams) const {
    std::uint64_t bits = 0;
    bool isEnough = true;
    forEachSegmentPair(shape.channels, shape.levels, topPlane, [&](int channel, int c, int b) {
        if (b < lowest[channel][c]) {
            isEnough = bits > room;
            return false;
        }
        RunCoder& coder = streams.runCoders[channel][c][b];
        coder.finish();
        bits +=
            static_cast<std::uint64_t>(streams.refinementStreams[channel][c][b].bitCount() + coder.stream->bitCount());
        return true;
    });
    return isEnough ? std::optional(bits) : std::nullopt;
}

template <typename T>
template <typename Word>
void SegmentPlan<T>::assemble(StreamArrayManager<T>& streams, BasicBitStreamer<Word>& out) const {
    forEachSegmentPair(shape.channels, shape.levels, topPlane, [&](int channel, int c, int b) {
        if (b < lowest[channel][c]) {
            return false;
        }
        out.append(streams.refinementStreams[channel][c][b]);
        out.append(*streams.runCoders[channel][c][b].stream);
        if (out.file != nullptr && out.words() >= out.wordsAtOnce) {
            out.flushToFile();
        }
        return true;
    });
    out.flush();
}

template class SegmentPlan<std::int16_t>;
template class SegmentPlan<std::int64_t>;

using Words = BasicBitStreamer<std::uint32_t>;
using UnalignedWords = BasicBitStreamer<UnalignedWord>;
template void SegmentPlan<std::int16_t>::assemble(StreamArrayManager<std::int16_t>&, Words&) const;
template void SegmentPlan<std::int64_t>::assemble(StreamArrayManager<std::int64_t>&, Words&) const;
template void SegmentPlan<std::int16_t>::assemble(StreamArrayManager<std::int16_t>&, UnalignedWords&) const;
template void SegmentPlan<std::int64_t>::assemble(StreamArrayManager<std::int64_t>&, UnalignedWords&) const;

} // namespace teko

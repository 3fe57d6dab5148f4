// SPDX-License-Identifier: Apache-2.0
#include "fast/planes/segmentPlan.hpp"

#include "coding/bitStreamer.hpp"
#include "coding/runLengthParameter.hpp"
#include "coding/subband.hpp"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <iterator>

namespace teko {

namespace {

// Of a run segment: its parameter, its events, and the units that the passes fill without what is left over at the end
// of every run.
std::uint64_t runBits(const PlaneCount& count, SizeEstimate lengths) {
    const int k = runLengthParameter(count.events, count.candidates());
    const std::uint64_t longest = (count.events + 1) * ((std::uint64_t{1} << k) - 1);
    const std::uint64_t remainders = lengths == SizeEstimate::lowerBound ? longest : longest / 2;
    const std::uint64_t units = count.passes > remainders ? (count.passes - remainders) >> k : 0;
    return 5 + count.events * static_cast<std::uint64_t>(k + 2) + units;
}

} // namespace

template <typename T>
SegmentPlan<T>::SegmentPlan(const ImageShape& imageShape, int top, const BitLengthHistogram<T>& counts,
                            std::uint64_t bitsOfRoom, SizeEstimate lengths)
    : shape(imageShape), topPlane(top), histogram(counts), room(bitsOfRoom),
      planes(firstPlane(imageShape.channels, 0)) {
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
void SegmentPlan<T>::forEachCodedPair(Visit visit) const {
    for (int channel = 0; channel < shape.channels; ++channel) {
        for (int c = 0; c <= shape.levels; ++c) {
            for (int b = lowest[channel][c]; b <= topPlane; ++b) {
                visit(channel, c, b, histogram.plane(channel, c, b));
            }
        }
    }
}

template <typename T>
std::uint64_t SegmentPlan<T>::bytes() const {
    std::uint64_t bytes = 0;
    forEachCodedPair([&](int channel, int c, int, const PlaneCount& count) {
        bytes += SubStream::bytesFor(histogram.coefficients(channel, c) - count.candidates()) +
                 SubStream::bytesFor(longestRunSegment(count.events, count.candidates()));
    });
    return bytes;
}

template <typename T>
void SegmentPlan<T>::setUp(unsigned char* memory) {
    assert(reinterpret_cast<std::uintptr_t>(memory) % sizeof(std::uint32_t) == 0);
    const auto next = [&](std::uint64_t mostBits) {
        const SubStream stream{memory, memory + (mostBits + 7) / 8};
        memory += SubStream::bytesFor(mostBits);
        return stream;
    };
    forEachCodedPair([&](int channel, int c, int b, const PlaneCount& count) {
        PlaneStreams& pair = streams(channel, c)[b];
        pair.refinements = next(histogram.coefficients(channel, c) - count.candidates());
        pair.runs = next(longestRunSegment(count.events, count.candidates()));
        pair.k = static_cast<unsigned>(runLengthParameter(count.events, count.candidates()));
    });
}

template <typename T>
std::optional<std::uint64_t> SegmentPlan<T>::codedBits() const {
    std::uint64_t bits = 0;
    bool isEnough = true;
    forEachSegmentPair(shape.channels, shape.levels, topPlane, [&](int channel, int c, int b) {
        if (b < lowest[channel][c]) {
            isEnough = bits > room;
            return false;
        }
        bits += plane(channel, c, b).refinements.bits + plane(channel, c, b).runs.bits;
        return true;
    });
    return isEnough ? std::optional(bits) : std::nullopt;
}

template <typename T>
template <typename Word>
void SegmentPlan<T>::assemble(BasicBitStreamer<Word>& out) const {
    const auto append = [&](const SubStream& stream) {
        out.append(reinterpret_cast<const std::uint32_t*>(stream.bytes), static_cast<std::int64_t>(stream.bits));
    };
    forEachSegmentPair(shape.channels, shape.levels, topPlane, [&](int channel, int c, int b) {
        if (b < lowest[channel][c]) {
            return false;
        }
        append(plane(channel, c, b).refinements);
        append(plane(channel, c, b).runs);
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
template void SegmentPlan<std::int16_t>::assemble(Words&) const;
template void SegmentPlan<std::int64_t>::assemble(Words&) const;
template void SegmentPlan<std::int16_t>::assemble(UnalignedWords&) const;
template void SegmentPlan<std::int64_t>::assemble(UnalignedWords&) const;

} // namespace teko

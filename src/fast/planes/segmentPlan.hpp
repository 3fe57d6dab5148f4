// SPDX-License-Identifier: Apache-2.0
// The sub-streams of the fast encoder: which segments a writer has room for, and the memory of each, in one piece.
#pragma once

#include "coding/bitStreamer.hpp"
#include "coding/histogram.hpp"
#include "coding/subband.hpp"
#include "memory/memory.hpp"

#include <cstdint>
#include <optional>

namespace teko {

// The bits of one segment, from the bottom of the first byte on.
struct SubStream {
    unsigned char* bytes = nullptr;     // not owned; aligned to a word
    const unsigned char* end = nullptr; // of what the bits may take; some bytes more may be stored to
    std::uint64_t bits = 0;             // that are there

    // What a sub-stream of so many bits takes: whole words of 64 bits, as its writer stores them, and at least one.
    static constexpr std::uint64_t bytesFor(std::uint64_t mostBits) { return (mostBits / 64 + 1) * 8; }
};

// The pair of segments of one bit plane of a class.
struct PlaneStreams {
    SubStream refinements;
    SubStream runs;
    unsigned k = 0; // the run-length parameter
};

// How long run segments are taken to be. That depends on where the events are, which only coding tells.
enum class SizeEstimate {
    typical,    // runs end anywhere in their last unit: too short by one in a hundred, as a rule, and seldom too long
    lowerBound, // runs end at the end of their last unit: never too long
};

// The bits that a writer takes before it throws, at most: it throws when the word after its last is complete.
template <typename Word>
std::uint64_t roomIn(const BasicBitStreamer<Word>& out) {
    return out.file != nullptr ? ~std::uint64_t{0} : 32 * static_cast<std::uint64_t>(out.size - out.words() + 1);
}
// Those of a new memory writer of so many bytes.
constexpr std::uint64_t roomInBytes(std::uint64_t bytes) {
    return 32 * (bytes / 4 + 1);
}

template <typename T>
class SegmentPlan {
public:
    // For segments of which a writer takes so many bits, or fewer. All that it may see the beginning of are coded: the
    // last pair is the one that passes the room. The histogram is summed, and not copied. Throws std::bad_alloc.
    SegmentPlan(const ImageShape& shape, int topPlane, const BitLengthHistogram<T>& histogram, std::uint64_t room,
                SizeEstimate lengths);

    // The lowest plane of a class that has to be coded: the writer does not see the beginning of those below, so coding
    // them would cost time and change nothing. One above the top plane where the class is not needed at all.
    int lowestPlane(int channel, int c) const { return lowest[channel][c]; }
    // The lowest plane from which on at most one in sparseShare coefficients of the class is significant.
    int lowestSparsePlane(int channel, int c) const;
    static constexpr std::uint64_t sparseShare = 16;

    // What the sub-streams of all segments to be coded take together, each as long as its segment can get.
    std::uint64_t bytes() const;
    // Lays them out in so much memory, which is aligned to a word, stays the caller's and outlives them.
    void setUp(unsigned char* memory);
    // Those of a class, by their planes.
    PlaneStreams* streams(int channel, int c) { return planes.data() + firstPlane(channel, c); }

    // Once all is coded: the bits of all sub-streams, or of those in front of the first that was left out; nothing
    // where these are not more than the writer takes, which `lowerBound` lengths always are.
    std::optional<std::uint64_t> codedBits() const;

    // Then appends the sub-streams in their order. Throws what the writer throws.
    template <typename Word>
    void assemble(BasicBitStreamer<Word>& out) const;

private:
    // Calls visit(channel, class, plane, count) for every pair to be coded.
    template <typename Visit>
    void forEachCodedPair(Visit visit) const;

    std::size_t firstPlane(int channel, int c) const {
        const int classesBefore = channel * (shape.levels + 1) + c;
        return static_cast<std::size_t>(classesBefore) * static_cast<std::size_t>(topPlane + 1);
    }
    const PlaneStreams& plane(int channel, int c, int b) const {
        return planes[firstPlane(channel, c) + static_cast<std::size_t>(b)];
    }

    ImageShape shape;
    int topPlane;
    const BitLengthHistogram<T>& histogram;
    std::uint64_t room; // bits that the writer takes before it throws, at most
    int lowest[BitLengthHistogram<T>::maximumChannels][maximumClasses];
    Vector<PlaneStreams> planes; // [channel][class][plane]
};

extern template class SegmentPlan<std::int16_t>;
extern template class SegmentPlan<std::int64_t>;

} // namespace teko

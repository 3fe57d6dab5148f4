// SPDX-License-Identifier: Apache-2.0
// The order of the segments in a coded stream, which of them a writer has room for, and their sub-streams.
#pragma once

#include "coding/histogram.hpp"
#include "coding/imageShape.hpp"
#include "coding/streamArrayManager.hpp"

#include <cstdint>
#include <optional>

namespace teko {

// The lowest plane of each channel and class that has to be coded.
using LowestPlanes = int[4][maximumClasses];

// Calls visit(channel, class, plane) for every segment pair in the order of the stream; ends when it returns false.
template <typename Visit>
void forEachSegmentPair(int channels, int levels, int topPlane, Visit visit) {
    for (int priority = topPlane + levels; priority >= 0; --priority) {
        for (int channel = 0; channel < channels; ++channel) {
            for (int c = 0; c <= levels; ++c) {
                const int b = priority - c;
                if (b >= 0 && b <= topPlane && !visit(channel, c, b)) {
                    return;
                }
            }
        }
    }
}

// How long run segments are taken to be. That depends on where the events are, which only coding tells.
enum class RunLengths {
    usual,    // remainders of all sizes: too short by one in a hundred, as a rule, and seldom too long
    shortest, // the largest remainders: never too long
};

// The bits that a writer takes before it throws, at most.
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
    // For a writer that stands behind the top plane and has room for so many bits. The histogram is summed, and not
    // copied.
    SegmentPlan(const ImageShape& shape, int topPlane, const BitLengthHistogram<T>& histogram, std::uint64_t room,
                RunLengths lengths);

    // The lowest plane of a class from which on few coefficients are significant, one of so many.
    int lowestSparsePlane(int channel, int c) const;
    static constexpr std::uint64_t sparseShare = 16;

    // Sets up the sub-streams of the segments to be coded. In memory that is lent they lie close together, each as long
    // as its segment can get, and take compactBytes of it. Throws std::bad_alloc.
    std::uint64_t compactBytes() const;
    void setUp(StreamArrayManager<T>& streams) const;

    // Ends the run segments, once all is coded. Returns the bits of all sub-streams, or of those in front of the first
    // that was left out; nothing where these are not more than the writer takes, which `shortest` lengths always are.
    std::optional<std::uint64_t> finish(StreamArrayManager<T>& streams) const;

    // Then appends the sub-streams in their order. Throws what the writer throws.
    template <typename Word>
    void assemble(StreamArrayManager<T>& streams, BasicBitStreamer<Word>& out) const;

    // The planes that the writer can see the beginning of: coding the others would cost time and change nothing. A
    // plane above the top plane means that a class is not needed at all.
    LowestPlanes lowest;

private:
    // Calls visit(channel, class, plane, count) for every pair to be coded.
    template <typename Visit>
    void forEachSubStreamPair(Visit visit) const;

    ImageShape shape;
    int topPlane;
    const BitLengthHistogram<T>& histogram;
    std::uint64_t room; // bits that the writer takes before it throws, at most
};

extern template class SegmentPlan<std::int16_t>;
extern template class SegmentPlan<std::int64_t>;

} // namespace teko

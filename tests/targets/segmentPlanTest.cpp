// SPDX-License-Identifier: Apache-2.0
// The memory of the fast encoder's sub-streams: one piece for all.
#include "fast/planes/segmentPlan.hpp"
#include "coding/runLengthParameter.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

namespace teko {

namespace {

constexpr ImageShape shape{75, 61, 3, 2};
constexpr int topPlane = 6;

// As many coefficients in each class as it has, of all bit lengths up to that of the top plane.
template <typename T>
std::unique_ptr<BitLengthHistogram<T>> randomHistogram() {
    std::mt19937_64 random(71);
    auto histogram = std::make_unique<BitLengthHistogram<T>>();
    for (int channel = 0; channel < shape.channels; ++channel) {
        for (int c = 0; c <= shape.levels; ++c) {
            for (long i = 0; i < classSamples(shape, c); ++i) {
                const auto length = static_cast<int>(random() % (topPlane + 3));
                ++histogram->bitLengthCount[channel][c][length == 1 ? 0 : length];
            }
        }
    }
    histogram->sum();
    return histogram;
}

// In a writer of so many bytes.
std::uint64_t roomOf(std::int64_t bytes) {
    std::uint32_t word = 0;
    BitStreamer writer;
    writer.setUpMemoryWriter(&word, bytes);
    return roomIn(writer);
}
constexpr std::int64_t unlimited = std::int64_t{1} << 30;

// The sub-streams of a plan.
template <typename T>
struct LaidOutStreams {
    explicit LaidOutStreams(std::int64_t budget)
        : plan(shape, topPlane, *histogram, roomOf(budget), SizeEstimate::lowerBound), memory(plan.bytes() / 4) {
        plan.setUp(begin());
    }

    unsigned char* begin() { return reinterpret_cast<unsigned char*>(memory.data()); }

    // Calls visit(sub-stream, most bits of its segment).
    template <typename Visit>
    void forEach(Visit visit) {
        for (int channel = 0; channel < shape.channels; ++channel) {
            for (int c = 0; c <= shape.levels; ++c) {
                for (int b = plan.lowestPlane(channel, c); b <= topPlane; ++b) {
                    const PlaneCount count = histogram->plane(channel, c, b);
                    const PlaneStreams& streams = plan.streams(channel, c)[b];
                    visit(streams.refinements, histogram->coefficients(channel, c) - count.candidates());
                    visit(streams.runs, longestRunSegment(count.events, count.candidates()));
                    EXPECT_EQ(static_cast<int>(streams.k), runLengthParameter(count.events, count.candidates()));
                }
            }
        }
    }

    std::unique_ptr<BitLengthHistogram<T>> histogram = randomHistogram<T>();
    SegmentPlan<T> plan;
    std::vector<std::uint32_t> memory;
};

template <typename T>
class PlannedSubStreams : public testing::Test {};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(PlannedSubStreams, SampleTypes);

} // namespace

TYPED_TEST(PlannedSubStreams, TakeTheBytesThatWerePromisedAndNoneTwice) {
    for (const std::int64_t budget : {std::int64_t{40}, std::int64_t{3000}, unlimited}) {
        LaidOutStreams<TypeParam> laidOut(budget);
        const unsigned char* next = laidOut.begin();
        laidOut.forEach([&](const SubStream& stream, std::uint64_t bits) {
            EXPECT_EQ(stream.bytes, next);
            EXPECT_EQ(stream.end, next + (bits + 7) / 8);
            EXPECT_EQ(stream.bits, 0U);
            next += SubStream::bytesFor(bits);
        });
        EXPECT_GT(next, laidOut.begin());
        EXPECT_EQ(next, laidOut.begin() + laidOut.plan.bytes());
    }
}

// The last bits are stored with the 64-bit word that they are in.
TYPED_TEST(PlannedSubStreams, HaveRoomForTheirLastWord) {
    for (std::uint64_t bits = 0; bits < 1000; ++bits) {
        EXPECT_GE(SubStream::bytesFor(bits), bits / 64 * 8 + 8);
        EXPECT_EQ(SubStream::bytesFor(bits) % 4, 0U);
    }
}

// With a small budget, planes are left out from the lowest priority on.
TYPED_TEST(PlannedSubStreams, AreThoseThatTheWriterSeesTheBeginningOf) {
    const LaidOutStreams<TypeParam> whole(unlimited);
    const LaidOutStreams<TypeParam> cut(3000);
    int left = 0;
    for (int channel = 0; channel < shape.channels; ++channel) {
        for (int c = 0; c <= shape.levels; ++c) {
            EXPECT_EQ(whole.plan.lowestPlane(channel, c), 0);
            left += cut.plan.lowestPlane(channel, c);
            if (c > 0) {
                EXPECT_LE(cut.plan.lowestPlane(channel, c), cut.plan.lowestPlane(channel, c - 1));
            }
        }
    }
    EXPECT_GT(left, 0);
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// The memory of sub-streams that lie close together.
#include "coding/segmentPlan.hpp"

#include <gtest/gtest.h>

#include <algorithm>
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

// The sub-streams of a plan in memory that is lent.
template <typename T>
struct CompactStreams {
    explicit CompactStreams(std::int64_t budget)
        : plan(shape, topPlane, *histogram, roomOf(budget), RunLengths::shortest), memory(plan.compactBytes() / 4),
          streams(std::make_unique<StreamArrayManager<T>>(shape.channels, shape.levels, topPlane)) {
        streams->lend(reinterpret_cast<unsigned char*>(memory.data()), plan.compactBytes());
        plan.setUp(*streams);
    }

    // Calls visit(refinements, runs, bits of the refinements).
    template <typename Visit>
    void forEachPair(Visit visit) {
        for (int channel = 0; channel < shape.channels; ++channel) {
            for (int c = 0; c <= shape.levels; ++c) {
                for (int b = plan.lowest[channel][c]; b <= topPlane; ++b) {
                    const std::uint64_t candidates = histogram->plane(channel, c, b).candidates();
                    visit(streams->refinementStreams[channel][c][b], *streams->runCoders[channel][c][b].stream,
                          histogram->coefficients(channel, c) - candidates);
                }
            }
        }
    }

    std::unique_ptr<BitLengthHistogram<T>> histogram = randomHistogram<T>();
    SegmentPlan<T> plan;
    std::vector<std::uint32_t> memory;
    std::unique_ptr<StreamArrayManager<T>> streams;
};

// What a memory writer was given.
struct Stretch {
    const char* begin;
    const char* end;

    explicit Stretch(const BitStreamer& stream)
        : begin(reinterpret_cast<const char*>(stream.buffer)),
          end(begin + 4 * stream.size + stream.tailBytes + 26 - 16) {}
};

template <typename T>
class CompactSubStreams : public testing::Test {};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(CompactSubStreams, SampleTypes);

} // namespace

TYPED_TEST(CompactSubStreams, takeTheBytesThatWerePromisedAndNoneTwice) {
    for (const std::int64_t budget : {std::int64_t{40}, std::int64_t{3000}, unlimited}) {
        CompactStreams<TypeParam> compact(budget);
        std::vector<Stretch> stretches;
        compact.forEachPair([&](const BitStreamer& refinements, const BitStreamer& runs, std::uint64_t) {
            stretches.emplace_back(refinements);
            stretches.emplace_back(runs);
        });
        ASSERT_FALSE(stretches.empty());
        std::sort(stretches.begin(), stretches.end(), [](auto& a, auto& b) { return a.begin < b.begin; });
        for (std::size_t i = 1; i < stretches.size(); ++i) {
            ASSERT_GE(stretches[i].begin, stretches[i - 1].end);
        }
        const char* const begin = reinterpret_cast<const char*>(compact.memory.data());
        const char* const end = begin + compact.plan.compactBytes();
        EXPECT_EQ(stretches.front().begin, begin);
        EXPECT_LE(stretches.back().end, end);
        EXPECT_GT(stretches.back().end, end - 4);
    }
}

TYPED_TEST(CompactSubStreams, haveRoomForEveryRefinement) {
    CompactStreams<TypeParam> compact(unlimited);
    compact.forEachPair([](BitStreamer& refinements, const BitStreamer&, std::uint64_t bits) {
        for (std::uint64_t i = 0; i < bits; ++i) {
            refinements.putBit(1);
        }
        refinements.flush();
        EXPECT_EQ(refinements.bitCount(), static_cast<std::int64_t>(bits));
    });
}

} // namespace teko

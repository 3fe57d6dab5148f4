// SPDX-License-Identifier: Apache-2.0
#include "coding/runLengthParameter.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace teko {

namespace {

constexpr std::uint64_t hundredThousand = 100000;
constexpr std::uint64_t largestClass = 3ULL << 29; // three quarters of 2^31 samples

// The largest bits of a run segment: all passes in one run, which wastes least, plus the two ends.
std::uint64_t longestSegment(std::uint64_t events, std::uint64_t candidates) {
    const auto k = static_cast<std::uint64_t>(runLengthParameter(events, candidates));
    return events * (k + 2) + ((candidates - events) >> k) + 1;
}

std::vector<std::uint64_t> testedCandidates() {
    std::vector<std::uint64_t> counts;
    for (std::uint64_t count = 0; count <= 400; ++count) {
        counts.push_back(count);
    }
    for (std::uint64_t power = 512; power <= largestClass; power *= 2) {
        counts.insert(counts.end(), {power - 1, power, power + power / 3});
    }
    counts.push_back(largestClass);
    return counts;
}

std::vector<std::uint64_t> testedEvents(std::uint64_t candidates) {
    std::vector<std::uint64_t> counts;
    for (std::uint64_t count = 0; count <= std::min<std::uint64_t>(candidates, 60); ++count) {
        counts.push_back(count);
    }
    for (double density = 1.0; density > 1e-9; density *= 0.97) {
        counts.push_back(static_cast<std::uint64_t>(density * static_cast<double>(candidates)));
    }
    return counts;
}

} // namespace

TEST(RunLengthParameter, isZeroForDenseSegments) {
    EXPECT_EQ(runLengthParameter(1, 1), 0);
    EXPECT_EQ(runLengthParameter(1, 2), 0);
    EXPECT_EQ(runLengthParameter(1, 4), 0);
    EXPECT_EQ(runLengthParameter(21385, hundredThousand), 0);
}

TEST(RunLengthParameter, isTwoThenThreeBelowExactDensities) {
    EXPECT_EQ(runLengthParameter(21384, hundredThousand), 2);
    EXPECT_EQ(runLengthParameter(11386, hundredThousand), 2);
    EXPECT_EQ(runLengthParameter(11385, hundredThousand), 3);
    EXPECT_EQ(runLengthParameter(5839, hundredThousand), 3);
}

TEST(RunLengthParameter, staysThreeBelowTheLastDensityUntilTheTargetRunIsNine) {
    EXPECT_EQ(runLengthParameter(5838, hundredThousand), 3);
    EXPECT_EQ(runLengthParameter(5700, hundredThousand), 3);
    // 0.48 / density + 0.5 reaches 9 at a density of 48 / 850.
    EXPECT_EQ(runLengthParameter(48000, 849999), 3);
    EXPECT_EQ(runLengthParameter(48000, 850001), 4);
}

TEST(RunLengthParameter, growsWhereTheTargetRunExceedsAPowerOfTwo) {
    for (int k = 3; k < 24; ++k) {
        // The density at which 0.48 / density + 0.5 is 2^k + 1, and one candidate to either side.
        const std::uint64_t candidates = 1000 * ((std::uint64_t{100} << k) + 50);
        EXPECT_EQ(runLengthParameter(48000, candidates - 1), k) << k;
        EXPECT_EQ(runLengthParameter(48000, candidates + 1), k + 1) << k;
    }
}

TEST(RunLengthParameter, endsAt24) {
    EXPECT_EQ(largestRunLengthParameter, 24);
    EXPECT_EQ(runLengthParameter(1, std::uint64_t{1} << 25), 24);
    EXPECT_EQ(runLengthParameter(1, std::uint64_t{1} << 27), 24);
    EXPECT_EQ(runLengthParameter(1, std::uint64_t{1} << 32), 24);
    EXPECT_EQ(runLengthParameter(1, std::uint64_t{1} << 33), 24);
    EXPECT_EQ(runLengthParameter(1, std::uint64_t{1} << 40), 24);
    EXPECT_EQ(runLengthParameter(1, std::uint64_t{1} << 62), 24);
    // 0.48 / density + 0.5 is 2^32 + 5.
    EXPECT_EQ(runLengthParameter(1, 8947848543), 24);
}

TEST(RunLengthParameter, is24WithoutEvents) {
    for (const std::uint64_t candidates : {std::uint64_t{1}, std::uint64_t{1000}, std::uint64_t{1} << 40}) {
        EXPECT_EQ(runLengthParameter(0, candidates), 24);
    }
}

TEST(RunLengthParameter, is24WithoutCandidates) {
    EXPECT_EQ(runLengthParameter(0, 0), 24);
}

TEST(RunLengthParameter, isNeverOneAndNeverFallsWithTheDensity) {
    for (std::uint64_t candidates = 1; candidates <= 600; ++candidates) {
        int previous = 24;
        for (std::uint64_t events = 0; events <= candidates; ++events) {
            const int k = runLengthParameter(events, candidates);
            ASSERT_NE(k, 1) << events << " of " << candidates;
            ASSERT_GE(k, 0);
            ASSERT_LE(k, previous) << events << " of " << candidates;
            previous = k;
        }
    }
}

TEST(RunLengthParameter, dependsOnTheDensityAlone) {
    for (const std::uint64_t events : {1U, 3U, 10U, 30U, 60U}) {
        const int k = runLengthParameter(events, 128);
        for (int shift = 1; shift <= 30; ++shift) {
            ASSERT_EQ(runLengthParameter(events << shift, std::uint64_t{128} << shift), k) << events;
        }
    }
}

TEST(RunSegmentEstimate, allowsABitAndThreeTenthsForEachCandidateOfDenseSegments) {
    EXPECT_EQ(runSegmentBitsEstimate(100, 100), 230U);
    EXPECT_EQ(runSegmentBitsEstimate(50, 100), 180U);
    EXPECT_EQ(runSegmentBitsEstimate(11, 100), 141U);
}

TEST(RunSegmentEstimate, is13TenthsOfTheEntropyOfSparseSegmentsAndTheSigns) {
    EXPECT_EQ(runSegmentBitsEstimate(10, 100), 70U);
    EXPECT_EQ(runSegmentBitsEstimate(1, 1000), 15U);
    for (const double share : {0.1, 0.03, 0.001}) {
        const double candidates = 1e6;
        const double events = share * candidates;
        const double entropy = -candidates * (share * std::log2(share) + (1 - share) * std::log2(1 - share));
        EXPECT_NEAR(static_cast<double>(runSegmentBitsEstimate(static_cast<std::uint64_t>(events), 1000000)),
                    1.3 * entropy + events, 2.0);
    }
}

TEST(RunSegmentEstimate, isNothingWithoutEvents) {
    for (const std::uint64_t candidates : {0UL, 1UL, 100UL, (1UL << 23) - 1, 1UL << 23, 1UL << 27, 1UL << 40}) {
        EXPECT_EQ(runSegmentBitsEstimate(0, candidates), 0U) << candidates;
    }
}

// With the 16 bytes that every sub-stream has beside it, of which the parameter takes 5 bits.
TEST(RunSegmentEstimate, isRoomForTheLongestSegmentOfEveryClass) {
    for (const std::uint64_t candidates : testedCandidates()) {
        for (const std::uint64_t events : testedEvents(candidates)) {
            ASSERT_LE(longestSegment(events, candidates), runSegmentBitsEstimate(events, candidates) + 16 * 8 - 5)
                << events << " of " << candidates;
        }
    }
}

} // namespace teko

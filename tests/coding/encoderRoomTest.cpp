// SPDX-License-Identifier: Apache-2.0
// Sub-streams are sized before they are written: no run segment may be longer than its room.
#include "coding/runLengthParameter.hpp"
#include "coding/streamArrayManager.hpp"
#include "reference/codingTerms.hpp"
#include "reference/streamEncoder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace teko {
namespace {

using Counts = std::vector<std::uint64_t>;

// Bits that a memory writer takes without throwing: those of its whole words.
std::uint64_t room(std::uint64_t events, std::uint64_t candidates) {
    const std::uint64_t bytes =
        (runSegmentBitsEstimate(events, candidates) + 7) / 8 + StreamArrayManager<short>::spareCapacity;
    return bytes / 4 * 32;
}

void expectRoom(std::uint64_t events, std::uint64_t candidates) {
    ASSERT_LE(longestRunSegment(events, candidates), room(events, candidates))
        << events << " events in " << candidates << " candidates";
}

// Powers of two and numbers beside and between them, up to 2^31 - 1, and some where densities of five decimals
// are met exactly.
Counts largeCounts() {
    Counts counts;
    for (int exponent = 8; exponent < 31; ++exponent) {
        const std::uint64_t power = std::uint64_t{1} << exponent;
        counts.insert(counts.end(), {power - 1, power, power + 1, power + power / 4, power + power / 2 + 1});
    }
    counts.insert(counts.end(), {100000, 1000000, (std::uint64_t{1} << 31) - 1});
    return counts;
}

// Around every density where the parameter changes, and a dense series over all orders of magnitude.
Counts eventsAmong(std::uint64_t candidates) {
    Counts counts{1, 2, 3, candidates - 1, candidates};
    const auto addAround = [&](double density) {
        const auto middle = static_cast<std::uint64_t>(density * static_cast<double>(candidates));
        for (std::uint64_t events = middle < 2 ? 1 : middle - 1; events <= std::min(middle + 2, candidates); ++events) {
            counts.push_back(events);
        }
    };
    for (const double density : {0.0991, 0.1, 0.05838, 0.11385, 0.21384}) {
        addAround(density);
    }
    for (int k = 3; k <= 24; ++k) {
        addAround(0.48 / ((1 << k) - 0.5));
        addAround(0.48 / ((1 << k) + 0.5));
    }
    for (double density = 1; density * static_cast<double>(candidates) > 1; density *= 0.97) {
        addAround(density);
    }
    return counts;
}

TEST(RunSegmentRoom, holdsEverySmallSegment) {
    for (std::uint64_t candidates = 1; candidates <= 1200; ++candidates) {
        for (std::uint64_t events = 0; events <= candidates; ++events) {
            expectRoom(events, candidates);
        }
    }
}

TEST(RunSegmentRoom, holdsEveryLargeSegment) {
    for (const std::uint64_t candidates : largeCounts()) {
        for (const std::uint64_t events : eventsAmong(candidates)) {
            expectRoom(events, candidates);
        }
    }
}

// The finest class has three quarters of an image's samples, and an image has fewer than 2^31.
TEST(RunSegmentRoom, holdsTheZerosOfEverySegmentWithoutEvents) {
    const std::uint64_t mostCandidates = std::uint64_t{3} << 29;
    for (std::uint64_t candidates = 0; candidates <= mostCandidates; candidates += std::uint64_t{1} << 20) {
        expectRoom(0, candidates);
        expectRoom(0, candidates + 1);
    }
}

// The order with the most zeros: all passes but those at the end stand before the first event, and fill whole units.
TEST(LongestRunSegment, isTheLongestOfAllOrders) {
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        const std::uint64_t candidates = random() % 700;
        const std::uint64_t events = candidates == 0 ? 0 : random() % (candidates + 1) >> random() % 6;
        const int k = runLengthParameter(events, candidates);
        const std::uint64_t passes = candidates - events;
        const std::uint64_t before = events == 0 ? 0 : passes >> k << k;
        reference::Sequence sequence(before, 0);
        sequence.insert(sequence.end(), events, random() % 2 == 0 ? 1 : -1);
        sequence.insert(sequence.end(), passes - before, 0);
        const auto longest = longestRunSegment(events, candidates);
        const auto worst = reference::runSegment(sequence, 0).size();
        ASSERT_LE(worst, longest) << events << " events in " << candidates;
        ASSERT_GE(worst + 1, longest) << events << " events in " << candidates;
        std::shuffle(sequence.begin(), sequence.end(), random);
        ASSERT_LE(reference::runSegment(sequence, 0).size(), worst + 1) << events << " events in " << candidates;
    }
}

TEST(RunLengthParameter, equalsTheReferences) {
    for (std::uint64_t candidates = 0; candidates <= 400; ++candidates) {
        for (std::uint64_t events = 0; events <= candidates; ++events) {
            ASSERT_EQ(runLengthParameter(events, candidates), reference::runLengthParameterOf(events, candidates))
                << events << " events in " << candidates << " candidates";
        }
    }
    for (const std::uint64_t candidates : largeCounts()) {
        for (const std::uint64_t events : eventsAmong(candidates)) {
            ASSERT_EQ(runLengthParameter(events, candidates), reference::runLengthParameterOf(events, candidates))
                << events << " events in " << candidates << " candidates";
        }
    }
}

} // namespace
} // namespace teko

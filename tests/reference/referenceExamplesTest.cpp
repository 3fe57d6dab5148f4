// SPDX-License-Identifier: Apache-2.0
// The reference itself, against examples worked out by hand.
#include "reference/lifting.hpp"
#include "reference/streamDecoder.hpp"
#include "reference/streamEncoder.hpp"
#include "reference/transform.hpp"

#include <gtest/gtest.h>

namespace teko {
namespace {

using reference::Bits;
using reference::codedStream;
using reference::colourTransformed;
using reference::colourUntransformed;
using reference::decodeStream;
using reference::filtered;
using reference::forwardDriverRule;
using reference::forwardKernelRule;
using reference::Image;
using reference::inverseDriverRule;
using reference::inverseKernelRule;
using reference::refinementSegment;
using reference::runSegment;
using reference::Samples;
using reference::Sequence;
using reference::Signal;
using reference::toWholeWordBytes;
using reference::transformed;
using reference::unfiltered;
using reference::untransformed;

TEST(ReferenceLifting, givesTheWorkedExamples) {
    for (const Samples samples : {Samples::sixteenBit, Samples::sixtyFourBit}) {
        const auto forward = [&](const Signal& x) { return filtered(x, forwardDriverRule(samples, x.size())); };
        EXPECT_EQ(forward({10, 20}), (Signal{18, 10}));
        EXPECT_EQ(forward({10, 20, 30}), (Signal{12, 0, 36}));
        EXPECT_EQ(forward({0, 0, 0, 0, 100, 0, 0, 0}), (Signal{4, 6, -15, -56, 86, -56, -13, 13}));
        EXPECT_EQ(forward({100, 100, 100, 100, 100}), (Signal{119, 0, 119, 0, 119}));
        EXPECT_EQ(forward({-100, -100}), (Signal{-119, 0}));
        EXPECT_EQ(forward({7}), (Signal{7}));
    }
}

TEST(ReferenceLifting, inverseUndoesTheFilter) {
    Signal signal;
    for (int n = 0; n < 40; ++n) {
        signal.push_back((n * n * 37 + n * 11) % 256);
        for (const Samples samples : {Samples::sixteenBit, Samples::sixtyFourBit}) {
            const Signal result = filtered(signal, forwardDriverRule(samples, signal.size()));
            EXPECT_EQ(unfiltered(result, inverseDriverRule(samples, signal.size())), signal);
        }
    }
}

TEST(ReferenceLifting, sumsWrapWhereTheRuleSaysSo) {
    // Position 3 is the only interior one; its sum is 9 * 8000 = 72000, which is 6464 in 16 bits.
    const Signal signal{0, 0, 8000, 0, 0, 0, 0};
    const Samples samples = Samples::sixteenBit;
    EXPECT_EQ(filtered(signal, forwardDriverRule(samples, 7))[3], -404);
    EXPECT_EQ(filtered(signal, forwardKernelRule(samples))[3], -404);
    EXPECT_EQ(filtered(signal, inverseKernelRule(samples))[3], -4500);
    // Position 1 is a boundary: its sum is 9 * 8000 - 8000 = 64000, which is -1536 in 16 bits.
    EXPECT_EQ(filtered(signal, forwardDriverRule(samples, 7))[1], -4000);
    EXPECT_EQ(filtered(signal, forwardKernelRule(samples))[1], 96);
}

TEST(ReferenceLifting, roundsTheLastSampleInPlaceByHalfOfItsSum) {
    // 9 * 2^59 is 2^62 + 2^59 and twice that is negative in 64 bits; with 3 more, the half's sign adds the 8 that the
    // sum's sign would take away: (2^63 + 2^60 + 54 + 8 - 2^64) / 16 against (2^63 + 2^60 + 54 - 8 - 2^64) / 16.
    const Signal signal{0, 0, 0, 0, (std::int64_t{1} << 59) + 3, 0};
    const Samples samples = Samples::sixtyFourBit;
    const std::int64_t quotient = -((std::int64_t{1} << 59) - (std::int64_t{1} << 56));
    EXPECT_EQ(filtered(signal, forwardDriverRule(samples, 6))[5], -(quotient + 4));
    EXPECT_EQ(filtered(signal, forwardKernelRule(samples))[5], -(quotient + 3));
}

TEST(ReferenceTerms, levelsFollowTheSmallerSide) {
    const std::vector<std::vector<int>> cases{{0, 9, -1},  {1, 1, -1},   {9, 1, -1},     {2, 100, 0},   {3, 3, 0},
                                              {4, 4, 1},   {64, 8, 2},   {16, 16, 3},    {32, 1000, 4}, {63, 63, 4},
                                              {64, 64, 5}, {101, 77, 5}, {4096, 4096, 5}};
    for (const std::vector<int>& c : cases) {
        EXPECT_EQ(reference::levelsOf(c[0], c[1]), c[2]) << c[0] << " x " << c[1];
    }
}

TEST(ReferenceTerms, classesOfAnEightByEightImage) {
    const std::vector<std::vector<std::size_t>> classes = reference::classPositions(Image(8, 8, 1));
    ASSERT_EQ(classes.size(), 3U);
    EXPECT_EQ(classes[0].size(), 48U);
    EXPECT_EQ(classes[1], (std::vector<std::size_t>{2, 6, 16, 18, 20, 22, 34, 38, 48, 50, 52, 54}));
    EXPECT_EQ(classes[2], (std::vector<std::size_t>{0, 4, 32, 36}));
}

TEST(ReferenceTerms, parameterFollowsTheDensity) {
    EXPECT_EQ(reference::runLengthParameterOf(0, 0), 24);
    EXPECT_EQ(reference::runLengthParameterOf(0, 1000), 24);
    EXPECT_EQ(reference::runLengthParameterOf(7, 7), 0);
    EXPECT_EQ(reference::runLengthParameterOf(21384, 100000), 2);
    EXPECT_EQ(reference::runLengthParameterOf(21385, 100000), 0);
    EXPECT_EQ(reference::runLengthParameterOf(11385, 100000), 3);
    EXPECT_EQ(reference::runLengthParameterOf(5838, 100000), 3);
    EXPECT_EQ(reference::runLengthParameterOf(1, 100), 6);
    EXPECT_EQ(reference::runLengthParameterOf(1, std::uint64_t{1} << 31), 24);
}

TEST(ReferenceEncoder, writesSegmentsByHand) {
    const Sequence sequence{0, -5, 1, 0, 2};
    EXPECT_EQ(refinementSegment(sequence, 0), (Bits{true, false}));
    EXPECT_EQ(refinementSegment(sequence, 1), (Bits{false}));
    EXPECT_EQ(refinementSegment(sequence, 2), Bits{});
    // One event in four and in five candidates: k = 0, so passes are single zeros.
    EXPECT_EQ(runSegment(sequence, 0), (Bits{false, false, false, false, false, false, true, false, false}));
    EXPECT_EQ(runSegment(sequence, 1), (Bits{false, false, false, false, false, false, false, false, true, false}));
    // One event in five: a density of 0.2, k = 2; three passes remain and take one zero.
    EXPECT_EQ(runSegment(sequence, 2), (Bits{false, true, false, false, false, true, true, false, true, false}));
    // None: k = 24, and one zero for all.
    EXPECT_EQ(runSegment(sequence, 3), (Bits{false, false, false, true, true, false}));
    EXPECT_EQ(runSegment({}, 0), (Bits{false, false, false, true, true}));
}

TEST(ReferenceEncoder, ordersSegmentsByPriority) {
    Image image(4, 4, 1); // class 1 holds the four values at even positions
    image.planes[0][0] = 3;
    image.planes[0][1] = -1;
    Bits expected;
    reference::put(expected, 1, 8);
    const Sequence approximation{3, 0, 0, 0};
    Sequence details(12, 0);
    details[0] = -1;
    for (const Bits& segment :
         {runSegment(approximation, 1), refinementSegment(details, 1), runSegment(details, 1),
          refinementSegment(approximation, 0), runSegment(approximation, 0), runSegment(details, 0)}) {
        expected.insert(expected.end(), segment.begin(), segment.end());
    }
    EXPECT_EQ(codedStream(image), expected);
    EXPECT_EQ(reference::toBytes(expected)[0], 1);
    EXPECT_EQ(reference::toWholeWordBytes(expected).size() % 4, 0U);
}

TEST(ReferenceDecoder, readsBackWhatWasWrittenAndReportsEnds) {
    Image image(4, 3, 1);
    image.planes[0] = {0, -5, 100, 0, 0, 7, 1, -1, 0, 0, 0, 64};
    const std::vector<std::uint8_t> bytes = toWholeWordBytes(codedStream(image));
    const auto whole = decodeStream(bytes, 4, 3, 1, Samples::sixteenBit);
    ASSERT_TRUE(whole.has_value());
    EXPECT_TRUE(whole->complete);
    EXPECT_EQ(whole->coefficients, image);
    const auto first = decodeStream({bytes.begin(), bytes.begin() + 7}, 4, 3, 1, Samples::sixteenBit);
    ASSERT_TRUE(first.has_value());
    EXPECT_FALSE(first->complete);
    // The first word ends after the first of two refinement bits of plane 4.
    EXPECT_EQ(first->coefficients.planes[0], (reference::Plane{0, 0, 104, 0, 0, 0, 0, 0, 0, 0, 0, 80}));
    EXPECT_FALSE(decodeStream({bytes.begin(), bytes.begin() + 3}, 4, 3, 1, Samples::sixteenBit).has_value());
}

TEST(ReferenceTransform, undoesItselfUnlessThereAreNoLevels) {
    Image image(13, 9, 3);
    std::int64_t value = 5;
    for (reference::Plane& plane : image.planes) {
        for (std::int64_t& sample : plane) {
            sample = value = (value * 109 + 89) % 256;
        }
    }
    for (const Samples samples : {Samples::sixteenBit, Samples::sixtyFourBit}) {
        EXPECT_NE(transformed(image, samples), image);
        EXPECT_EQ(untransformed(transformed(image, samples), samples), image);
    }
    EXPECT_EQ(colourUntransformed(colourTransformed(image)), image);

    Image small(3, 3, 1);
    small.planes[0] = {12, 0, 36, 12, 0, 36, 12, 0, 36};
    EXPECT_EQ(transformed(small, Samples::sixteenBit), small);
    EXPECT_NE(untransformed(small, Samples::sixteenBit), small);
}

} // namespace
} // namespace teko

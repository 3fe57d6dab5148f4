// SPDX-License-Identifier: Apache-2.0
#include "coding/bitPlanes.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace teko {

namespace {

constexpr int lastPlane = 254; // that a stream can name

// 2^exponent cut to the sample's width.
template <typename T>
T powerCut(int exponent) {
    return exponent >= 8 * static_cast<int>(sizeof(T)) ? T{0} : static_cast<T>(1UL << exponent);
}

// Folded values on both sides of every power of two, and odd ones between.
template <typename T>
std::vector<T> testedFolded() {
    std::vector<T> values{0, 1, std::numeric_limits<T>::max(), std::numeric_limits<T>::min(), T{-1}};
    for (int exponent = 1; exponent < 8 * static_cast<int>(sizeof(T)) - 1; ++exponent) {
        const long power = 1L << exponent;
        for (const long value : {power - 1, power, power + 1, power + power / 3}) {
            values.push_back(static_cast<T>(value));
        }
    }
    return values;
}

template <typename T>
class BitPlanes : public testing::Test {
protected:
    static constexpr int width = 8 * static_cast<int>(sizeof(T));
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(BitPlanes, SampleTypes);

} // namespace

TEST(BitPlaneLimits, followFromTheSampleType) {
    EXPECT_EQ(sampleBits<short>, 16);
    EXPECT_EQ(sampleBits<long>, 64);
    EXPECT_EQ(highestPlane<short>, 13);
    EXPECT_EQ(highestPlane<long>, 61);
}

TEST(TopPlane, isThatOfTheHighestBitSet) {
    EXPECT_EQ(topPlaneOf<short>(5), 2);
    EXPECT_EQ(topPlaneOf<short>(7), 2);
    EXPECT_EQ(topPlaneOf<short>(9), 3);
    for (unsigned magnitudes = 1; magnitudes <= 65535; ++magnitudes) {
        const int top = topPlaneOf<short>(static_cast<unsigned short>(magnitudes));
        ASSERT_EQ(magnitudes >> top, 1U) << magnitudes;
        ASSERT_EQ(topPlaneOf<long>(magnitudes), top);
    }
}

TEST(TopPlane, isZeroWithoutMagnitudesBeyondOne) {
    EXPECT_EQ(topPlaneOf<short>(0), 0);
    EXPECT_EQ(topPlaneOf<short>(1), 0);
    EXPECT_EQ(topPlaneOf<long>(0), 0);
    EXPECT_EQ(topPlaneOf<long>(1), 0);
}

TEST(TopPlane, carriesExactPowersOfTwo) {
    for (int n = 1; n < 16; ++n) {
        EXPECT_EQ(topPlaneOf<short>(static_cast<unsigned short>(1U << n)), n);
    }
    for (int n = 1; n < 64; ++n) {
        EXPECT_EQ(topPlaneOf<long>(1UL << n), n);
    }
}

TYPED_TEST(BitPlanes, putPlaneAndMidpointBitsInPlaceAndLoseWhatDoesNotFit) {
    for (int b = 0; b <= lastPlane; ++b) {
        const auto weights = PlaneWeights<TypeParam>::of(b);
        EXPECT_EQ(weights.planeBit, powerCut<TypeParam>(b + 1)) << b;
        EXPECT_EQ(weights.midpointBit, b == 0 ? 0 : powerCut<TypeParam>(b)) << b;
        EXPECT_EQ(weights.significanceLimit, powerCut<TypeParam>(b + 2)) << b;
        EXPECT_EQ(weights.limitIsReachable, b + 2 < this->width - 1) << b;
    }
}

TYPED_TEST(BitPlanes, findSignificantWhatReachesTheLimit) {
    for (int b = 0; b <= lastPlane; ++b) {
        const auto weights = PlaneWeights<TypeParam>::of(b);
        for (const TypeParam folded : testedFolded<TypeParam>()) {
            // A value of at least 2^(b + 2), which no value is whose type ends below.
            const bool reaches = folded > 0 && b + 2 < 63 && static_cast<long>(folded) >> (b + 2) != 0;
            ASSERT_EQ(weights.isSignificant(folded), reaches) << folded << " in plane " << b;
        }
    }
}

TYPED_TEST(BitPlanes, startValuesInTheMiddleOfTheirInterval) {
    for (int b = 0; b < this->width - 2; ++b) {
        const auto weights = PlaneWeights<TypeParam>::of(b);
        const long magnitude = b == 0 ? 1 : (1L << b) + (1L << (b - 1));
        EXPECT_EQ(weights.atSignificance(0), static_cast<TypeParam>(2 * magnitude)) << b;
        EXPECT_EQ(weights.atSignificance(1), static_cast<TypeParam>(2 * magnitude + 1)) << b;
    }
}

TYPED_TEST(BitPlanes, startValuesWithTheirSignAloneBeyondTheSamplesWidth) {
    for (int b = this->width; b <= lastPlane; ++b) {
        const auto weights = PlaneWeights<TypeParam>::of(b);
        EXPECT_EQ(weights.atSignificance(0), 0) << b;
        EXPECT_EQ(weights.atSignificance(1), 1) << b;
    }
    const auto last = PlaneWeights<TypeParam>::of(this->width - 1);
    EXPECT_EQ(last.atSignificance(1), static_cast<TypeParam>(std::numeric_limits<TypeParam>::min() + 1));
    const auto lastButOne = PlaneWeights<TypeParam>::of(this->width - 2);
    const auto topBits = static_cast<TypeParam>(std::numeric_limits<TypeParam>::min() / 2);
    EXPECT_EQ(lastButOne.atSignificance(0), topBits);
}

TYPED_TEST(BitPlanes, refineOneBitAndMoveTheMidpointBelowIt) {
    for (int b = 0; b <= highestPlane<TypeParam> - 1; ++b) {
        const auto weights = PlaneWeights<TypeParam>::of(b);
        for (const TypeParam folded : testedFolded<TypeParam>()) {
            if (!weights.isSignificant(folded)) {
                continue;
            }
            const long above = static_cast<long>(folded) >> (b + 2) << (b + 2);
            const long midpoint = b == 0 ? 0 : 1L << b;
            const long cleared = above + midpoint + (folded & 1);
            ASSERT_EQ(weights.refined(folded, 0), static_cast<TypeParam>(cleared)) << folded << " in plane " << b;
            ASSERT_EQ(weights.refined(folded, 1), static_cast<TypeParam>(cleared + (2L << b))) << folded << ", " << b;
        }
    }
}

TYPED_TEST(BitPlanes, leadToTheCoefficientOnceAllPlanesAreRead) {
    for (int magnitude = 1; magnitude < 16384; ++magnitude) {
        for (unsigned sign = 0; sign <= 1; ++sign) {
            const int top = bitLength(static_cast<TypeParam>(magnitude)) - 1;
            TypeParam folded = PlaneWeights<TypeParam>::of(top).atSignificance(sign);
            for (int b = top - 1; b >= 0; --b) {
                const auto weights = PlaneWeights<TypeParam>::of(b);
                ASSERT_TRUE(weights.isSignificant(folded));
                folded = weights.refined(folded, static_cast<unsigned>(magnitude) >> b & 1);
            }
            ASSERT_EQ(unfold(folded), sign == 0 ? magnitude : -magnitude);
        }
    }
}

TYPED_TEST(BitPlanes, approachMinusFiveStepByStep) {
    TypeParam folded = PlaneWeights<TypeParam>::of(2).atSignificance(1);
    EXPECT_EQ(unfold(folded), -6);
    folded = PlaneWeights<TypeParam>::of(1).refined(folded, 0);
    EXPECT_EQ(unfold(folded), -5);
    folded = PlaneWeights<TypeParam>::of(0).refined(folded, 1);
    EXPECT_EQ(unfold(folded), -5);
}

} // namespace teko

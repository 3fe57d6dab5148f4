// SPDX-License-Identifier: Apache-2.0
#include "coding/bitPlanes.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace teko {

namespace {

constexpr int lowest = std::numeric_limits<short>::min();
constexpr int highest = std::numeric_limits<short>::max();
constexpr long leastLong = std::numeric_limits<long>::min();
constexpr long mostLong = std::numeric_limits<long>::max();

// Bits from the top one down, counted singly.
int countedBits(unsigned long value) {
    int count = 0;
    for (; value != 0; value >>= 1) {
        ++count;
    }
    return count;
}

template <typename T>
class FoldedValue : public testing::Test {};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(FoldedValue, SampleTypes);

} // namespace

TYPED_TEST(FoldedValue, alternatesSignsFromZeroOn) {
    const TypeParam coefficients[] = {0, 1, -1, 2, -2, 3, -3, -5};
    const TypeParam folded[] = {0, 2, 3, 4, 5, 6, 7, 11};
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(fold(coefficients[i]), folded[i]);
        EXPECT_EQ(unfold(folded[i]), coefficients[i]);
    }
}

TYPED_TEST(FoldedValue, holdsTheMagnitudeAboveTheSign) {
    EXPECT_EQ(magnitudeOf<TypeParam>(11), 5);
    EXPECT_EQ(signBitOf<TypeParam>(11), 1U);
    EXPECT_EQ(magnitudeOf<TypeParam>(10), 5);
    EXPECT_EQ(signBitOf<TypeParam>(10), 0U);
    EXPECT_EQ(magnitudeOf<TypeParam>(0), 0);
}

TYPED_TEST(FoldedValue, shiftsSetSignBitsOfDamagedValuesAlong) {
    EXPECT_EQ(magnitudeOf<TypeParam>(-2), -1);
    EXPECT_EQ(magnitudeOf<TypeParam>(-3), -2);
    EXPECT_EQ(signBitOf<TypeParam>(-3), 1U);
    EXPECT_EQ(signBitOf<TypeParam>(-2), 0U);
}

TYPED_TEST(FoldedValue, isOneBitLongerThanANonzeroMagnitude) {
    for (int c = -5000; c <= 5000; ++c) {
        const TypeParam folded = fold(static_cast<TypeParam>(c));
        const int length = countedBits(static_cast<unsigned long>(c < 0 ? -c : c));
        ASSERT_EQ(bitLength(magnitudeOf(folded)), length);
        ASSERT_EQ(bitLength(folded), length == 0 ? 0 : length + 1);
    }
}

TEST(FoldedValueOf16Bits, isTwiceTheCoefficientOrOneLessTwiceIt) {
    for (int c = lowest; c <= highest; ++c) {
        const int folded = c >= 0 ? 2 * c : 1 - 2 * c;
        ASSERT_EQ(fold(static_cast<short>(c)), static_cast<short>(folded)) << c;
    }
}

TEST(FoldedValueOf16Bits, unfoldsEveryValueByItsLowestBit) {
    for (int u = lowest; u <= highest; ++u) {
        const int coefficient = (u & 1) != 0 ? -(u >> 1) : u >> 1;
        ASSERT_EQ(unfold(static_cast<short>(u)), static_cast<short>(coefficient)) << u;
    }
}

TEST(FoldedValueOf16Bits, comesBackBelow14Bits) {
    for (int c = -16383; c <= 16383; ++c) {
        const short folded = fold(static_cast<short>(c));
        ASSERT_GE(folded, 0) << c;
        ASSERT_EQ(unfold(folded), c);
        ASSERT_EQ(magnitudeOf(folded), c < 0 ? -c : c);
        ASSERT_EQ(signBitOf(folded), c < 0 ? 1U : 0U);
    }
}

TEST(FoldedValueOf64Bits, comesBackBelow62Bits) {
    for (int exponent = 0; exponent <= 62; ++exponent) {
        for (const long c : {(1L << exponent) - 1, 1 - (1L << exponent), (1L << exponent) / 3}) {
            const long folded = fold(c);
            EXPECT_GE(folded, 0) << c;
            EXPECT_EQ(unfold(folded), c);
            EXPECT_EQ(magnitudeOf(folded), c < 0 ? -c : c);
            EXPECT_EQ(signBitOf(folded), c < 0 ? 1U : 0U);
        }
    }
}

TEST(FoldedValueOf64Bits, wrapsBeyond) {
    EXPECT_EQ(fold(mostLong), -2);
    EXPECT_EQ(fold(leastLong), 1);
    EXPECT_EQ(fold(-mostLong), -1);
    EXPECT_EQ(unfold(leastLong), leastLong / 2);
    EXPECT_EQ(unfold(leastLong + 1), -(leastLong / 2));
    EXPECT_EQ(unfold(mostLong), -(mostLong / 2));
    EXPECT_EQ(unfold(-1L), 1);
}

TEST(BitLength, isTheNumberOfSignificantBits) {
    EXPECT_EQ(bitLength<short>(0), 0);
    EXPECT_EQ(bitLength<short>(1), 1);
    EXPECT_EQ(bitLength<long>(5), 3);
    for (int value = 0; value <= highest; ++value) {
        ASSERT_EQ(bitLength(static_cast<short>(value)), countedBits(static_cast<unsigned long>(value)));
    }
    EXPECT_EQ(bitLength(mostLong), 63);
}

TEST(BitLength, takesTheSignForTheHighestBit) {
    EXPECT_EQ(bitLength<short>(-1), 16);
    EXPECT_EQ(bitLength<short>(-32768), 16);
    EXPECT_EQ(bitLength<long>(-1), 64);
}

} // namespace teko

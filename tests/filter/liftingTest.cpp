// SPDX-License-Identifier: Apache-2.0
#include "filter/lifting.hpp"

#include "support/plainLifting.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <random>

namespace teko {

namespace {

constexpr int lowest = std::numeric_limits<short>::min();
constexpr int highest = std::numeric_limits<short>::max();

// Both signs of every power of two up to 2^50 and their neighbours, and what else fits between.
std::vector<long> largeValues() {
    std::vector<long> values;
    std::mt19937_64 random{3};
    for (int exponent = 15; exponent <= 50; ++exponent) {
        for (long offset = -3; offset <= 3; ++offset) {
            values.push_back((1L << exponent) + offset);
            values.push_back(-(1L << exponent) - offset);
        }
        const long between = static_cast<long>(random() >> (64 - exponent));
        values.push_back(between);
        values.push_back(-between);
    }
    return values;
}

} // namespace

TEST(Rdiv, roundsHalvesAwayFromZero) {
    EXPECT_EQ((rdiv<16, int>(8)), 1);
    EXPECT_EQ((rdiv<16, int>(-8)), -1);
    EXPECT_EQ((rdiv<16, int>(7)), 0);
    EXPECT_EQ((rdiv<16, int>(-7)), 0);
    EXPECT_EQ((rdiv<16, int>(-24)), -2);
    EXPECT_EQ((rdiv<4, long>(2)), 1);
    EXPECT_EQ((rdiv<4, long>(-2)), -1);
    EXPECT_EQ((rdiv<4, long>(1)), 0);
    EXPECT_EQ((rdiv<128, long>(64)), 1);
    EXPECT_EQ((rdiv<128, long>(63)), 0);
    EXPECT_EQ((rdiv<128, long>(-64)), -1);
}

TEST(Rdiv, isTheNearestQuotientForEverySumOf16Bits) {
    for (int a = 4 * lowest; a <= 4 * highest; ++a) {
        ASSERT_EQ(rdiv<4>(a), plain::roundedQuotient(a, 4)) << a;
        ASSERT_EQ(rdiv<16>(a), plain::roundedQuotient(a, 16)) << a;
        ASSERT_EQ(rdiv<128>(a), plain::roundedQuotient(a, 128)) << a;
        ASSERT_EQ(rdiv<16>(static_cast<long>(a)), plain::roundedQuotient(a, 16)) << a;
    }
}

TEST(Rdiv, isTheNearestQuotientBeyond32Bits) {
    for (const long a : largeValues()) {
        EXPECT_EQ(rdiv<4>(a), plain::roundedQuotient(a, 4)) << a;
        EXPECT_EQ(rdiv<16>(a), plain::roundedQuotient(a, 16)) << a;
        EXPECT_EQ(rdiv<128>(a), plain::roundedQuotient(a, 128)) << a;
    }
}

TEST(Half, roundsAwayFromZero) {
    EXPECT_EQ(half(0), 0);
    EXPECT_EQ(half(1), 1);
    EXPECT_EQ(half(-1), -1);
    EXPECT_EQ(half(2), 1);
    EXPECT_EQ(half(3), 2);
    EXPECT_EQ(half(-3), -2);
}

TEST(Half, isAQuarterOfTheDoubledValue) {
    for (int a = 2 * lowest; a <= 2 * highest; ++a) {
        ASSERT_EQ(half(a), rdiv<4>(2 * a)) << a;
        ASSERT_EQ(half(static_cast<long>(a)), rdiv<4>(2L * a)) << a;
    }
}

TEST(Scale, multipliesBy152Over128) {
    EXPECT_EQ(scale(0), 0);
    EXPECT_EQ(scale(1), 1);
    EXPECT_EQ(scale(100), 119);
    EXPECT_EQ(scale(-100), -119);
    EXPECT_EQ(scale(15), 18);
    EXPECT_EQ(scale(128), 152);
}

TEST(Scale, isTheNearestValueForEverySampleAndEveryUpdatedSample) {
    for (int v = 2 * lowest; v <= 2 * highest; ++v) {
        ASSERT_EQ(scale(v), plain::scaled(v)) << v;
        ASSERT_EQ(scale(static_cast<long>(v)), plain::scaled(v)) << v;
    }
}

TEST(Unscale, truncatesWithAnOffsetOf64) {
    for (int y = 2 * lowest; y <= 2 * highest; ++y) {
        ASSERT_EQ(unscale(y), plain::unscaled(y)) << y;
        ASSERT_EQ(unscale(static_cast<long>(y)), plain::unscaled(y)) << y;
    }
    // Rounded with half of the divisor, 128 * 3 / 152 = 2.53 would be 3.
    EXPECT_EQ(unscale(3), 2);
    EXPECT_EQ(unscale(-3), -2);
}

TEST(Unscale, undoesScaleForEvery16BitValue) {
    for (int v = lowest; v <= highest; ++v) {
        ASSERT_EQ(unscale(scale(v)), v);
        ASSERT_EQ(unscale(scale(static_cast<long>(v))), v);
    }
}

TEST(Unscale, undoesScaleBeyond32Bits) {
    for (const long v : largeValues()) {
        EXPECT_EQ(unscale(scale(v)), v);
    }
}

TEST(Scale, roundsBySampleSignWhereProductsWrap) {
    for (const long v : {(1L << 57) + 12345, -(1L << 57) - 12345, (5L << 60) + 777, -(5L << 60) - 777}) {
        const auto product = static_cast<long>(152UL * static_cast<unsigned long>(v));
        EXPECT_EQ(scale(v), (v >= 0 ? product + 64 : product - 64) / 128) << v;
        const auto inverseProduct = static_cast<long>(128UL * static_cast<unsigned long>(v));
        EXPECT_EQ(unscale(v), (v >= 0 ? inverseProduct + 64 : inverseProduct - 64) / 152) << v;
    }
}

TEST(Lifting, roundsBothSignsAlike) {
    for (int v = 0; v <= -lowest; ++v) {
        ASSERT_EQ(rdiv<16>(-v), -rdiv<16>(v));
        ASSERT_EQ(half(-v), -half(v));
        ASSERT_EQ(scale(-v), -scale(v));
        ASSERT_EQ(unscale(-v), -unscale(v));
    }
}

TEST(PredictSum, weighsNearNeighboursNineTimesAndTakesFarOnesOff) {
    EXPECT_EQ(predictSum(0, 1, 0, 0), 9);
    EXPECT_EQ(predictSum(0, 0, 1, 0), 9);
    EXPECT_EQ(predictSum(1, 0, 0, 0), -1);
    EXPECT_EQ(predictSum(0, 0, 0, 1), -1);
    EXPECT_EQ(predictSum(lowest, highest, highest, lowest), 9 * 2 * highest - 2 * lowest);
}

TEST(PredictSum, wrapsModulo64BitsForLongSamples) {
    const long most = std::numeric_limits<long>::max();
    EXPECT_EQ(predictSum(0L, most, 1L, 0L), std::numeric_limits<long>::min());
    EXPECT_EQ(predictSum(-1L, 0L, 0L, -most), std::numeric_limits<long>::min());
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
#include "coding/histogram.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace teko {

namespace {

template <typename T>
class LengthHistogram : public testing::Test {
protected:
    std::unique_ptr<BitLengthHistogram<T>> lengths = std::make_unique<BitLengthHistogram<T>>();

    void count(int channel, int c, T coefficient) {
        ++lengths->bitLengthCount[channel][c][bitLength(fold(coefficient))];
    }
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(LengthHistogram, SampleTypes);

} // namespace

TYPED_TEST(LengthHistogram, startsEmpty) {
    this->lengths->sum();
    for (int b = 0; b <= highestPlane<TypeParam>; ++b) {
        EXPECT_EQ(this->lengths->plane(3, 5, b).candidates(), 0U);
    }
}

TYPED_TEST(LengthHistogram, makesAnEventOfEveryCoefficientInThePlaneOfItsHighestBit) {
    for (const int coefficient : {0, 0, 0, 1, -1, 2, 3, -3, 4, -5}) {
        this->count(1, 2, static_cast<TypeParam>(coefficient));
    }
    this->count(1, 3, 1);
    this->count(0, 2, 8);
    this->lengths->sum();
    const auto& histogram = *this->lengths;
    EXPECT_EQ(histogram.plane(1, 2, 0).passes, 3U);
    EXPECT_EQ(histogram.plane(1, 2, 0).events, 2U);
    EXPECT_EQ(histogram.plane(1, 2, 1).passes, 5U);
    EXPECT_EQ(histogram.plane(1, 2, 1).events, 3U);
    EXPECT_EQ(histogram.plane(1, 2, 2).passes, 8U);
    EXPECT_EQ(histogram.plane(1, 2, 2).events, 2U);
    EXPECT_EQ(histogram.plane(1, 2, 2).candidates(), 10U);
    EXPECT_EQ(histogram.plane(1, 2, 3).passes, 10U);
    EXPECT_EQ(histogram.plane(1, 2, 3).events, 0U);
    EXPECT_EQ(histogram.plane(1, 3, 0).events, 1U);
    EXPECT_EQ(histogram.plane(0, 2, 3).events, 1U);
}

TYPED_TEST(LengthHistogram, reachesTheHighestPlane) {
    const auto largest = static_cast<TypeParam>(TypeParam{1} << highestPlane<TypeParam>);
    this->count(2, 5, largest);
    this->count(2, 5, static_cast<TypeParam>(-largest));
    this->lengths->sum();
    EXPECT_EQ(this->lengths->plane(2, 5, highestPlane<TypeParam>).events, 2U);
    EXPECT_EQ(this->lengths->plane(2, 5, highestPlane<TypeParam> - 1).candidates(), 0U);
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
#include "wavelet/levels.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace teko {

namespace {

// The largest L of at most five with 2^(L + 1) <= both extents, and -1 where there is none.
int plainLevels(int width, int height) {
    for (int levels = 5; levels >= 0; --levels) {
        if (2 << levels <= std::min(width, height)) {
            return levels;
        }
    }
    return -1;
}

} // namespace

TEST(NumberOfLevels, isTheLargestThatHalvesBothExtents) {
    for (int width = 0; width <= 200; ++width) {
        for (int height = 0; height <= 200; ++height) {
            ASSERT_EQ(numberOfLevels(width, height), plainLevels(width, height)) << width << " x " << height;
        }
    }
}

TEST(NumberOfLevels, isBoundedByTheSmallerExtent) {
    EXPECT_EQ(numberOfLevels(4, 4), 1);
    EXPECT_EQ(numberOfLevels(16, 16), 3);
    EXPECT_EQ(numberOfLevels(64, 8), 2);
    EXPECT_EQ(numberOfLevels(32, 1000), 4);
    EXPECT_EQ(numberOfLevels(101, 77), 5);
    EXPECT_EQ(numberOfLevels(100, 63), 4);
}

TEST(NumberOfLevels, neverExceedsFive) {
    EXPECT_EQ(numberOfLevels(64, 64), 5);
    EXPECT_EQ(numberOfLevels(1000, 1000), 5);
    EXPECT_EQ(numberOfLevels(4096, 4096), 5);
    EXPECT_EQ(numberOfLevels(65535, 65535), 5);
}

TEST(NumberOfLevels, isZeroForTwoOrThreeSamplesAndMinusOneBelow) {
    EXPECT_EQ(numberOfLevels(2, 100), 0);
    EXPECT_EQ(numberOfLevels(3, 3), 0);
    EXPECT_EQ(numberOfLevels(100, 1), -1);
    EXPECT_EQ(numberOfLevels(0, 100), -1);
    EXPECT_EQ(numberOfLevels(0, 0), -1);
    EXPECT_EQ(numberOfLevels(-5, -5), -1);
}

} // namespace teko

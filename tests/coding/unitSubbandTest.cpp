// SPDX-License-Identifier: Apache-2.0
#include "coding/subband.hpp"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace teko {

namespace {

using Position = std::pair<int, int>; // row, column: so they compare in scan order

// The step of the coarsest grid that a position lies on, among those of the levels.
int plainClass(int x, int y, int levels) {
    int c = 0;
    for (int step = 2; c < levels && x % step == 0 && y % step == 0; step *= 2) {
        ++c;
    }
    return c;
}

std::vector<Position> visitedPositions(int c, int levels, int width, int height) {
    std::vector<Position> positions;
    for (int y = 0; y < height; y += classRowStep(c)) {
        const ClassColumns columns = classColumns(c, levels, y);
        for (int x = columns.first; x < width; x += columns.step) {
            positions.emplace_back(y, x);
        }
    }
    return positions;
}

std::vector<Position> scannedPositions(int c, int levels, int width, int height) {
    std::vector<Position> positions;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (subbandClass(x, y, levels) == c) {
                positions.emplace_back(y, x);
            }
        }
    }
    return positions;
}

} // namespace

TEST(SubbandClass, isFinestAtOddColumnsAndRows) {
    for (int levels = 0; levels <= 5; ++levels) {
        EXPECT_EQ(subbandClass(1, 0, levels), 0);
        EXPECT_EQ(subbandClass(0, 1, levels), 0);
        EXPECT_EQ(subbandClass(64, 33, levels), 0);
    }
}

TEST(SubbandClass, isTheLowestBitOfEitherCoordinateBelowTheLevels) {
    EXPECT_EQ(subbandClass(2, 0, 5), 1);
    EXPECT_EQ(subbandClass(4, 2, 5), 1);
    EXPECT_EQ(subbandClass(4, 8, 5), 2);
    EXPECT_EQ(subbandClass(8, 16, 5), 3);
    EXPECT_EQ(subbandClass(16, 32, 5), 4);
    EXPECT_EQ(subbandClass(32, 64, 5), 5);
    EXPECT_EQ(subbandClass(16, 32, 3), 3);
}

TEST(SubbandClass, isTheApproximationAtTheOrigin) {
    for (int levels = 0; levels <= 5; ++levels) {
        EXPECT_EQ(subbandClass(0, 0, levels), levels);
    }
}

TEST(SubbandClass, isZeroEverywhereWithoutLevels) {
    for (int x = 0; x < 70; ++x) {
        EXPECT_EQ(subbandClass(x, 2 * x, 0), 0);
        EXPECT_EQ(subbandClass(x, 0, -1), 0);
    }
}

TEST(SubbandClass, followsTheGridsOfTheLevels) {
    for (int levels = 0; levels <= 5; ++levels) {
        for (int y = 0; y < 140; ++y) {
            for (int x = 0; x < 140; ++x) {
                ASSERT_EQ(subbandClass(x, y, levels), plainClass(x, y, levels)) << x << ", " << y << ", " << levels;
            }
        }
    }
}

TEST(ClassColumns, takeEverySecondGridColumnInRowsWithCoarserClasses) {
    EXPECT_EQ(classColumns(0, 5, 0).first, 1);
    EXPECT_EQ(classColumns(0, 5, 0).step, 2);
    EXPECT_EQ(classColumns(0, 5, 1).first, 0);
    EXPECT_EQ(classColumns(0, 5, 1).step, 1);
    EXPECT_EQ(classColumns(2, 5, 8).first, 4);
    EXPECT_EQ(classColumns(2, 5, 8).step, 8);
    EXPECT_EQ(classColumns(2, 5, 4).first, 0);
    EXPECT_EQ(classColumns(2, 5, 4).step, 4);
    EXPECT_EQ(classColumns(5, 5, 64).first, 0);
    EXPECT_EQ(classColumns(5, 5, 64).step, 32);
}

TEST(ClassColumns, visitEveryClassInScanOrderOnceAndNoOtherPosition) {
    for (const auto& [width, height] :
         {Position{1, 1}, {2, 3}, {4, 4}, {5, 4}, {7, 64}, {33, 31}, {64, 64}, {65, 67}, {101, 77}, {130, 129}}) {
        for (int levels = 0; levels <= 5; ++levels) {
            std::size_t visited = 0;
            for (int c = 0; c <= levels; ++c) {
                const auto positions = visitedPositions(c, levels, width, height);
                ASSERT_EQ(positions, scannedPositions(c, levels, width, height))
                    << width << " x " << height << ", class " << c << " of " << levels;
                visited += positions.size();
            }
            ASSERT_EQ(visited, static_cast<std::size_t>(width * height));
        }
    }
}

TEST(ClassRows, lieAPowerOfTwoApart) {
    for (int c = 0; c <= 5; ++c) {
        EXPECT_EQ(classRowStep(c), 1 << c);
    }
    EXPECT_EQ(maximumClasses, 6);
}

} // namespace teko

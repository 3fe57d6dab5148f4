// SPDX-License-Identifier: Apache-2.0
#include "codec/byteBudget.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

namespace teko {

namespace {

std::optional<std::uint64_t> budgetOf(int bytesPerPixel, int xsize, int ysize, float rate) {
    return byteBudget(FileHeader::forImage(bytesPerPixel, 8, xsize, ysize), rate);
}

} // namespace

TEST(ByteBudget, isTheRatesShareOfTheRawSizeWithoutTheHeader) {
    EXPECT_EQ(budgetOf(1, 64, 64, 0.5F), 2038U);
    EXPECT_EQ(budgetOf(1, 64, 64, 1.0F), 4086U);
    EXPECT_EQ(budgetOf(2, 64, 64, 0.5F), 4086U);
    EXPECT_EQ(budgetOf(3, 64, 64, 0.25F), 3062U);
}

TEST(ByteBudget, isTruncated) {
    EXPECT_EQ(budgetOf(1, 10, 10, 0.119F), 1U);
    EXPECT_EQ(budgetOf(1, 10, 10, 0.11F), 1U);
    EXPECT_EQ(budgetOf(1, 7, 7, 0.5F), 14U);
}

TEST(ByteBudget, isNothingUpToTheHeadersOwnSize) {
    EXPECT_EQ(budgetOf(1, 64, 64, 0.0F), 0U);
    EXPECT_EQ(budgetOf(1, 10, 10, 0.05F), 0U);
    EXPECT_EQ(budgetOf(1, 10, 1, 1.0F), 0U);
    EXPECT_EQ(budgetOf(1, 11, 1, 1.0F), 1U);
    EXPECT_EQ(budgetOf(1, 0, 64, 1.0F), 0U);
    EXPECT_EQ(budgetOf(1, 1, 1, 1.0F), 0U);
    EXPECT_EQ(budgetOf(0, 64, 64, 1.0F), 0U);
}

TEST(ByteBudget, isFormedInSinglePrecision) {
    // 16,777,217 samples count as 16,777,216.
    EXPECT_EQ(budgetOf(1, 257, 65281, 1.0F), 16777216U - 10);
    EXPECT_EQ(budgetOf(1, 4097, 4097, 0.1F), static_cast<std::uint64_t>(16785409.0F * 0.1F) - 10);
}

TEST(ByteBudget, reachesTheLargestSizeOf31Bits) {
    EXPECT_EQ(budgetOf(1, 65535, 32767, 1.0F), 2147385344U - 10);
    EXPECT_EQ(budgetOf(3, 26754, 26755, 0.5F), 1073704896U - 10);
}

TEST(ByteBudget, wrapsTheSizeTo32Bits) {
    // 65535 * 65535 * 2 = 2^33 - 2^18 + 2, of which -2^18 + 2 is left, and of three times 65535 * 65535 3 - 393216.
    EXPECT_EQ(budgetOf(2, 65535, 65535, 0.5F), std::nullopt);
    EXPECT_EQ(budgetOf(3, 65535, 65535, 1.0F), std::nullopt);
    EXPECT_EQ(budgetOf(1, 65535, 65535, 1.0F), std::nullopt);
    // 40000 * 40000 * 3 = 4,800,000,000 leaves 505,032,704.
    EXPECT_EQ(budgetOf(3, 40000, 40000, 1.0F), 505032704U - 10);
    // 32768 * 65535 * 2 = 2^32 - 65536.
    EXPECT_EQ(budgetOf(2, 32768, 65535, 1.0F), std::nullopt);
    // 32768 * 32768 * 4 is not a kind of image but a product of 0.
    EXPECT_EQ(budgetOf(4, 32768, 32768, 1.0F), 0U);
}

TEST(ByteBudget, isNothingOfAWrappedSizeAtRatesNextToZero) {
    EXPECT_EQ(budgetOf(1, 65535, 65535, 0.0F), 0U);
    EXPECT_EQ(budgetOf(1, 65535, 65535, 1e-6F), 0U);
    EXPECT_EQ(budgetOf(1, 65535, 65535, 1e-5F), std::nullopt);
}

TEST(ByteBudget, cannotBeFormedFromNoNumber) {
    EXPECT_EQ(budgetOf(1, 64, 64, std::nanf("")), std::nullopt);
    EXPECT_EQ(budgetOf(1, 0, 0, std::nanf("")), std::nullopt);
}

TEST(ByteBudget, hasAtMost64Bits) {
    EXPECT_EQ(budgetOf(1, 64, 64, 0x1p51F), (std::uint64_t{1} << 63) - 10);
    EXPECT_EQ(budgetOf(1, 64, 64, 0x1p52F), std::nullopt);
    EXPECT_EQ(budgetOf(1, 64, 64, std::numeric_limits<float>::infinity()), std::nullopt);
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
#include "codec/fileHeader.hpp"

#include "support/fileHeaders.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <string>

namespace teko {

namespace {

std::string magicOf(const FileHeader& header) {
    return {header.magic.begin(), header.magic.end()};
}

bool isRecognized(const std::string& magic) {
    return headerOf(Bytes(magic.begin(), magic.end()) + Bytes(6, 1)).isRecognized();
}

std::optional<std::uint64_t> budgetOf(int bytesPerPixel, int xsize, int ysize, float rate) {
    return byteBudget(FileHeader::forImage(bytesPerPixel, 8, xsize, ysize), rate);
}

} // namespace

TEST(FileHeader, holdsTheNumbersOfTheCommandLine) {
    const auto header = FileHeader::forImage(3, 8, 640, 480);
    EXPECT_EQ(magicOf(header), "TK10");
    EXPECT_EQ(header.bytesPerPixel, 3);
    EXPECT_EQ(header.bitsPerPixel, 8);
    EXPECT_EQ(header.xsize, 640);
    EXPECT_EQ(header.ysize, 480);
}

TEST(FileHeader, cutsNumbersToItsFields) {
    const auto header = FileHeader::forImage(257, 264, 65536, 65537);
    EXPECT_EQ(header.bytesPerPixel, 1);
    EXPECT_EQ(header.bitsPerPixel, 8);
    EXPECT_EQ(header.xsize, 0);
    EXPECT_EQ(header.ysize, 1);
    const auto negative = FileHeader::forImage(-1, -2, -1, -65535);
    EXPECT_EQ(negative.bytesPerPixel, 255);
    EXPECT_EQ(negative.bitsPerPixel, 254);
    EXPECT_EQ(negative.xsize, 65535);
    EXPECT_EQ(negative.ysize, 1);
    EXPECT_EQ(FileHeader::forImage(1, 8, 0x7FFFFFFFFFFFFFFF, 0x100000000).xsize, 65535);
    EXPECT_EQ(FileHeader::forImage(1, 8, 0x7FFFFFFFFFFFFFFF, 0x100000000).ysize, 0);
}

TEST(FileHeader, isTenBytesLeastSignificantFirst) {
    EXPECT_EQ(bytesOf(FileHeader::forImage(2, 12, 0x1234, 0xFEDC)),
              (Bytes{'T', 'K', '1', '0', 2, 12, 0x34, 0x12, 0xDC, 0xFE}));
    EXPECT_EQ(FileHeader::bytes, 10);
}

TEST(FileHeader, parsesWhatItFormatted) {
    const auto header = headerOf(bytesOf(FileHeader::forImage(3, 255, 65535, 256)));
    EXPECT_TRUE(header.isRecognized());
    EXPECT_EQ(header.bytesPerPixel, 3);
    EXPECT_EQ(header.bitsPerPixel, 255);
    EXPECT_EQ(header.xsize, 65535);
    EXPECT_EQ(header.ysize, 256);
}

TEST(FileHeader, recognizesItsMagicAlone) {
    EXPECT_TRUE(isRecognized("TK10"));
    EXPECT_FALSE(isRecognized("TK11"));
    EXPECT_FALSE(isRecognized("tk10"));
    EXPECT_FALSE(isRecognized("TK1x"));
    EXPECT_FALSE(isRecognized("xK10"));
    EXPECT_FALSE(isRecognized(std::string("TK1\0", 4)));
    EXPECT_FALSE(isRecognized(std::string(4, '\0')));
    EXPECT_FALSE(FileHeader().isRecognized());
}

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

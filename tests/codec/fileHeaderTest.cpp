// SPDX-License-Identifier: Apache-2.0
#include "codec/fileHeader.hpp"

#include "support/fileHeaders.hpp"

#include <gtest/gtest.h>

#include <string>

namespace teko {

namespace {

std::string magicOf(const FileHeader& header) {
    return {header.magic.begin(), header.magic.end()};
}

bool isRecognized(const std::string& magic) {
    return headerOf(Bytes(magic.begin(), magic.end()) + Bytes(6, 1)).isRecognized();
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

} // namespace teko

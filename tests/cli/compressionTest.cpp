// SPDX-License-Identifier: Apache-2.0
// Modes c and C: what they print and the files that they write.
#include "cliTest.hpp"

namespace teko {

namespace {

const Outcome notSupported{.errors = "Image format not supported\n"};

class Compression : public CliTest {};

class CompressionOfEveryKind : public EveryKind {};

INSTANTIATE_TEST_SUITE_P(Kind, CompressionOfEveryKind, testing::ValuesIn(everyKind));

TEST_P(CompressionOfEveryKind, PrintsItsStagesAndWritesOneFile) {
    files.write("raw", raw::noise(GetParam()));
    EXPECT_EQ(compress("c", GetParam(), "raw", "coded"), compressed(GetParam()));
    EXPECT_EQ(compress("C", GetParam(), "raw", "cut", "0.5"), compressed(GetParam()));
    EXPECT_EQ(files.names(), (Strings{"coded", "cut", "raw"}));
    EXPECT_EQ(files.read("raw"), raw::noise(GetParam()));
}

TEST_P(CompressionOfEveryKind, TheFileStartsWithTheHeader) {
    Shape shape = GetParam();
    shape.bitsPerPixel -= 3;
    EXPECT_EQ(prefix(coded(shape, raw::noise(shape)), headerBytes), header(shape));
    EXPECT_EQ(prefix(coded(shape, raw::noise(shape), "0.5"), headerBytes), header(shape));
}

TEST_P(CompressionOfEveryKind, FileModeWritesWholeWords) {
    for (int xsize = 20; xsize < 28; ++xsize) {
        const Shape shape = GetParam().sized(xsize, 20);
        EXPECT_EQ((coded(shape, raw::slope(shape)).size() - headerBytes) % 4, 0U) << shape;
    }
}

TEST_P(CompressionOfEveryKind, BitsPerPixelAreStoredAndHaveNoOtherEffect) {
    const Bytes content = raw::noise(GetParam());
    Bytes expected = coded(GetParam(), content);
    for (const int bits : {0, 1, 12, 255}) {
        Shape shape = GetParam();
        shape.bitsPerPixel = bits;
        expected[5] = static_cast<std::uint8_t>(bits);
        EXPECT_EQ(coded(shape, content), expected) << bits;
    }
}

TEST_P(CompressionOfEveryKind, ARawFileOneByteShortEndsTheRunAbnormally) {
    Bytes content = raw::noise(GetParam());
    content.pop_back();
    files.write("raw", content);
    expectAbnormalEnd(compress("c", GetParam(), "raw", "coded"), "Reading...\n");
    expectAbnormalEnd(compress("C", GetParam(), "raw", "coded", "1"), "Reading...\n");
}

TEST_P(CompressionOfEveryKind, BytesBehindTheImageAreIgnored) {
    const Bytes content = raw::noise(GetParam());
    EXPECT_EQ(coded(GetParam(), content + Bytes{1}), coded(GetParam(), content));
    EXPECT_EQ(coded(GetParam(), content + Bytes(5000, 1), "0.5"), coded(GetParam(), content, "0.5"));
}

TEST_P(CompressionOfEveryKind, ImagesOneSampleWideOrHighAreRefused) {
    for (const auto& [xsize, ysize] : {std::pair{1, 1}, {1, 2}, {2, 1}, {1, 65535}, {65535, 1}}) {
        const Shape shape = GetParam().sized(xsize, ysize);
        Outcome refused = notSupported;
        refused.exitStatus = 1;
        files.write("raw", raw::noise(shape));
        EXPECT_EQ(compress("c", shape, "raw", "coded"), refused) << shape;
        EXPECT_EQ(compress("C", shape, "raw", "coded", "1"), refused) << shape;
        EXPECT_EQ(compress("c", shape, "missing", "coded"), cannotOpen("missing")) << shape;
        EXPECT_EQ(files.names(), Strings{"raw"}) << shape;
    }
}

TEST_P(CompressionOfEveryKind, EmptyImagesAreAHeaderAndTheTopPlane) {
    for (const auto& [xsize, ysize] : {std::pair{0, 0}, {0, 1}, {1, 0}, {0, 20}, {20, 0}, {0, 65535}, {65535, 0}}) {
        const Shape shape = GetParam().sized(xsize, ysize);
        EXPECT_EQ(coded(shape, {}), header(shape) + Bytes(4, 0)) << shape;
        EXPECT_EQ(coded(shape, {1, 2, 3}), header(shape) + Bytes(4, 0)) << shape;
        EXPECT_EQ(coded(shape, {}, "1"), header(shape)) << shape;
    }
}

TEST_F(Compression, TheStreamFollowsTheHeader) {
    // A top plane of 6; then, since so small an image has one class of coefficients, one pair of segments per plane.
    const Shape shape{1, 8, 3, 3};
    EXPECT_EQ(coded(shape, raw::flat(shape, 100)),
              header(shape) + Bytes({0x06, 0xA0, 0xAA, 0xAA, 0xFF, 0x18, 0x00, 0x06, 0x80, 0xFF, 0x63, 0x00, 0x18, 0x00,
                                     0x06, 0x00}));
}

TEST_F(Compression, SamplesOf16BitsAreReadLeastSignificantByteFirst) {
    const Shape shape{2, 16, 16, 16};
    Bytes low(shape.fileBytes());
    for (std::size_t i = 0; i < low.size(); i += 2) {
        low[i] = static_cast<std::uint8_t>(i * 7 % 251);
    }
    const Shape grey{1, 16, 16, 16};
    Bytes narrow;
    for (std::size_t i = 0; i < low.size(); i += 2) {
        narrow.push_back(low[i]);
    }
    Bytes expected = coded(grey, narrow);
    expected[4] = 2;
    EXPECT_EQ(coded(shape, low), expected);
}

class UnknownKind : public CliTest, public testing::WithParamInterface<int> {};

TEST_P(UnknownKind, IsReportedAndLeavesOnlyTheHeader) {
    const Shape shape{GetParam(), 8, 16, 16};
    files.write("raw", raw::noise({1, 8, 16, 16}));
    EXPECT_EQ(compress("c", shape, "raw", "coded"), notSupported);
    EXPECT_EQ(files.read("coded"), header(shape));
    EXPECT_EQ(compress("C", shape, "raw", "cut", "1"), notSupported);
    EXPECT_EQ(files.read("cut"), header(shape));
}

TEST_P(UnknownKind, IsReportedForThinAndEmptyImagesAsWell) {
    files.write("raw", {});
    for (const auto& [xsize, ysize] : {std::pair{1, 1}, {1, 20}, {0, 0}, {0, 20}}) {
        const Shape shape{GetParam(), 8, xsize, ysize};
        EXPECT_EQ(compress("c", shape, "raw", "coded"), notSupported) << shape;
        EXPECT_EQ(files.read("coded"), header(shape)) << shape;
    }
}

INSTANTIATE_TEST_SUITE_P(BytesPerPixel, UnknownKind, testing::Values(0, 4, 5, 255));

} // namespace

} // namespace teko

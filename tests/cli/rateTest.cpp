// SPDX-License-Identifier: Apache-2.0
// The rate: which values are accepted, when it is judged, and the size of file that it leads to.
#include "cliTest.hpp"

namespace teko {

namespace {

class Rate : public CliTest {
protected:
    const Shape shape{1, 8, 64, 64};

    void SetUp() override { files.write("raw", raw::noise(shape)); }

    // Noise does not compress: its file takes all that the rate allows.
    void expectNoiseToFill(const Shape& size, const std::string& rate, std::size_t fileBytes) const {
        EXPECT_EQ(coded(size, raw::noise(size), rate).size(), fileBytes) << size << " at rate " << rate;
    }
};

TEST_F(Rate, OutOfRangeShowsTheUsageBeforeAnyFileIsTouched) {
    for (const std::string rate :
         {"1.5", "-0.1", "1.0000001", "2", "-1", "1e30", "1e999", "inf", "-inf", "1.5 of it", "-1e-30"}) {
        EXPECT_EQ(compress("C", shape, "raw", "coded", rate), usageShown()) << rate;
        EXPECT_EQ(compress("C", shape, "missing", "coded", rate), usageShown()) << rate;
        EXPECT_EQ(files.names(), Strings{"raw"}) << rate;
    }
}

TEST_F(Rate, Of1FillsTheRawSize) {
    expectNoiseToFill({1, 8, 64, 64}, "1", 4096);
    expectNoiseToFill({2, 16, 64, 64}, "1", 8192);
    expectNoiseToFill({3, 8, 64, 64}, "1", 12288);
}

TEST_F(Rate, BelowTheNextNumberOfSinglePrecisionAbove1Is1) {
    expectNoiseToFill(shape, "1.00000001", 4096);
}

TEST_F(Rate, BetweenFillsItsPartOfTheRawSizeRoundedDown) {
    expectNoiseToFill({1, 8, 64, 64}, "0.5", 2048);
    expectNoiseToFill({2, 16, 64, 64}, "0.5", 4096);
    expectNoiseToFill({3, 8, 64, 64}, "0.5", 6144);
    expectNoiseToFill({1, 8, 64, 64}, "0.1", 409);
    expectNoiseToFill({3, 8, 64, 64}, "0.3", 3686);
    expectNoiseToFill({1, 8, 33, 47}, ".25", 387);
}

TEST_F(Rate, MayBeWrittenInEveryWayThatANumberCan) {
    for (const std::string rate : {"0.5", ".5", "+0.5", " 0.5", "5e-1", "0x1p-1", "0.5 of it", "0.5,9"}) {
        expectNoiseToFill(shape, rate, 2048);
    }
}

TEST_F(Rate, Of0LeavesTheHeader) {
    for (const std::string rate : {"0", "-0.0", "1e-30", "1e-999", "abc", " "}) {
        expectNoiseToFill({1, 8, 64, 64}, rate, headerBytes);
        expectNoiseToFill({2, 16, 64, 64}, rate, headerBytes);
        expectNoiseToFill({3, 8, 64, 64}, rate, headerBytes);
    }
}

TEST_F(Rate, NeverGivesLessThanTheHeader) {
    const Shape small{1, 8, 10, 10};
    expectNoiseToFill(small, "0.05", 10);
    expectNoiseToFill(small, "0.09", 10);
    expectNoiseToFill(small, "0.1", 10);
    expectNoiseToFill(small, "0.11", 11);
    expectNoiseToFill(small, "0.12", 12);
    expectNoiseToFill(small, "0.14", 14);
    expectNoiseToFill(small, "0.15", 15);
}

// 2000 times the rate as single precision has it is less than 1800, but the product is rounded once more.
TEST_F(Rate, IsAppliedInSinglePrecision) {
    expectNoiseToFill({1, 8, 50, 40}, "0.9", 1800);
}

TEST_F(Rate, IsNeededInMemoryModeOnly) {
    EXPECT_EQ(compress("C", shape, "raw", "coded"), usageShown());
    EXPECT_EQ(files.names(), Strings{"raw"});
    EXPECT_EQ(compress("c", shape, "raw", "coded"), compressed(shape));
}

TEST_F(Rate, HasNoEffectInFileMode) {
    EXPECT_EQ(compress("c", shape, "raw", "plain"), compressed(shape));
    for (const std::string rate : {"5", "-1", "0", "0.5", "1", "nan", "abc", "1e999"}) {
        EXPECT_EQ(compress("c", shape, "raw", "coded", rate), compressed(shape)) << rate;
        EXPECT_EQ(files.read("coded"), files.read("plain")) << rate;
    }
}

TEST_F(Rate, AboveTheNeedGivesTheFileUpToItsLastCodedBit) {
    const Bytes slope = raw::slope(shape);
    const Bytes whole = coded(shape, slope);
    const Bytes fitting = coded(shape, slope, "1");
    EXPECT_EQ(fitting, prefix(whole, fitting.size()));
    EXPECT_LE(whole.size() - fitting.size(), 3U);
}

TEST_F(Rate, ThatIsNotANumberEndsTheRunAbnormally) {
    expectAbnormalEnd(compress("C", shape, "raw", "coded", "nan"));
    expectAbnormalEnd(compress("C", shape, "raw", "coded", "-nan"));
}

// The size of 46341 * 46341 samples is a negative number in 32 bits.
TEST_F(Rate, OfASizeBeyond31BitsEndsTheRunAbnormally) {
    expectAbnormalEnd(compress("C", {1, 8, 46341, 46341}, "raw", "coded", "0.5"));
    expectAbnormalEnd(compress("C", {7, 8, 46341, 46341}, "raw", "coded", "0.5"));
}

TEST_F(Rate, Of0LeavesNothingOfAnySize) {
    const Shape unknownKind{7, 8, 46341, 46341};
    EXPECT_EQ(compress("C", unknownKind, "raw", "coded", "0"), (Outcome{.errors = "Image format not supported\n"}));
    EXPECT_EQ(files.read("coded"), header(unknownKind));
}

} // namespace

} // namespace teko

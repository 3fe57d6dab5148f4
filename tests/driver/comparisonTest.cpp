// SPDX-License-Identifier: Apache-2.0
#include "driver/runs.hpp"

#include "support/patterns.hpp"
#include "support/temporaryDirectory.hpp"
#include "support/thrownInteger.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

struct Said {
    int status;
    std::string output;
    std::string errors;
};

class Comparison : public testing::Test {
protected:
    Said compared(const Bytes& first, const Bytes& second, int bytesPerPixel, long bitsPerPixel, int xsize, int ysize) {
        directory.write("first", first);
        directory.write("second", second);
        return run(bytesPerPixel, bitsPerPixel, xsize, ysize);
    }

    Said run(int bytesPerPixel, long bitsPerPixel, int xsize, int ysize) {
        const std::string first = directory.path("first");
        const std::string second = directory.path("second");
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = compare({first.c_str(), second.c_str(), bytesPerPixel, bitsPerPixel, xsize, ysize});
        const std::string errors = testing::internal::GetCapturedStderr();
        return {status, testing::internal::GetCapturedStdout(), errors};
    }

    // The last line, after the two about reading.
    static std::string figures(const Said& said) {
        const Pattern lines("Reading\\.\\.\\.\nRead in [0-9]+\\.[0-9]{3} seconds\n([^\n]*\n)");
        const std::vector<std::string> parts = lines.partsOf(said.output);
        EXPECT_EQ(parts.size(), 2U) << said.output;
        EXPECT_EQ(said.status, 0);
        EXPECT_EQ(said.errors, "");
        return parts.size() == 2 ? parts[1] : "";
    }

    TemporaryDirectory directory;
};

} // namespace

TEST_F(Comparison, ofEqualFilesHasNoErrorAndInfiniteRatio) {
    const Bytes bytes(12, 77);
    EXPECT_EQ(figures(compared(bytes, bytes, 1, 8, 4, 3)), "MSE=0.000000 RMSE=0.000000 PSNR=inf\n");
    EXPECT_EQ(figures(compared(bytes, bytes, 2, 16, 2, 3)), "MSE=0.000000 RMSE=0.000000 PSNR=inf\n");
    EXPECT_EQ(figures(compared(bytes, bytes, 3, 8, 2, 2)), "MSE=0.000000 RMSE=0.000000 PSNR=inf\n");
}

TEST_F(Comparison, ofGreyFilesThatDifferByOne) {
    EXPECT_EQ(figures(compared(Bytes(12, 77), Bytes(12, 76), 1, 8, 4, 3)),
              "MSE=1.000000 RMSE=1.000000 PSNR=48.130804\n");
}

TEST_F(Comparison, of16BitFilesThatDifferByFour) {
    EXPECT_EQ(figures(compared({0, 1, 0, 2}, {4, 1, 252, 1}, 2, 16, 2, 1)),
              "MSE=16.000000 RMSE=4.000000 PSNR=84.288266\n");
}

TEST_F(Comparison, ofColourFilesIsOverRedGreenAndBlue) {
    EXPECT_EQ(figures(compared({1, 2, 3, 4, 5, 6}, {1, 2, 3, 4, 5, 9}, 3, 8, 1, 2)),
              "MSE=1.500000 RMSE=1.224745 PSNR=46.369891\n");
}

TEST_F(Comparison, takesThePeakFromTheLowSixBitsOfTheBitsPerPixel) {
    const Bytes zero(4, 0);
    const Bytes one(4, 1);
    const std::string at8 = figures(compared(zero, one, 1, 8, 2, 2));
    EXPECT_EQ(figures(compared(zero, one, 1, 64 + 8, 2, 2)), at8);
    EXPECT_EQ(figures(compared(zero, one, 1, -56, 2, 2)), at8);
    EXPECT_EQ(figures(compared(zero, one, 1, 31, 2, 2)), "MSE=1.000000 RMSE=1.000000 PSNR=186.638597\n");
    EXPECT_EQ(figures(compared(zero, one, 1, 32, 2, 2)), "MSE=1.000000 RMSE=1.000000 PSNR=0.000000\n");
    EXPECT_EQ(figures(compared(zero, one, 1, 63, 2, 2)), "MSE=1.000000 RMSE=1.000000 PSNR=0.000000\n");
    EXPECT_EQ(figures(compared(zero, one, 1, 0, 2, 2)), "MSE=1.000000 RMSE=1.000000 PSNR=-inf\n");
}

TEST_F(Comparison, ofOtherKindsReadsNothing) {
    for (const int bytesPerPixel : {0, 4, -1, 257}) {
        const Said said = compared({}, {}, bytesPerPixel, 8, 100, 100);
        EXPECT_EQ(said.status, 0);
        EXPECT_EQ(said.output, "MSE=0.000000 RMSE=0.000000 PSNR=inf\n");
    }
}

TEST_F(Comparison, needsTheFirstFileThenTheSecond) {
    const Said neither = run(1, 8, 2, 2);
    EXPECT_EQ(neither.status, 1);
    EXPECT_EQ(neither.output, "");
    EXPECT_EQ(neither.errors, "Cannot open '" + directory.path("first").string() + "'\n");
    directory.write("first", Bytes(4));
    const Said onlyFirst = run(1, 8, 2, 2);
    EXPECT_EQ(onlyFirst.status, 1);
    EXPECT_EQ(onlyFirst.output, "");
    EXPECT_EQ(onlyFirst.errors, "Cannot open '" + directory.path("second").string() + "'\n");
}

TEST_F(Comparison, throwsThreeWhenAFileIsTooShort) {
    directory.write("first", Bytes(4));
    directory.write("second", Bytes(3));
    const std::string first = directory.path("first");
    const std::string second = directory.path("second");
    testing::internal::CaptureStdout();
    EXPECT_EQ(thrownBy([&] { compare({first.c_str(), second.c_str(), 1, 8, 2, 2}); }), 3);
    EXPECT_EQ(thrownBy([&] { compare({second.c_str(), first.c_str(), 1, 8, 2, 2}); }), 3);
    EXPECT_EQ(thrownBy([&] { compare({first.c_str(), first.c_str(), 2, 16, 3, 1}); }), 3);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Reading...\nReading...\nReading...\n");
}

TEST_F(Comparison, ofEmptyImagesHasNoNumbers) {
    const std::string line = figures(compared({}, {}, 1, 8, 0, 5));
    EXPECT_TRUE(Pattern("MSE=-?nan RMSE=-?nan PSNR=-?nan\n").matches(line)) << line;
}

} // namespace teko

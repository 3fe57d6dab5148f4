// SPDX-License-Identifier: Apache-2.0
#include "driver/runs.hpp"

#include "support/patterns.hpp"
#include "support/temporaryDirectory.hpp"
#include "support/thrownInteger.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

// Samples that do not compress.
Bytes noise(std::size_t count) {
    Bytes bytes(count);
    std::uint32_t state = 1;
    for (std::uint8_t& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(state >> 24);
    }
    return bytes;
}

class CodingRuns : public testing::Test {
protected:
    // The coded file of an image of 64 x 64 bytes.
    Bytes coded(const Bytes& raw, StreamPlace place, float rate) {
        directory.write("raw", raw);
        const std::string rawPath = directory.path("raw");
        const std::string codedPath = directory.path("coded");
        testing::internal::CaptureStdout();
        EXPECT_EQ(compress({rawPath.c_str(), codedPath.c_str(), FileHeader::forImage(1, 8, 64, 64), place, rate}), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Reading...\nTransforming...\nWriting...\n");
        return directory.read("coded");
    }

    Bytes decoded(const Bytes& file, StreamPlace place, int status = 0) {
        directory.write("coded", file);
        const std::string codedPath = directory.path("coded");
        const std::string outputPath = directory.path("output");
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_EQ(decompress(codedPath.c_str(), outputPath.c_str(), place), status);
        output = testing::internal::GetCapturedStdout();
        errors = testing::internal::GetCapturedStderr();
        return directory.read("output");
    }

    TemporaryDirectory directory;
    std::string output;
    std::string errors;
};

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

std::string displayed(const Chron& chron, const char* label) {
    testing::internal::CaptureStdout();
    chron.display(label);
    return testing::internal::GetCapturedStdout();
}

Chron startedBefore(double seconds) {
    Chron chron;
    chron.start = std::clock() - static_cast<std::clock_t>(seconds * CLOCKS_PER_SEC);
    return chron;
}

} // namespace

TEST_F(CodingRuns, fillTheirBudgetToTheByteWhenTheStreamIsCut) {
    EXPECT_EQ(coded(noise(4096), StreamPlace::memory, 0.5F).size(), 2048U);
    EXPECT_EQ(coded(noise(4096), StreamPlace::memory, 2047.0F / 4096).size(), 2047U);
    EXPECT_EQ(coded(noise(4096), StreamPlace::memory, 2046.0F / 4096).size(), 2046U);
    EXPECT_EQ(coded(noise(4096), StreamPlace::memory, 2045.0F / 4096).size(), 2045U);
}

TEST_F(CodingRuns, leaveOnlyTheHeaderAtRateZero) {
    EXPECT_EQ(coded(noise(4096), StreamPlace::memory, 0.0F), (Bytes{'T', 'K', '1', '0', 1, 8, 64, 0, 64, 0}));
}

TEST_F(CodingRuns, endWithTheLastCodedByteInMemoryAndWithAWholeWordInFiles) {
    Bytes slope(4096);
    for (std::size_t i = 0; i < slope.size(); ++i) {
        slope[i] = static_cast<std::uint8_t>(i / 64 + i % 64);
    }
    const Bytes inFile = coded(slope, StreamPlace::file, 0.0F);
    const Bytes inMemory = coded(slope, StreamPlace::memory, 1.0F);
    EXPECT_EQ((inFile.size() - 10) % 4, 0U);
    EXPECT_EQ((inMemory.size() - 10 + 3) / 4 * 4, inFile.size() - 10);
    EXPECT_EQ(inMemory, prefix(inFile, inMemory.size()));
    EXPECT_EQ(decoded(inFile, StreamPlace::file), slope);
    EXPECT_EQ(decoded(inFile, StreamPlace::memory), slope);
}

TEST_F(CodingRuns, refuseOtherFilesThoughTheRestIsValid) {
    Bytes file = coded(noise(4096), StreamPlace::file, 1.0F);
    file[3] = '1';
    const std::string complaint = "File " + directory.path("coded").string() + " not recognized\n";
    EXPECT_EQ(decoded(file, StreamPlace::file, 1), Bytes{});
    EXPECT_EQ(output, "");
    EXPECT_EQ(errors, complaint);
    EXPECT_EQ(decoded(file, StreamPlace::memory, 1), Bytes{});
    EXPECT_EQ(output, "Decompressing in memory, size=" + std::to_string(file.size() - 10) + "\n");
    EXPECT_EQ(errors, complaint);
}

TEST_F(CodingRuns, decodeNothingOfOtherKinds) {
    for (const std::uint8_t kind : {std::uint8_t{0}, std::uint8_t{4}, std::uint8_t{255}}) {
        EXPECT_EQ(decoded({'T', 'K', '1', '0', kind, 8, 64, 0, 64, 0}, StreamPlace::memory), Bytes{});
        EXPECT_EQ(output, "Decompressing in memory, size=0\n");
        EXPECT_EQ(errors, "");
    }
}

TEST_F(CodingRuns, cannotDecodeAHeaderAlone) {
    const Bytes header{'T', 'K', '1', '0', 1, 8, 64, 0, 64, 0};
    for (const StreamPlace place : {StreamPlace::file, StreamPlace::memory}) {
        testing::internal::CaptureStdout();
        directory.write("coded", header);
        const std::string codedPath = directory.path("coded");
        const std::string outputPath = directory.path("output");
        EXPECT_EQ(thrownBy([&] { decompress(codedPath.c_str(), outputPath.c_str(), place); }), 3);
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(directory.read("output"), Bytes{});
    }
}

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

TEST(Chron, printsItsLabelAndTheSecondsSinceItsStart) {
    const std::string line = displayed(startedBefore(2.5), "Read in");
    EXPECT_TRUE(Pattern("Read in 2\\.[5-9][0-9]{2} seconds\n").matches(line)) << line;
}

TEST(Chron, printsMillisecondsFromTheFirstOn) {
    const std::string line = displayed(startedBefore(0), "x");
    EXPECT_TRUE(Pattern("x 0\\.[0-4][0-9]{2} seconds\n").matches(line)) << line;
}

TEST(Chron, doesNotReadFormatsInItsLabel) {
    const std::string line = displayed(startedBefore(0), "100 %s");
    EXPECT_EQ(line.substr(0, 9), "100 %s 0.");
}

TEST(Chron, goesOnRunning) {
    const Chron chron = startedBefore(3.0);
    const std::clock_t start = chron.start;
    displayed(chron, "once");
    EXPECT_EQ(chron.start, start);
    EXPECT_EQ(displayed(chron, "twice").substr(0, 8), "twice 3.");
}

TEST(Chron, startsAtTheProcessesOwnStart) {
    EXPECT_EQ(Chron().start, 0);
}

} // namespace teko

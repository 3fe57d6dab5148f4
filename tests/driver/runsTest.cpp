// SPDX-License-Identifier: Apache-2.0
#include "driver/runs.hpp"

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

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
#include "image/imageData.hpp"

#include "support/bytes.hpp"
#include "support/scratchFile.hpp"
#include "support/thrownInteger.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace teko {

namespace {

template <typename T>
ImageData<T>& withSamples(ImageData<T>& image, const std::vector<T>& samples) {
    std::copy(samples.begin(), samples.end(), image.planes[0]);
    return image;
}

template <typename T>
std::vector<T> samplesOf(const ImageData<T>& image, int channel = 0) {
    return std::vector<T>(image.planes[channel], image.planes[channel] + image.stride * image.height);
}

} // namespace

TEST(RawWrite8, writesTheLowBitsAndLeavesThePlaneWithoutALimit) {
    ImageData<short> image(3, 2, 1);
    const std::vector<short> samples{300, -1, 255, 0, -32768, 32767};
    withSamples(image, samples);
    const ScratchFile file;
    EXPECT_EQ(image.rawWrite8(file.get(), 0), 0);
    EXPECT_EQ(file.contents(), (Bytes{44, 255, 255, 0, 0, 255}));
    EXPECT_EQ(samplesOf(image), samples);
}

TEST(RawWrite8, clampsFileAndPlaneBelowTheLimit) {
    ImageData<short> image(4, 1, 1);
    withSamples<short>(image, {-3, 0, 255, 300});
    const ScratchFile file;
    EXPECT_EQ(image.rawWrite8(file.get(), 256), 0);
    EXPECT_EQ(file.contents(), (Bytes{0, 0, 255, 255}));
    EXPECT_EQ(samplesOf(image), (std::vector<short>{0, 0, 255, 255}));
}

TEST(RawWrite8, clampsAtTheLimitItself) {
    ImageData<short> image(4, 1, 1);
    withSamples<short>(image, {15, 16, 17, -1});
    const ScratchFile file;
    image.rawWrite8(file.get(), 16);
    EXPECT_EQ(samplesOf(image), (std::vector<short>{15, 15, 15, 0}));
    image.rawWrite8(file.get(), 1);
    EXPECT_EQ(samplesOf(image), (std::vector<short>{0, 0, 0, 0}));
}

TEST(RawWrite8, writesTheLowBitsBelowALimitBeyondTheFilesRange) {
    ImageData<short> image(3, 1, 1);
    withSamples<short>(image, {300, 1024, -1});
    const ScratchFile file;
    image.rawWrite8(file.get(), 1024);
    EXPECT_EQ(file.contents(), (Bytes{44, 255, 0}));
    EXPECT_EQ(samplesOf(image), (std::vector<short>{300, 1023, 0}));
}

TEST(RawWrite8, comparesWithLimitsBeyondTheSampleType) {
    ImageData<short> image(3, 1, 1);
    withSamples<short>(image, {32767, 255, -32768});
    const ScratchFile file;
    image.rawWrite8(file.get(), 65536);
    EXPECT_EQ(file.contents(), (Bytes{255, 255, 0}));
    EXPECT_EQ(samplesOf(image), (std::vector<short>{32767, 255, 0}));
}

// A file of 31 bits a sample, which only a damaged header has, brings the most negative limit.
TEST(RawWrite, takesTheLowBitsOfOneBelowTheMostNegativeLimit) {
    ImageData<short> bytes(2, 1, 1);
    withSamples<short>(bytes, {7, -7});
    const ScratchFile byteFile;
    EXPECT_EQ(bytes.rawWrite8(byteFile.get(), std::numeric_limits<int>::min()), 0);
    EXPECT_EQ(byteFile.contents(), (Bytes{255, 0}));
    EXPECT_EQ(samplesOf(bytes), (std::vector<short>{-1, 0}));

    ImageData<long> words(2, 1, 1);
    withSamples<long>(words, {7, -7});
    const ScratchFile wordFile;
    EXPECT_EQ(words.rawWrite16(wordFile.get(), std::numeric_limits<int>::min()), 0);
    EXPECT_EQ(wordFile.contents(), (Bytes{255, 255, 0, 0}));
    EXPECT_EQ(words.planes[0][1], 0);
}

TEST(RawWrite8, writesTheChannelsOfAPixelOneAfterTheOther) {
    ImageData<short> image(2, 2, 3);
    for (int i = 0; i < 12; ++i) {
        image.planes[i % 3][i / 3] = static_cast<short>(i + 1);
    }
    const ScratchFile file;
    image.rawWrite8(file.get(), 0);
    EXPECT_EQ(file.contents(), (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
}

TEST(RawWrite8, clampsEveryChannel) {
    ImageData<short> image(1, 1, 3);
    image.planes[0][0] = -5;
    image.planes[1][0] = 256;
    image.planes[2][0] = 9;
    const ScratchFile file;
    image.rawWrite8(file.get(), 256);
    EXPECT_EQ(file.contents(), (Bytes{0, 255, 9}));
    EXPECT_EQ(samplesOf(image, 0), std::vector<short>{0});
    EXPECT_EQ(samplesOf(image, 1), std::vector<short>{255});
    EXPECT_EQ(samplesOf(image, 2), std::vector<short>{9});
}

TEST(RawWrite16, writesTheLeastSignificantByteFirst) {
    ImageData<long> image(2, 1, 1);
    withSamples<long>(image, {0x1234, 0xFEDC});
    const ScratchFile file;
    EXPECT_EQ(image.rawWrite16(file.get(), 0), 0);
    EXPECT_EQ(file.contents(), (Bytes{0x34, 0x12, 0xDC, 0xFE}));
}

TEST(RawWrite16, writesTheLowBitsAndLeavesThePlaneWithoutALimit) {
    ImageData<long> image(3, 1, 1);
    const std::vector<long> samples{65537, -1, std::numeric_limits<long>::min()};
    withSamples(image, samples);
    const ScratchFile file;
    image.rawWrite16(file.get(), 0);
    EXPECT_EQ(file.contents(), (Bytes{1, 0, 255, 255, 0, 0}));
    EXPECT_EQ(samplesOf(image), samples);
}

TEST(RawWrite16, clampsFileAndPlaneBelowTheLimit) {
    ImageData<long> image(5, 1, 1);
    withSamples<long>(image, {-1, 65535, 65536, 1L << 40, std::numeric_limits<long>::min()});
    const ScratchFile file;
    image.rawWrite16(file.get(), 65536);
    EXPECT_EQ(file.contents(), (Bytes{0, 0, 255, 255, 255, 255, 255, 255, 0, 0}));
    EXPECT_EQ(samplesOf(image), (std::vector<long>{0, 65535, 65535, 65535, 0}));
}

TEST(RawWrite, leavesColumnsBeyondTheWidthOut) {
    ImageData<short> image(3, 2, 1);
    withSamples<short>(image, {1, 2, -7, 3, 4, 700});
    image.width = 2;
    const ScratchFile file;
    image.rawWrite8(file.get(), 256);
    EXPECT_EQ(file.contents(), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(samplesOf(image), (std::vector<short>{1, 2, -7, 3, 4, 700}));
}

TEST(RawWrite, startsAtTheFilesPosition) {
    ImageData<short> image(2, 1, 1);
    withSamples<short>(image, {8, 9});
    const ScratchFile file({1, 2, 3, 4, 5});
    std::fseek(file.get(), 1, SEEK_SET);
    image.rawWrite8(file.get(), 0);
    EXPECT_EQ(file.position(), 3);
    EXPECT_EQ(file.contents(), (Bytes{1, 8, 9, 4, 5}));
}

TEST(RawWrite, writesNothingForEmptyImages) {
    ImageData<short> narrow(0, 3, 3);
    ImageData<long> flat(3, 0, 1);
    const ScratchFile file;
    EXPECT_EQ(narrow.rawWrite8(file.get(), 256), 0);
    EXPECT_EQ(flat.rawWrite16(file.get(), 0), 0);
    EXPECT_EQ(file.contents(), Bytes{});
}

TEST(RawWrite, throwsThreeWhenARowDoesNotFit) {
    ImageData<short> bytes(100, 100, 1);
    withSamples(bytes, std::vector<short>(10000, 1));
    ImageData<long> words(100, 100, 1);
    withSamples(words, std::vector<long>(10000, 1));
    const FullDevice full;
    std::setvbuf(full.get(), nullptr, _IONBF, 0);
    EXPECT_EQ(thrownBy([&] { bytes.rawWrite8(full.get(), 0); }), 3);
    EXPECT_EQ(thrownBy([&] { words.rawWrite16(full.get(), 0); }), 3);
}

TEST(RawWrite, throwsThreeWhenTheFilesOwnBufferDoesNotFit) {
    ImageData<short> bytes(1, 1, 1);
    withSamples<short>(bytes, {1});
    const FullDevice full;
    EXPECT_EQ(thrownBy([&] { bytes.rawWrite8(full.get(), 0); }), 3);
    ImageData<long> words(1, 1, 1);
    withSamples<long>(words, {1});
    const FullDevice another;
    EXPECT_EQ(thrownBy([&] { words.rawWrite16(another.get(), 0); }), 3);
}

TEST(RawWrite, throwsThreeInTheMiddleOfARowAndHasWrittenWhatFits) {
    ImageData<short> image(4, 2, 1);
    withSamples<short>(image, {1, 2, 3, 4, 5, 6, 7, 8});
    Bytes memory(6, 0xEE);
    std::FILE* file = fmemopen(memory.data(), memory.size(), "r+b");
    ASSERT_NE(file, nullptr);
    std::setvbuf(file, nullptr, _IONBF, 0);
    EXPECT_EQ(thrownBy([&] { image.rawWrite8(file, 0); }), 3);
    std::fclose(file);
    EXPECT_EQ(memory, (Bytes{1, 2, 3, 4, 5, 6}));
}

TEST(RawWrite, returnsToTheSamplesThatRawReadTook) {
    const Bytes bytes{0, 1, 127, 128, 254, 255, 17, 18, 19, 20, 21, 22};
    const ScratchFile source(bytes);
    ImageData<short> image(2, 2, 3);
    image.rawRead8(source.get());
    const ScratchFile copy;
    image.rawWrite8(copy.get(), 0);
    EXPECT_EQ(copy.contents(), bytes);

    ImageData<long> words(3, 2, 1);
    std::rewind(source.get());
    words.rawRead16(source.get());
    const ScratchFile wordCopy;
    words.rawWrite16(wordCopy.get(), 65536);
    EXPECT_EQ(wordCopy.contents(), bytes);
}

} // namespace teko

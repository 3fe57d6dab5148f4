// SPDX-License-Identifier: Apache-2.0
#include "image/imageData.hpp"

#include "support/scratchFile.hpp"
#include "support/thrownInteger.hpp"

#include <gtest/gtest.h>

#include <numeric>

namespace teko {

namespace {

std::vector<std::uint8_t> countingBytes(std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

template <typename T>
void fill(ImageData<T>& image, T value) {
    for (int c = 0; c < image.channels; ++c) {
        std::fill_n(image.planes[c], image.stride * image.height, value);
    }
}

} // namespace

TEST(RawRead8, fillsRowsFromTopToBottom) {
    const ScratchFile file(countingBytes(6));
    ImageData<short> image(3, 2, 1);
    EXPECT_EQ(image.rawRead8(file.get()), 0);
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(image.planes[0][i], i + 1);
    }
}

TEST(RawRead8, takesTheChannelsOfAPixelOneAfterTheOther) {
    for (int channels = 1; channels <= 3; ++channels) {
        const ScratchFile file(countingBytes(static_cast<std::size_t>(8 * channels)));
        ImageData<short> image(4, 2, channels);
        EXPECT_EQ(image.rawRead8(file.get()), 0);
        for (int i = 0; i < 8 * channels; ++i) {
            EXPECT_EQ(image.planes[i % channels][i / channels], i + 1);
        }
    }
}

TEST(RawRead8, extendsSamplesWithoutSign) {
    const ScratchFile file({0x00, 0x7F, 0x80, 0xFF});
    ImageData<short> image(4, 1, 1);
    image.rawRead8(file.get());
    EXPECT_EQ(std::vector<short>(image.planes[0], image.planes[0] + 4), (std::vector<short>{0, 127, 128, 255}));
}

TEST(RawRead16, takesTheLeastSignificantByteFirst) {
    const ScratchFile file({0x34, 0x12, 0xFF, 0xFF, 0x00, 0x80, 0x01, 0x00});
    ImageData<long> image(2, 2, 1);
    EXPECT_EQ(image.rawRead16(file.get()), 0);
    EXPECT_EQ(std::vector<long>(image.planes[0], image.planes[0] + 4), (std::vector<long>{0x1234, 65535, 32768, 1}));
}

TEST(RawRead16, takesTheChannelsOfAPixelOneAfterTheOther) {
    const ScratchFile file({1, 0, 2, 0, 3, 0, 4, 1, 5, 1, 6, 1});
    ImageData<long> image(2, 1, 3);
    image.rawRead16(file.get());
    EXPECT_EQ(image.planes[0][0], 1);
    EXPECT_EQ(image.planes[1][0], 2);
    EXPECT_EQ(image.planes[2][0], 3);
    EXPECT_EQ(image.planes[0][1], 260);
    EXPECT_EQ(image.planes[1][1], 261);
    EXPECT_EQ(image.planes[2][1], 262);
}

TEST(RawRead, startsAtTheFilesPositionAndLeavesWhatFollows) {
    const ScratchFile file(countingBytes(20));
    ImageData<short> bytes(3, 2, 1);
    std::fseek(file.get(), 2, SEEK_SET);
    EXPECT_EQ(bytes.rawRead8(file.get()), 0);
    EXPECT_EQ(bytes.planes[0][0], 3);
    EXPECT_EQ(file.position(), 8);
    ImageData<long> words(2, 2, 1);
    EXPECT_EQ(words.rawRead16(file.get()), 0);
    EXPECT_EQ(words.planes[0][0], 0x0A09);
    EXPECT_EQ(file.position(), 16);
}

TEST(RawRead, throwsThreeOneByteBeforeTheEndAndKeepsTheRowsBefore) {
    const ScratchFile bytes(countingBytes(3 * 4 * 3 - 1));
    ImageData<short> image(3, 4, 3);
    fill<short>(image, -7);
    EXPECT_EQ(thrownBy([&] { image.rawRead8(bytes.get()); }), 3);
    EXPECT_EQ(image.planes[0][0], 1);
    EXPECT_EQ(image.planes[2][8], 27);
    EXPECT_EQ(image.planes[0][9], -7);

    const ScratchFile words(countingBytes(2 * 3 * 4 - 1));
    ImageData<long> wide(3, 4, 1);
    fill<long>(wide, -7);
    EXPECT_EQ(thrownBy([&] { wide.rawRead16(words.get()); }), 3);
    EXPECT_EQ(wide.planes[0][8], 0x1211);
    EXPECT_EQ(wide.planes[0][9], -7);
}

TEST(RawRead, throwsThreeForAnEmptyFile) {
    const ScratchFile file;
    ImageData<short> bytes(1, 1, 1);
    ImageData<long> words(1, 1, 1);
    EXPECT_EQ(thrownBy([&] { bytes.rawRead8(file.get()); }), 3);
    EXPECT_EQ(thrownBy([&] { words.rawRead16(file.get()); }), 3);
}

TEST(RawRead, readsNothingForEmptyImages) {
    const ScratchFile file(countingBytes(4));
    ImageData<short> narrow(0, 3, 3);
    ImageData<long> flat(3, 0, 1);
    EXPECT_EQ(narrow.rawRead8(file.get()), 0);
    EXPECT_EQ(flat.rawRead16(file.get()), 0);
    EXPECT_EQ(file.position(), 0);
    EXPECT_EQ(std::fgetc(file.get()), 1);
}

TEST(RawRead, putsRowsAStrideApart) {
    const ScratchFile file(countingBytes(4));
    ImageData<short> image(3, 2, 1);
    fill<short>(image, -7);
    image.width = 2;
    image.rawRead8(file.get());
    EXPECT_EQ(std::vector<short>(image.planes[0], image.planes[0] + 6), (std::vector<short>{1, 2, -7, 3, 4, -7}));
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
#include "image/colourTransform.hpp"

#include "support/samples.hpp"

#include <gtest/gtest.h>

#include <array>
#include <limits>

namespace teko {

namespace {

using Pixel = std::array<int, 3>;

ImageData<short>& withPixel(ImageData<short>& image, const Pixel& pixel) {
    for (std::size_t c = 0; c < 3; ++c) {
        image.planes[c][0] = static_cast<short>(pixel[c]);
    }
    return image;
}

Pixel pixelOf(const ImageData<short>& image) {
    return {image.planes[0][0], image.planes[1][0], image.planes[2][0]};
}

Pixel transformed(const Pixel& pixel) {
    ImageData<short> image(1, 1, 3);
    colourTransform(&withPixel(image, pixel));
    return pixelOf(image);
}

Pixel untransformed(const Pixel& pixel) {
    ImageData<short> image(1, 1, 3);
    colourUntransform(&withPixel(image, pixel));
    return pixelOf(image);
}

} // namespace

TEST(ColourTransform, turnsGreyIntoLuminanceAlone) {
    for (int v = 0; v <= 255; ++v) {
        EXPECT_EQ(transformed({v, v, v}), (Pixel{v, 0, 0}));
        EXPECT_EQ(untransformed({v, 0, 0}), (Pixel{v, v, v}));
    }
}

TEST(ColourTransform, takesRedAndBlueRelativeToGreen) {
    EXPECT_EQ(transformed({255, 0, 0}), (Pixel{63, 255, 0}));
    EXPECT_EQ(transformed({0, 255, 0}), (Pixel{127, -255, -255}));
    EXPECT_EQ(transformed({0, 0, 255}), (Pixel{63, 0, 255}));
    EXPECT_EQ(transformed({255, 255, 255}), (Pixel{255, 0, 0}));
    EXPECT_EQ(transformed({1, 2, 3}), (Pixel{2, -1, 1}));
}

TEST(ColourTransform, roundsDownOnTheWayBack) {
    // -510 / 4 is floored to -128.
    EXPECT_EQ(untransformed({127, -255, -255}), (Pixel{0, 255, 0}));
    EXPECT_EQ(untransformed({0, -1, 0}), (Pixel{0, 1, 1}));
    EXPECT_EQ(untransformed({0, -3, -2}), (Pixel{-1, 2, 0}));
    EXPECT_EQ(untransformed({0, 3, 0}), (Pixel{3, 0, 0}));
}

TEST(ColourTransform, roundsDownOnTheWayThereAlsoBelowZero) {
    EXPECT_EQ(transformed({-1, 0, 0}), (Pixel{-1, -1, 0}));
    EXPECT_EQ(transformed({-4, -4, -3}), (Pixel{-4, 0, 1}));
}

TEST(ColourTransform, stays8BitInLuminanceAndNineInDifferences) {
    int least[3] = {0, 0, 0};
    int most[3] = {0, 0, 0};
    for (const int r : {0, 255}) {
        for (const int g : {0, 255}) {
            for (const int b : {0, 255}) {
                const Pixel pixel = transformed({r, g, b});
                for (std::size_t c = 0; c < 3; ++c) {
                    least[c] = std::min(least[c], pixel[c]);
                    most[c] = std::max(most[c], pixel[c]);
                }
            }
        }
    }
    EXPECT_EQ(least[0], 0);
    EXPECT_EQ(most[0], 255);
    EXPECT_EQ(least[1], -255);
    EXPECT_EQ(most[1], 255);
    EXPECT_EQ(least[2], -255);
    EXPECT_EQ(most[2], 255);
}

TEST(ColourTransform, comesBackForEvery8BitTriple) {
    ImageData<short> image(256, 256, 3);
    for (int r = 0; r <= 255; ++r) {
        for (int i = 0; i < 65536; ++i) {
            image.planes[0][i] = static_cast<short>(r);
            image.planes[1][i] = static_cast<short>(i / 256);
            image.planes[2][i] = static_cast<short>(i % 256);
        }
        const auto before = samplesOf(image);
        colourTransform(&image);
        ASSERT_NE(samplesOf(image), before);
        colourUntransform(&image);
        ASSERT_TRUE(samplesOf(image) == before) << "red " << r;
    }
}

TEST(ColourTransform, keepsTheLow16BitsOfItsResults) {
    constexpr int most = std::numeric_limits<short>::max();
    constexpr int least = std::numeric_limits<short>::min();
    EXPECT_EQ(transformed({most, least, most}), (Pixel{-1, -1, -1}));
    EXPECT_EQ(transformed({least, most, 0}), (Pixel{8191, 1, -32767}));
    EXPECT_EQ(untransformed({most, least, least}), (Pixel{16383, -16385, 16383}));
    EXPECT_EQ(untransformed({least, most, most}), (Pixel{-16384, 16385, -16384}));
}

TEST(ColourTransform, comesBackModulo16Bits) {
    std::mt19937_64 random{3};
    ImageData<short> image(64, 64, 3);
    fillWithNoise(image, random, -8000, 8000);
    const auto before = samplesOf(image);
    colourTransform(&image);
    colourUntransform(&image);
    EXPECT_EQ(samplesOf(image), before);
}

TEST(ColourTransform, leavesImagesOfOtherThanThreeChannelsAlone) {
    std::mt19937_64 random{4};
    for (int channels = 1; channels <= 2; ++channels) {
        ImageData<short> image(5, 7, channels);
        fillWithNoise(image, random, 0, 255);
        const auto before = samplesOf(image);
        colourTransform(&image);
        EXPECT_EQ(samplesOf(image), before);
        colourUntransform(&image);
        EXPECT_EQ(samplesOf(image), before);
    }
}

TEST(ColourTransform, leavesColumnsBeyondTheWidthAlone) {
    ImageData<short> image(4, 3, 3);
    for (short* plane : image.planes) {
        std::fill_n(plane, 12, short{9});
    }
    image.planes[1][3] = 200;
    image.width = 3;
    colourTransform(&image);
    EXPECT_EQ(image.planes[1][3], 200);
    EXPECT_EQ(image.planes[1][2], 0);
    EXPECT_EQ(image.planes[1][4], 0);
    EXPECT_EQ(image.planes[1][7], 9);
    EXPECT_EQ(image.planes[1][10], 0);
}

TEST(ColourTransform, hasNothingToDoInEmptyImages) {
    ImageData<short> narrow(0, 5, 3);
    ImageData<short> flat(5, 0, 3);
    EXPECT_NO_THROW(colourTransform(&narrow));
    EXPECT_NO_THROW(colourUntransform(&flat));
}

} // namespace teko

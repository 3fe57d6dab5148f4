// SPDX-License-Identifier: Apache-2.0
#include "filter/filter.hpp"
#include "support/plainTransform.hpp"
#include "support/samples.hpp"
#include "wavelet/wavelet.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

template <typename T>
struct Transformer {
    Filter4_2<T> filter;
    Wavelet<T> wavelet;

    Transformer() { wavelet.filter = &filter; }
};

template <typename T>
class WaveletRoundTrip : public testing::Test {
protected:
    static constexpr bool isWide = sizeof(T) > sizeof(short);
    static constexpr long most = isWide ? 65535 : 255;

    void expectToSurvive(int width, int height, int channels, long least = 0) {
        ImageData<T> image(width, height, channels);
        fillWithNoise(image, random, least, most);
        const auto before = samplesOf(image);
        transformer.wavelet.transform(&image);
        ASSERT_NE(samplesOf(image), before);
        transformer.wavelet.untransform(&image);
        ASSERT_EQ(samplesOf(image), before) << width << " x " << height << " x " << channels;
    }

    std::mt19937_64 random{99};
    Transformer<T> transformer;
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(WaveletRoundTrip, SampleTypes);

} // namespace

TYPED_TEST(WaveletRoundTrip, restoresEveryShapeFromFourSamplesOn) {
    for (int width = 4; width <= 40; ++width) {
        for (int height = 4; height <= 40; ++height) {
            this->expectToSurvive(width, height, 1);
            this->expectToSurvive(width, height, 3, -this->most);
        }
    }
}

TYPED_TEST(WaveletRoundTrip, restoresImagesWhoseColumnsGoThroughCopies) {
    this->expectToSurvive(600, 600, 1);
    this->expectToSurvive(600, 600, 3, -this->most);
    this->expectToSurvive(513, 513, 1);
    this->expectToSurvive(521, 1031, 1);
    this->expectToSurvive(2048, 2048, 1);
}

TYPED_TEST(WaveletRoundTrip, restoresTheStrongestContrasts) {
    for (const int period : {1, 2, 3, 4, 8}) {
        ImageData<TypeParam> image(64, 61, 1);
        for (int i = 0; i < 64 * 61; ++i) {
            image.planes[0][i] = static_cast<TypeParam>((i % 64 / period + i / 64 / period) % 2 == 0 ? 0 : this->most);
        }
        const auto before = samplesOf(image);
        this->transformer.wavelet.transform(&image);
        this->transformer.wavelet.untransform(&image);
        EXPECT_EQ(samplesOf(image), before) << period;
    }
}

TYPED_TEST(WaveletRoundTrip, gathersAConstantInTheApproximation) {
    ImageData<TypeParam> image(16, 16, 1);
    std::fill_n(image.planes[0], 256, TypeParam{100});
    this->transformer.wavelet.transform(&image);
    // 100 becomes 119, 141, 167, 198, 235, 279: two passes on each of three levels.
    for (int i = 0; i < 256; ++i) {
        const bool isApproximation = i % 8 == 0 && i / 16 % 8 == 0;
        EXPECT_EQ(image.planes[0][i], isApproximation ? 279 : 0) << i;
    }
}

TYPED_TEST(WaveletRoundTrip, leavesImagesBelowFourSamplesAsTheyAreForward) {
    for (const auto& [width, height] : {std::pair{3, 3}, {2, 100}, {100, 2}, {1, 1}, {1, 50}, {50, 3}}) {
        ImageData<TypeParam> image(width, height, 3);
        fillWithNoise(image, this->random, 0, this->most);
        const auto before = samplesOf(image);
        this->transformer.wavelet.transform(&image);
        EXPECT_EQ(samplesOf(image), before) << width << " x " << height;
    }
}

TYPED_TEST(WaveletRoundTrip, changesImagesBelowFourSamplesBackward) {
    for (const auto& [width, height] : {std::pair{3, 3}, {2, 100}, {100, 2}, {2, 2}, {1, 50}, {50, 3}}) {
        ImageData<TypeParam> image(width, height, 1);
        fillWithNoise(image, this->random, 1, this->most);
        ImageData<TypeParam> expected(width, height, 1);
        std::copy_n(image.planes[0], width * height, expected.planes[0]);
        this->transformer.wavelet.transform(&image);
        this->transformer.wavelet.untransform(&image);
        EXPECT_NE(samplesOf(image), samplesOf(expected)) << width << " x " << height;
        plain::untransform(expected, 1);
        EXPECT_EQ(samplesOf(image), samplesOf(expected)) << width << " x " << height;
    }
}

TYPED_TEST(WaveletRoundTrip, leavesASingleSampleAsItIs) {
    ImageData<TypeParam> image(1, 1, 1);
    image.planes[0][0] = 77;
    this->transformer.wavelet.untransform(&image);
    EXPECT_EQ(image.planes[0][0], 77);
}

TYPED_TEST(WaveletRoundTrip, hasNothingToDoInEmptyImages) {
    for (const auto& [width, height] : {std::pair{0, 0}, {0, 600}, {600, 0}}) {
        ImageData<TypeParam> image(width, height, 3);
        EXPECT_NO_THROW(this->transformer.wavelet.transform(&image));
        EXPECT_NO_THROW(this->transformer.wavelet.untransform(&image));
    }
}

TYPED_TEST(WaveletRoundTrip, leavesColumnsBeyondTheWidthAlone) {
    ImageData<TypeParam> image(50, 40, 1);
    fillWithNoise(image, this->random, 0, this->most);
    image.width = 37;
    const auto before = samplesOf(image);
    this->transformer.wavelet.transform(&image);
    const auto after = samplesOf(image);
    for (std::size_t i = 0; i < after.size(); ++i) {
        ASSERT_TRUE(i % 50 < 37 || after[i] == before[i]) << i;
    }
    this->transformer.wavelet.untransform(&image);
    EXPECT_EQ(samplesOf(image), before);
}

} // namespace teko

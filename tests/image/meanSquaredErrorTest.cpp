// SPDX-License-Identifier: Apache-2.0
#include "image/imageData.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>

namespace teko {

namespace {

template <typename T>
class MeanSquaredError : public testing::Test {};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(MeanSquaredError, SampleTypes);

template <typename T>
void fill(ImageData<T>& image, T value) {
    for (int c = 0; c < image.channels; ++c) {
        std::fill_n(image.planes[c], image.stride * image.height, value);
    }
}

} // namespace

TYPED_TEST(MeanSquaredError, isZeroForAnImageAndItself) {
    ImageData<TypeParam> image(3, 2, 3);
    fill<TypeParam>(image, 117);
    image.planes[1][4] = -9;
    EXPECT_EQ(image.getMSE(&image), 0.0);
}

TYPED_TEST(MeanSquaredError, isTheSquareOfAConstantDifference) {
    ImageData<TypeParam> first(5, 3, 1);
    ImageData<TypeParam> second(5, 3, 1);
    fill<TypeParam>(first, 10);
    fill<TypeParam>(second, 12);
    EXPECT_EQ(first.getMSE(&second), 4.0);
    EXPECT_EQ(second.getMSE(&first), 4.0);
}

TYPED_TEST(MeanSquaredError, averagesOverAllRowsColumnsAndChannels) {
    ImageData<TypeParam> first(2, 2, 3);
    ImageData<TypeParam> second(2, 2, 3);
    fill<TypeParam>(first, 0);
    fill<TypeParam>(second, 0);
    second.planes[0][0] = 3;
    second.planes[1][3] = -3;
    second.planes[2][2] = 6;
    EXPECT_EQ(first.getMSE(&second), 54.0 / 2 / 2 / 3);
}

TYPED_TEST(MeanSquaredError, dividesByWidthThenHeightThenChannels) {
    ImageData<TypeParam> first(7, 11, 3);
    ImageData<TypeParam> second(7, 11, 3);
    fill<TypeParam>(first, 0);
    fill<TypeParam>(second, 0);
    std::fill_n(second.planes[2], 33, TypeParam{1});
    // Any other order or grouping rounds to another value.
    EXPECT_EQ(first.getMSE(&second), 33.0 / 7 / 11 / 3);
    EXPECT_NE(33.0 / 7 / 11 / 3, 33.0 / (7 * 11 * 3));
}

TYPED_TEST(MeanSquaredError, isMinusOneForImagesOfDifferentShape) {
    ImageData<TypeParam> image(4, 3, 2);
    fill<TypeParam>(image, 1);
    for (const auto& [width, height, channels] : {std::tuple{3, 4, 2}, {4, 4, 2}, {5, 3, 2}, {4, 3, 1}, {4, 3, 3}}) {
        ImageData<TypeParam> other(width, height, channels);
        fill<TypeParam>(other, 1);
        EXPECT_EQ(image.getMSE(&other), -1.0) << width << " x " << height << " x " << channels;
    }
}

TYPED_TEST(MeanSquaredError, isNoNumberForEmptyImages) {
    const ImageData<TypeParam> narrow(0, 4, 1);
    const ImageData<TypeParam> flat(4, 0, 3);
    EXPECT_TRUE(std::isnan(narrow.getMSE(&narrow)));
    EXPECT_TRUE(std::isnan(flat.getMSE(&flat)));
}

TYPED_TEST(MeanSquaredError, isZeroForNegativeDimensions) {
    const ImageData<TypeParam> first(-5, -5, 1);
    const ImageData<TypeParam> second(-5, -5, 1);
    EXPECT_EQ(first.getMSE(&second), 0.0);
}

TYPED_TEST(MeanSquaredError, leavesColumnsBeyondTheWidthOut) {
    ImageData<TypeParam> first(4, 3, 1);
    ImageData<TypeParam> second(4, 3, 1);
    fill<TypeParam>(first, 0);
    fill<TypeParam>(second, 0);
    for (int y = 0; y < 3; ++y) {
        second.planes[0][4 * y + 1] = 2;
        second.planes[0][4 * y + 3] = 1000;
    }
    first.width = second.width = 3;
    EXPECT_EQ(first.getMSE(&second), 12.0 / 3 / 3);
}

TEST(MeanSquaredErrorOfShort, formsDifferencesBeyond16Bits) {
    ImageData<short> first(1, 1, 1);
    ImageData<short> second(1, 1, 1);
    first.planes[0][0] = std::numeric_limits<short>::min();
    second.planes[0][0] = std::numeric_limits<short>::max();
    EXPECT_EQ(first.getMSE(&second), 65535.0 * 65535.0);
}

TEST(MeanSquaredErrorOfLong, formsDifferencesAndSquaresBeyond32Bits) {
    ImageData<long> first(1, 1, 1);
    ImageData<long> second(1, 1, 1);
    first.planes[0][0] = -(1L << 39);
    second.planes[0][0] = 1L << 39;
    EXPECT_EQ(first.getMSE(&second), std::ldexp(1.0, 80));
}

} // namespace teko

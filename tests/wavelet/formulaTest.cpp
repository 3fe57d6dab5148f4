// SPDX-License-Identifier: Apache-2.0
// The transform against its definition, also where 16-bit predict sums wrap: images that wrap nowhere cannot
// tell the widths apart.
#include "filter/filter.hpp"
#include "support/plainTransform.hpp"
#include "support/samples.hpp"
#include "wavelet/wavelet.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

struct Extent {
    int width;
    int height;
    int levels;
};

constexpr Extent extents[] = {{4, 4, 1},   {5, 30, 1},  {6, 6, 1},    {7, 7, 1},     {8, 8, 2},    {64, 8, 2},
                              {9, 11, 2},  {16, 17, 3}, {33, 31, 3},  {32, 70, 4},   {50, 47, 4},  {64, 64, 5},
                              {65, 67, 5}, {77, 66, 5}, {101, 77, 5}, {134, 131, 5}, {300, 70, 5}, {600, 601, 5}};

// Samples of up to `bound` of both signs, in two images alike.
template <typename T>
class WaveletFormula : public testing::Test {
protected:
    WaveletFormula() { wavelet.filter = &filter; }

    void expectDefinition(const Extent& extent, long bound) {
        ImageData<T> image(extent.width, extent.height, 2);
        ImageData<T> expected(extent.width, extent.height, 2);
        for (const bool forward : {true, false}) {
            fillWithNoise(image, random, -bound, bound);
            for (int c = 0; c < 2; ++c) {
                std::copy_n(image.planes[c], extent.width * extent.height, expected.planes[c]);
            }
            if (forward) {
                wavelet.transform(&image);
                plain::transform(expected, extent.levels);
            } else {
                wavelet.untransform(&image);
                plain::untransform(expected, extent.levels);
            }
            ASSERT_TRUE(samplesOf(image) == samplesOf(expected))
                << extent.width << " x " << extent.height << ", up to " << bound << (forward ? ", forward" : ", back");
        }
    }

    std::mt19937_64 random{31};
    Filter4_2<T> filter;
    Wavelet<T> wavelet;
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(WaveletFormula, SampleTypes);
using WaveletFormulaOfShort = WaveletFormula<short>;
using WaveletFormulaOfLong = WaveletFormula<long>;

} // namespace

TYPED_TEST(WaveletFormula, holdsForNaturalSamples) {
    for (const Extent& extent : extents) {
        this->expectDefinition(extent, 255);
    }
}

TEST_F(WaveletFormulaOfShort, holdsWhereSumsWrapNowAndThen) {
    for (const Extent& extent : extents) {
        for (const long bound : {1000, 1300, 1800, 2800, 4000, 6000}) {
            expectDefinition(extent, bound);
        }
    }
}

TEST_F(WaveletFormulaOfShort, holdsForAny16Bits) {
    for (const Extent& extent : extents) {
        expectDefinition(extent, 32767);
    }
}

TEST_F(WaveletFormulaOfLong, holdsForSamplesOf16BitImagesAndBeyond) {
    for (const Extent& extent : extents) {
        for (const long bound : {65535L, 1L << 20, 1L << 24, 1L << 32}) {
            expectDefinition(extent, bound);
        }
    }
}

} // namespace teko

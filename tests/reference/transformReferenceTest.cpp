// SPDX-License-Identifier: Apache-2.0
// The transform and the whole way from samples to bytes, against the reference.
#include "coding/bitStreamer.hpp"
#include "filter/filter.hpp"
#include "image/colourTransform.hpp"
#include "reference/coefficientImages.hpp"
#include "reference/imageAdapter.hpp"
#include "reference/streamDecoder.hpp"
#include "reference/streamEncoder.hpp"
#include "reference/transform.hpp"
#include "support/codedStreams.hpp"
#include "wavelet/wavelet.hpp"

#include <gtest/gtest.h>

namespace teko {
namespace {

using reference::below;
using reference::codedStream;
using reference::colourTransformed;
using reference::colourUntransformed;
using reference::Image;
using reference::Random;
using reference::samplesOf;
using reference::toBytes;
using reference::toWholeWordBytes;
using reference::transformed;
using reference::untransformed;

template <typename T>
Image transformedByCodec(const Image& image) {
    Filter4_2<T> filter;
    Wavelet<T> wavelet{&filter};
    const auto data = reference::toImageData<T>(image);
    wavelet.transform(data.get());
    return reference::fromImageData(*data);
}

template <typename T>
Image untransformedByCodec(const Image& image) {
    Filter4_2<T> filter;
    Wavelet<T> wavelet{&filter};
    const auto data = reference::toImageData<T>(image);
    wavelet.untransform(data.get());
    return reference::fromImageData(*data);
}

// Comparing whole images in one expectation would print them; the shape says enough.
template <typename T>
void expectSameTransform(const Image& image) {
    EXPECT_TRUE(transformedByCodec<T>(image) == transformed(image, samplesOf<T>))
        << "forward, " << image.width << " x " << image.height;
    EXPECT_TRUE(untransformedByCodec<T>(image) == untransformed(image, samplesOf<T>))
        << "inverse, " << image.width << " x " << image.height;
}

// Any bit pattern of so many bits, as a signed value.
Image signedNoise(int width, int height, int channels, int bits, Random& random) {
    Image image = reference::noiseImage(width, height, channels, bits, random);
    for (reference::Plane& plane : image.planes) {
        for (std::int64_t& value : plane) {
            value -= std::int64_t{1} << (bits - 1);
        }
    }
    return image;
}

// Extremes only: their predict sums leave 16 bits at nearly every position.
Image extremes(int width, int height, Random& random) {
    Image image(width, height, 1);
    for (std::int64_t& value : image.planes[0]) {
        value = below(random, 2) == 0 ? -32768 : 32767;
    }
    return image;
}

template <typename T>
class TransformOf : public testing::Test {};
using SampleTypes = testing::Types<short, std::int64_t>;
TYPED_TEST_SUITE(TransformOf, SampleTypes);

TYPED_TEST(TransformOf, smallImagesEqualTheReference) {
    Random random(11);
    for (int height = 0; height <= 24; ++height) {
        for (int width = 0; width <= 24; ++width) {
            expectSameTransform<TypeParam>(reference::noiseImage(width, height, 1 + (width + height) % 3, 8, random));
            expectSameTransform<TypeParam>(signedNoise(width, height, 1, 16, random));
        }
    }
}

TYPED_TEST(TransformOf, sizesAroundPowersOfTwoEqualTheReference) {
    Random random(12);
    for (const int width : {31, 32, 33, 63, 64, 65, 101}) {
        for (const int height : {3, 31, 32, 33, 63, 64, 65, 77}) {
            expectSameTransform<TypeParam>(reference::noiseImage(width, height, 1, 8, random));
            expectSameTransform<TypeParam>(signedNoise(width, height, 1, 16, random));
        }
    }
}

// Columns that are more than 512 samples long and more than 512 samples apart go another way.
TYPED_TEST(TransformOf, longColumnsFarApartEqualTheReference) {
    struct Size {
        int width, height;
    };
    Random random(13);
    for (const Size size : {Size{512, 530}, Size{513, 512}, Size{513, 513}, Size{520, 516}, Size{600, 600},
                            Size{529, 517}, Size{300, 1100}, Size{70, 4200}, Size{1100, 40}}) {
        expectSameTransform<TypeParam>(reference::noiseImage(size.width, size.height, 1, 8, random));
        expectSameTransform<TypeParam>(signedNoise(size.width, size.height, 1, 16, random));
        expectSameTransform<TypeParam>(extremes(size.width, size.height, random));
    }
}

TEST(Transform, ofWideLongSamplesEqualsTheReference) {
    Random random(14);
    for (const int bits : {17, 30, 32, 33, 47, 52}) {
        for (const int side : {4, 7, 33, 70}) {
            expectSameTransform<std::int64_t>(signedNoise(side, side + 3, 1, bits, random));
        }
    }
}

// Such coefficients come from streams alone. Blocked columns round their last sample by another rule.
TEST(Transform, ofCoefficientsUpToTheHighestPlaneEqualsTheReference) {
    Random random(20);
    for (const reference::Content content : {reference::Content::sparse, reference::Content::dense}) {
        for (const auto& [width, height] :
             {std::pair{4, 4}, {14, 2}, {2, 14}, {40, 38}, {41, 37}, {70, 64}, {520, 516}}) {
            expectSameTransform<std::int64_t>(reference::coefficientImage(content, width, height, 1, 61, random));
        }
    }
}

TEST(Transform, ofExtremeShortSamplesEqualsTheReference) {
    Random random(15);
    for (int repetition = 0; repetition < 40; ++repetition) {
        expectSameTransform<short>(extremes(4 + repetition, 50 - repetition, random));
    }
}

// Otherwise the equalities above would not test the width rules.
TEST(Transform, directAndBlockedColumnsDifferInShortSamplesThatWrap) {
    Random random(16);
    const Image image = extremes(520, 516, random);
    Image cutInTwo(260, 516, 1);
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < cutInTwo.width; ++x) {
            cutInTwo.planes[0][cutInTwo.index(x, y)] = image.planes[0][image.index(x, y)];
        }
    }
    const Image whole = transformedByCodec<short>(image);
    const Image part = transformedByCodec<short>(cutInTwo);
    // Far from the cut the rows give the same, and finest details are final after the first level.
    int differentAtTheEdge = 0;
    int differentInside = 0;
    for (int x = 0; x < 200; ++x) {
        differentAtTheEdge += whole.planes[0][whole.index(x, 1)] != part.planes[0][part.index(x, 1)] ? 1 : 0;
        differentInside += whole.planes[0][whole.index(x, 257)] != part.planes[0][part.index(x, 257)] ? 1 : 0;
    }
    EXPECT_GT(differentAtTheEdge, 0);
    EXPECT_EQ(differentInside, 0);
}

TEST(ColourTransform, equalsTheReference) {
    Random random(17);
    for (const int bits : {8, 16}) {
        const Image image =
            bits == 8 ? reference::noiseImage(90, 41, 3, 8, random) : signedNoise(90, 41, 3, 16, random);
        const auto data = reference::toImageData<short>(image);
        colourTransform(data.get());
        EXPECT_EQ(reference::fromImageData(*data), colourTransformed(image));
        const auto back = reference::toImageData<short>(image);
        colourUntransform(back.get());
        EXPECT_EQ(reference::fromImageData(*back), colourUntransformed(image));
    }
}

template <typename T>
void expectSameBytesAndRoundTrip(const Image& raw) {
    const bool colour = raw.planes.size() == 3;
    const Image decomposed = transformed(colour ? colourTransformed(raw) : raw, samplesOf<T>);
    const std::vector<std::uint8_t> bytes = toBytes(codedStream(decomposed));
    const auto data = reference::toImageData<T>(raw);
    if constexpr (sizeof(T) == 2) {
        colourTransform(data.get());
    }
    Filter4_2<T> filter;
    Wavelet<T> wavelet{&filter};
    wavelet.transform(data.get());
    EXPECT_EQ(encodedBytes(*data), bytes) << raw.width << " x " << raw.height;

    ImageData<T> decoded(raw.width, raw.height, static_cast<int>(raw.planes.size()));
    EXPECT_EQ(decodeFromMemory(decoded, toWholeWordBytes(codedStream(decomposed))), 0);
    wavelet.untransform(&decoded);
    if constexpr (sizeof(T) == 2) {
        colourUntransform(&decoded);
    }
    EXPECT_TRUE(reference::fromImageData(decoded) == raw) << raw.width << " x " << raw.height;
}

TEST(Pipeline, samplesToBytesEqualsTheReferenceAndComesBack) {
    Random random(18);
    for (const int width : {4, 5, 16, 37, 64, 130}) {
        for (const int height : {4, 7, 33, 100}) {
            expectSameBytesAndRoundTrip<short>(reference::noiseImage(width, height, 1, 8, random));
            expectSameBytesAndRoundTrip<short>(reference::noiseImage(width, height, 3, 8, random));
            expectSameBytesAndRoundTrip<short>(reference::sceneImage(width, height, 1, 8, random));
            expectSameBytesAndRoundTrip<short>(reference::sceneImage(width, height, 3, 8, random));
            expectSameBytesAndRoundTrip<std::int64_t>(reference::noiseImage(width, height, 1, 16, random));
            expectSameBytesAndRoundTrip<std::int64_t>(reference::sceneImage(width, height, 1, 12, random));
        }
    }
}

TEST(Pipeline, imagesWithBlockedColumnsGoTheWholeWay) {
    Random random(19);
    expectSameBytesAndRoundTrip<short>(reference::sceneImage(520, 516, 3, 8, random));
    expectSameBytesAndRoundTrip<std::int64_t>(reference::sceneImage(515, 523, 1, 16, random));
}

} // namespace
} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// Complete streams give back the coefficients, whatever they are and whichever reader they come through.
#include "reference/coefficientImages.hpp"
#include "reference/imageAdapter.hpp"
#include "reference/streamEncoder.hpp"
#include "support/codedStreams.hpp"

#include <gtest/gtest.h>

namespace teko {
namespace {

using reference::allContents;
using reference::below;
using reference::codedStream;
using reference::coefficientImage;
using reference::Content;
using reference::Image;
using reference::Random;
using reference::topPlaneOfImage;
using reference::toWholeWordBytes;

template <typename T>
constexpr int highestPlaneOf = sizeof(T) == 2 ? 13 : 61;

template <typename T>
ImageData<T> unsetImage(const Image& shape) {
    return ImageData<T>(shape.width, shape.height, static_cast<int>(shape.planes.size()));
}

template <typename T>
void expectExactDecoding(const Image& image, const Bytes& payload) {
    auto fromMemory = unsetImage<T>(image);
    EXPECT_EQ(decodeFromMemory(fromMemory, payload), 0) << image.width << " x " << image.height;
    EXPECT_TRUE(reference::fromImageData(fromMemory) == image) << image.width << " x " << image.height;
    auto fromFile = unsetImage<T>(image);
    EXPECT_EQ(decodeFromFile(fromFile, payload), 0) << image.width << " x " << image.height;
    EXPECT_TRUE(reference::fromImageData(fromFile) == image) << image.width << " x " << image.height;
}

template <typename T>
void expectExactDecoding(const Image& image) {
    expectExactDecoding<T>(image, toWholeWordBytes(codedStream(image)));
}

template <typename T>
class CompleteStreamOf : public testing::Test {};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(CompleteStreamOf, SampleTypes);

TYPED_TEST(CompleteStreamOf, everySmallSizeIsExact) {
    Random random(51);
    std::size_t turn = 0;
    for (int height = 2; height <= 40; ++height) {
        for (int width = 2; width <= 40; width += 1 + height % 2) {
            const Content content = allContents[turn++ % allContents.size()];
            const int plane =
                static_cast<int>(below(random, below(random, 4) == 0 ? highestPlaneOf<TypeParam> + 1 : 9));
            const int channels = 1 + static_cast<int>(below(random, 3));
            expectExactDecoding<TypeParam>(coefficientImage(content, width, height, channels, plane, random));
        }
    }
}

TYPED_TEST(CompleteStreamOf, everyTopPlaneIsExact) {
    Random random(52);
    for (int plane = 0; plane <= highestPlaneOf<TypeParam>; ++plane) {
        for (const Content content : allContents) {
            expectExactDecoding<TypeParam>(coefficientImage(content, 9, 11, 1, plane, random));
        }
    }
}

TYPED_TEST(CompleteStreamOf, largerAndOddSizesAreExact) {
    struct Size {
        int width, height;
    };
    Random random(53);
    for (const Size size : {Size{2, 300}, Size{3, 200}, Size{200, 3}, Size{64, 8}, Size{63, 65}, Size{64, 64},
                            Size{101, 77}, Size{257, 129}}) {
        for (const Content content : {Content::sparse, Content::dense, Content::geometric}) {
            expectExactDecoding<TypeParam>(coefficientImage(content, size.width, size.height, 2, 11, random));
        }
    }
}

TYPED_TEST(CompleteStreamOf, filesLargerThanTheReadersBufferAreExact) {
    Random random(54);
    const Image image = coefficientImage(Content::dense, 600, 600, 1, 13, random);
    const Bytes payload = toWholeWordBytes(codedStream(image));
    ASSERT_GT(payload.size(), 4U * BitStreamer::fileBufferWords);
    expectExactDecoding<TypeParam>(image, payload);
}

TYPED_TEST(CompleteStreamOf, whatTheEncoderWroteIsExact) {
    Random random(55);
    for (const Content content : allContents) {
        const Image image = coefficientImage(content, 37, 22, 3, 12, random);
        const auto data = reference::toImageData<TypeParam>(image);
        expectExactDecoding<TypeParam>(image, encodedFile(*data));
    }
}

TYPED_TEST(CompleteStreamOf, bytesAfterTheStreamDoNotMatter) {
    Random random(56);
    const Image image = coefficientImage(Content::geometric, 20, 20, 1, 8, random);
    for (std::size_t extra = 1; extra < 40; ++extra) {
        Bytes payload = toWholeWordBytes(codedStream(image));
        payload.insert(payload.end(), extra, 0xA5);
        expectExactDecoding<TypeParam>(image, payload);
    }
}

// Planes above the image's own, even above those that a sample can hold, say nothing as long as no event is in
// them.
TYPED_TEST(CompleteStreamOf, emptyPlanesAboveTheImageAreExact) {
    Random random(57);
    const Image image = coefficientImage(Content::geometric, 9, 10, 2, highestPlaneOf<TypeParam>, random);
    for (int topPlane = topPlaneOfImage(image); topPlane <= 254; ++topPlane) {
        expectExactDecoding<TypeParam>(image, toWholeWordBytes(codedStream(image, topPlane)));
    }
}

} // namespace
} // namespace teko

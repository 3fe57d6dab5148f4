// SPDX-License-Identifier: Apache-2.0
// The coded stream, byte for byte, for coefficient images of all shapes and characters.
#include "reference/coefficientImages.hpp"
#include "reference/imageAdapter.hpp"
#include "reference/streamEncoder.hpp"
#include "support/codedStreams.hpp"

#include <gtest/gtest.h>

namespace teko {
namespace {

using reference::allContents;
using reference::below;
using reference::Bits;
using reference::codedStream;
using reference::coefficientImage;
using reference::Content;
using reference::Image;
using reference::Random;
using reference::toBytes;
using reference::toWholeWordBytes;

template <typename T>
constexpr int highestPlaneOf = sizeof(T) == 2 ? 13 : 61;

template <typename T>
void expectTheReferencesStream(const Image& image) {
    const Bits expected = codedStream(image);
    const auto data = reference::toImageData<T>(image);
    MemoryTarget target(ampleRoom(*data));
    Wavelet<T>().writeWavelet(data.get(), target.stream);
    EXPECT_EQ(target.stream.bitCount(), static_cast<std::int64_t>(expected.size()))
        << image.width << " x " << image.height << " x " << image.planes.size();
    EXPECT_EQ(target.written(), toBytes(expected))
        << image.width << " x " << image.height << " x " << image.planes.size();
}

// Small planes are likelier: they are what images have.
int anyPlane(int highest, Random& random) {
    return below(random, 3) == 0 ? static_cast<int>(below(random, static_cast<std::uint64_t>(highest) + 1))
                                 : static_cast<int>(below(random, 10));
}

template <typename T>
class EncodedStreamOf : public testing::Test {};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(EncodedStreamOf, SampleTypes);

TYPED_TEST(EncodedStreamOf, everySmallSizeEqualsTheReference) {
    Random random(21);
    std::size_t turn = 0;
    for (int height = 2; height <= 40; ++height) {
        for (int width = 2; width <= 40; ++width) {
            const Content content = allContents[turn++ % allContents.size()];
            const int channels = 1 + static_cast<int>(below(random, 3));
            const int plane = anyPlane(highestPlaneOf<TypeParam>, random);
            expectTheReferencesStream<TypeParam>(coefficientImage(content, width, height, channels, plane, random));
        }
    }
}

TYPED_TEST(EncodedStreamOf, everyTopPlaneAndCharacterEqualsTheReference) {
    Random random(22);
    for (int plane = 0; plane <= highestPlaneOf<TypeParam>; ++plane) {
        for (const Content content : allContents) {
            expectTheReferencesStream<TypeParam>(coefficientImage(content, 13, 9, 1 + plane % 3, plane, random));
        }
    }
}

TYPED_TEST(EncodedStreamOf, largerAndOddSizesEqualTheReference) {
    struct Size {
        int width, height;
    };
    Random random(23);
    for (const Size size : {Size{2, 100}, Size{3, 200}, Size{200, 3}, Size{4, 129}, Size{64, 8}, Size{63, 64},
                            Size{64, 64}, Size{65, 63}, Size{101, 77}, Size{127, 65}, Size{257, 129}}) {
        for (const Content content : allContents) {
            const int plane = anyPlane(12, random);
            expectTheReferencesStream<TypeParam>(
                coefficientImage(content, size.width, size.height, 1 + size.width % 3, plane, random));
        }
    }
}

TYPED_TEST(EncodedStreamOf, filesHoldWholeWordsAcrossTurnsOfTheBuffer) {
    Random random(24);
    for (const int side : {5, 33, 600}) {
        const Image image = coefficientImage(Content::dense, side, side, 1, 13, random);
        const auto data = reference::toImageData<TypeParam>(image);
        const Bytes file = encodedFile(*data);
        EXPECT_TRUE(file == toWholeWordBytes(codedStream(image))) << side;
        EXPECT_EQ(file.size() > 4 * BitStreamer::fileBufferWords, side == 600);
    }
}

TYPED_TEST(EncodedStreamOf, streamsFollowWhatTheWriterHoldsAlready) {
    Random random(25);
    const Image image = coefficientImage(Content::geometric, 19, 11, 2, 8, random);
    for (int offset = 0; offset < 70; ++offset) {
        Bits expected(static_cast<std::size_t>(offset), true);
        const Bits stream = codedStream(image);
        expected.insert(expected.end(), stream.begin(), stream.end());
        const auto data = reference::toImageData<TypeParam>(image);
        MemoryTarget target(ampleRoom(*data));
        for (int i = 0; i < offset; ++i) {
            target.stream.putBit(1);
        }
        Wavelet<TypeParam>().writeWavelet(data.get(), target.stream);
        EXPECT_EQ(target.written(), toBytes(expected)) << offset;
    }
}

} // namespace
} // namespace teko

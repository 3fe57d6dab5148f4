// SPDX-License-Identifier: Apache-2.0
// Every prefix of a stream decodes: to what its whole words say, with everything else in the middle of what they
// leave open.
#include "reference/coefficientImages.hpp"
#include "reference/imageAdapter.hpp"
#include "reference/streamDecoder.hpp"
#include "reference/streamEncoder.hpp"
#include "support/codedStreams.hpp"

#include <gtest/gtest.h>

namespace teko {
namespace {

using reference::allContents;
using reference::codedStream;
using reference::coefficientImage;
using reference::Content;
using reference::decodeStream;
using reference::Image;
using reference::Random;
using reference::samplesOf;
using reference::toBytes;
using reference::toWholeWordBytes;

template <typename T>
void expectTheReferencesReading(const Bytes& payload, const Image& shape) {
    const int channels = static_cast<int>(shape.planes.size());
    const auto expected = decodeStream(payload, shape.width, shape.height, channels, samplesOf<T>);
    ImageData<T> fromMemory(shape.width, shape.height, channels);
    ImageData<T> fromFile(shape.width, shape.height, channels);
    if (!expected) {
        EXPECT_EQ(thrownBy([&] { decodeFromMemory(fromMemory, payload); }), 3) << payload.size();
        EXPECT_EQ(thrownBy([&] { decodeFromFile(fromFile, payload); }), 3) << payload.size();
        return;
    }
    EXPECT_EQ(decodeFromMemory(fromMemory, payload), expected->complete ? 0 : 1) << payload.size();
    EXPECT_EQ(decodeFromFile(fromFile, payload), expected->complete ? 0 : 1) << payload.size();
    EXPECT_TRUE(reference::fromImageData(fromMemory) == expected->coefficients) << payload.size() << " bytes";
    EXPECT_TRUE(reference::fromImageData(fromFile) == expected->coefficients) << payload.size() << " bytes";
}

template <typename T>
void expectTheReferencesReadingOfEveryPrefix(const Image& image) {
    const Bytes stream = toWholeWordBytes(codedStream(image));
    for (std::size_t length = 0; length <= stream.size(); ++length) {
        expectTheReferencesReading<T>(prefix(stream, length), image);
    }
}

template <typename T>
class PrefixOf : public testing::Test {};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(PrefixOf, SampleTypes);

TYPED_TEST(PrefixOf, smallStreamsDecodeAtEveryByte) {
    struct Extent {
        int width, height, channels;
    };
    Random random(61);
    for (const Extent extent : {Extent{2, 2, 1}, Extent{3, 2, 3}, Extent{4, 4, 2}, Extent{8, 5, 1}, Extent{13, 16, 1},
                                Extent{16, 17, 2}, Extent{33, 32, 1}}) {
        for (const Content content : allContents) {
            expectTheReferencesReadingOfEveryPrefix<TypeParam>(
                coefficientImage(content, extent.width, extent.height, extent.channels, 7, random));
        }
    }
}

TYPED_TEST(PrefixOf, streamsWithManyPlanesDecodeAtEveryByte) {
    Random random(62);
    for (const int plane : {10, 13, sizeof(TypeParam) == 2 ? 12 : 40, sizeof(TypeParam) == 2 ? 11 : 61}) {
        for (const Content content : {Content::dense, Content::geometric, Content::greatest}) {
            expectTheReferencesReadingOfEveryPrefix<TypeParam>(coefficientImage(content, 9, 9, 1, plane, random));
        }
    }
}

TYPED_TEST(PrefixOf, largerStreamsDecodeAtManyBytes) {
    Random random(63);
    const Image image = coefficientImage(Content::geometric, 130, 67, 3, 11, random);
    const Bytes stream = toWholeWordBytes(codedStream(image));
    for (std::size_t length = 0; length < stream.size() + 997; length += 997) {
        expectTheReferencesReading<TypeParam>(prefix(stream, length), image);
    }
}

// A prefix that ends with the last coded bit has lost it, unless that bit completes a word.
TYPED_TEST(PrefixOf, streamsToTheByteOfTheirLastBitLoseThePartialWord) {
    Random random(64);
    int complete = 0;
    for (int side = 4; side < 44; ++side) {
        const Image image = coefficientImage(Content::dense, side, 5, 1, 5, random);
        const Bytes stream = toBytes(codedStream(image));
        expectTheReferencesReading<TypeParam>(stream, image);
        ImageData<TypeParam> decoded(side, 5, 1);
        const int result = decodeFromMemory(decoded, stream);
        EXPECT_EQ(result, stream.size() % 4 == 0 ? 0 : 1) << side;
        complete += result == 0 ? 1 : 0;
    }
    EXPECT_GT(complete, 0);
}

TYPED_TEST(PrefixOf, whatAFullWriterHoldsDecodesAsThatPrefix) {
    Random random(65);
    const Image image = coefficientImage(Content::geometric, 24, 18, 1, 9, random);
    const Bytes stream = toWholeWordBytes(codedStream(image));
    for (std::size_t budget = 4; budget < stream.size(); ++budget) {
        const auto data = reference::toImageData<TypeParam>(image);
        MemoryTarget target(budget);
        EXPECT_EQ(thrownBy([&] { Wavelet<TypeParam>().writeWavelet(data.get(), target.stream); }), 3);
        ImageData<TypeParam> decoded(24, 18, 1);
        EXPECT_EQ(decodeFromMemory(decoded, target.content(budget)), 1);
        const auto expected = decodeStream(prefix(stream, budget), 24, 18, 1, samplesOf<TypeParam>);
        ASSERT_TRUE(expected.has_value());
        EXPECT_TRUE(reference::fromImageData(decoded) == expected->coefficients) << budget;
    }
}

} // namespace
} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// Streams that no encoder wrote: they decode to what their bits say, through both readers.
#include "reference/coefficientImages.hpp"
#include "reference/imageAdapter.hpp"
#include "reference/streamDecoder.hpp"
#include "reference/streamEncoder.hpp"
#include "support/codedStreams.hpp"

#include <gtest/gtest.h>

namespace teko {
namespace {

using reference::below;
using reference::codedStream;
using reference::coefficientImage;
using reference::Content;
using reference::decodeStream;
using reference::Image;
using reference::Random;
using reference::samplesOf;
using reference::toWholeWordBytes;

template <typename T>
void expectTheReferencesReading(const Bytes& payload, int width, int height, int channels) {
    const auto expected = decodeStream(payload, width, height, channels, samplesOf<T>);
    ASSERT_TRUE(expected.has_value());
    ImageData<T> fromMemory(width, height, channels);
    EXPECT_EQ(decodeFromMemory(fromMemory, payload), expected->complete ? 0 : 1);
    EXPECT_TRUE(reference::fromImageData(fromMemory) == expected->coefficients)
        << "top plane " << int{payload[0]} << ", " << payload.size() << " bytes, " << width << " x " << height;
    ImageData<T> fromFile(width, height, channels);
    EXPECT_EQ(decodeFromFile(fromFile, payload), expected->complete ? 0 : 1);
    EXPECT_TRUE(reference::fromImageData(fromFile) == expected->coefficients);
    ImageData<T> folded(width, height, channels);
    EXPECT_EQ(decodeFromMemory(folded, payload, Wavelet<T>{nullptr, 0, 1}), expected->complete ? 0 : 1);
    EXPECT_TRUE(reference::fromImageData(folded) == expected->folded);
}

// Long runs of zeros, of ones, or neither.
Bytes garbage(std::size_t length, Random& random) {
    Bytes bytes(length);
    const std::uint64_t kind = below(random, 3);
    for (std::uint8_t& byte : bytes) {
        const auto first = static_cast<std::uint8_t>(below(random, 256));
        const auto second = static_cast<std::uint8_t>(below(random, 256));
        byte = kind == 0 ? first : static_cast<std::uint8_t>(kind == 1 ? first & second : first | second);
    }
    return bytes;
}

template <typename T>
class DamagedStreamOf : public testing::Test {};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(DamagedStreamOf, SampleTypes);

TYPED_TEST(DamagedStreamOf, garbageDecodesAsItsBitsSay) {
    Random random(81);
    for (int repetition = 0; repetition < 3000; ++repetition) {
        const Bytes payload = garbage(4 + below(random, 300), random);
        const int width = static_cast<int>(below(random, 24));
        const int height = static_cast<int>(below(random, 24));
        expectTheReferencesReading<TypeParam>(payload, width, height, 1 + static_cast<int>(below(random, 3)));
    }
}

TYPED_TEST(DamagedStreamOf, everyTopPlaneDecodesAsItsBitsSay) {
    Random random(82);
    for (int topPlane = 0; topPlane < 256; ++topPlane) {
        for (const int side : {2, 3, 8, 18}) {
            Bytes payload = garbage(40 + below(random, 400), random);
            payload[0] = static_cast<std::uint8_t>(topPlane);
            expectTheReferencesReading<TypeParam>(payload, side, side + 1, 1);
        }
    }
}

TYPED_TEST(DamagedStreamOf, aWrongTopPlaneBeforeARealStreamDecodesAsItsBitsSay) {
    Random random(83);
    for (const Content content : {Content::sparse, Content::dense, Content::geometric}) {
        Bytes payload = toWholeWordBytes(codedStream(coefficientImage(content, 17, 16, 2, 9, random)));
        for (int topPlane = 0; topPlane < 256; ++topPlane) {
            payload[0] = static_cast<std::uint8_t>(topPlane);
            expectTheReferencesReading<TypeParam>(payload, 17, 16, 2);
        }
    }
}

TYPED_TEST(DamagedStreamOf, flippedBitsDecodeAsTheyStand) {
    Random random(84);
    const Image image = coefficientImage(Content::geometric, 20, 21, 1, 9, random);
    const Bytes stream = toWholeWordBytes(codedStream(image));
    for (std::size_t bit = 0; bit < 8 * stream.size(); bit += 1 + bit / 64) {
        Bytes payload = stream;
        payload[bit / 8] = static_cast<std::uint8_t>(payload[bit / 8] ^ 1U << (bit % 8));
        expectTheReferencesReading<TypeParam>(payload, 20, 21, 1);
    }
}

TYPED_TEST(DamagedStreamOf, aStreamOfAnotherShapeDecodesAsItsBitsSay) {
    Random random(85);
    const Bytes payload = toWholeWordBytes(codedStream(coefficientImage(Content::geometric, 20, 21, 1, 9, random)));
    for (const int width : {2, 3, 19, 21, 40, 64}) {
        for (const int height : {2, 20, 22, 65}) {
            expectTheReferencesReading<TypeParam>(payload, width, height, 1);
            expectTheReferencesReading<TypeParam>(payload, width, height, 3);
        }
    }
}

// Events in planes that a sample cannot hold: nothing becomes significant, so that later planes still count.
TYPED_TEST(DamagedStreamOf, eventsBeyondTheSamplesWidthAreForgottenByTheNextEvent) {
    constexpr int first = 8 * static_cast<int>(sizeof(TypeParam)) - 2;
    for (int topPlane = first; topPlane <= 254; ++topPlane) {
        reference::Bits bits;
        reference::put(bits, static_cast<std::uint64_t>(topPlane), 8);
        for (int plane = topPlane; plane >= first; --plane) {
            reference::put(bits, 0, 5);
            reference::put(bits, 0b11011101U, 8); // four events: -, +, -, - (each a one and its sign)
        }
        for (int plane = first - 1; plane > 0; --plane) {
            reference::put(bits, 24, 5);
            bits.push_back(false);
        }
        reference::put(bits, 0, 5);
        reference::put(bits, 0b11010111U, 8); // -, +, +, -
        ImageData<TypeParam> decoded(2, 2, 1);
        EXPECT_EQ(decodeFromMemory(decoded, toWholeWordBytes(bits)), 0) << topPlane;
        EXPECT_EQ(reference::fromImageData(decoded).planes[0], (reference::Plane{-1, 1, 1, -1})) << topPlane;
    }
}

// From two planes above the width on, nothing is left of an event but its sign, and zero has none.
TYPED_TEST(DamagedStreamOf, eventsFarBeyondTheSamplesWidthLeaveZeros) {
    constexpr int bitsOfSample = 8 * static_cast<int>(sizeof(TypeParam));
    for (int topPlane = bitsOfSample; topPlane <= 254; ++topPlane) {
        reference::Bits bits;
        reference::put(bits, static_cast<std::uint64_t>(topPlane), 8);
        reference::put(bits, 0, 5);
        reference::put(bits, 0b11011101U, 8);
        for (int plane = topPlane - 1; plane >= 0; --plane) {
            reference::put(bits, 24, 5);
            bits.push_back(false);
        }
        ImageData<TypeParam> decoded(2, 2, 1);
        EXPECT_EQ(decodeFromMemory(decoded, toWholeWordBytes(bits)), 0) << topPlane;
        EXPECT_EQ(reference::fromImageData(decoded), Image(2, 2, 1)) << topPlane;
    }
}

} // namespace
} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// The decoder's rules on streams that are short enough to write them down.
#include "reference/coefficientImages.hpp"
#include "reference/imageAdapter.hpp"
#include "reference/streamDecoder.hpp"
#include "reference/streamEncoder.hpp"
#include "support/codedStreams.hpp"

#include <gtest/gtest.h>

#include <string>

namespace teko {
namespace {

using reference::codedStream;
using reference::coefficientImage;
using reference::Content;
using reference::decodeStream;
using reference::Image;
using reference::Plane;
using reference::Random;
using reference::toBytes;
using reference::toWholeWordBytes;

// A stream from its bits as text; spaces only separate. No padding: the bits make whole words or lose the rest.
Bytes payloadOf(const std::string& text) {
    reference::Bits bits;
    for (const char letter : text) {
        if (letter != ' ') {
            bits.push_back(letter == '1');
        }
    }
    return toBytes(bits);
}

// The value in n bits, the lowest first.
std::string number(std::uint64_t value, int n) {
    std::string text;
    for (int i = 0; i < n; ++i) {
        text += (value >> i & 1) != 0 ? '1' : '0';
    }
    return text;
}

// Zeros that fill up the last word and a word more.
const std::string padding(63, '0');

struct Reading {
    int result;
    Plane plane;
};

template <typename T>
Reading readingOf(const Bytes& payload, int width, int height, Wavelet<T> wavelet = {}) {
    ImageData<T> image(width, height, 1);
    const int result = decodeFromMemory(image, payload, wavelet);
    return {result, reference::fromImageData(image).planes[0]};
}

template <typename T>
class DecoderOf : public testing::Test {};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(DecoderOf, SampleTypes);

TYPED_TEST(DecoderOf, throwsThreeWithoutAWordAndLeavesThePlanes) {
    for (std::size_t length = 0; length < 4; ++length) {
        Image before(3, 3, 2);
        before.planes[0] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
        const auto memory = reference::toImageData<TypeParam>(before);
        const auto file = reference::toImageData<TypeParam>(before);
        const Bytes payload(length, 0);
        EXPECT_EQ(thrownBy([&] { decodeFromMemory(*memory, payload); }), 3);
        EXPECT_EQ(thrownBy([&] { decodeFromFile(*file, payload); }), 3);
        EXPECT_EQ(reference::fromImageData(*memory), before);
        EXPECT_EQ(reference::fromImageData(*file), before);
    }
}

TYPED_TEST(DecoderOf, throwsFiveWhenItIsGivenAWriterAndLeavesThePlanes) {
    const Image before = [] {
        Image image(2, 2, 1);
        image.planes[0] = {1, -2, 3, -4};
        return image;
    }();
    const auto image = reference::toImageData<TypeParam>(before);
    MemoryTarget target(0);
    EXPECT_EQ(thrownBy([&] { Wavelet<TypeParam>().readWavelet(image.get(), target.stream); }), 5);
    EXPECT_EQ(reference::fromImageData(*image), before);
}

// Whatever integer the reader throws after the first 8 bits, the stream just ended early.
TYPED_TEST(DecoderOf, endsEarlyWhenTheStreamTurnsOutToBeNoReader) {
    std::uint32_t word = 3;
    BitStreamer stream;
    stream.setUpMemoryReader(&word, sizeof(word));
    stream.mode = 'w';
    ImageData<TypeParam> image(20, 20, 1);
    EXPECT_EQ(Wavelet<TypeParam>().readWavelet(&image, stream), 1);
}

TYPED_TEST(DecoderOf, clearsEveryPlaneWhenTheStreamHoldsOnlyATopPlane) {
    Random random(71);
    const Image before = coefficientImage(Content::dense, 70, 66, 3, 9, random);
    const auto image = reference::toImageData<TypeParam>(before);
    // Priority 10 is the approximation's plane 5 with 6 positions per channel: k in 5 bits, then 19 more bits,
    // each a zero that stands for 2^24 candidates at once, or belongs to a parameter.
    EXPECT_EQ(decodeFromMemory(*image, payloadOf(number(5, 8) + number(24, 5) + "0" + number(24, 5) + "0" +
                                                 number(24, 5) + "0" + "000000")),
              1);
    EXPECT_EQ(reference::fromImageData(*image), Image(70, 66, 3));
}

TYPED_TEST(DecoderOf, topPlane255IsNoPlaneAndComplete) {
    for (const int side : {0, 1, 2, 3, 40, 64}) {
        const Reading reading = readingOf<TypeParam>(payloadOf(number(255, 8) + std::string(24, '1')), side, side);
        EXPECT_EQ(reading.result, 0) << side;
        EXPECT_EQ(reading.plane, Image(side, side, 1).planes[0]) << side;
    }
}

TYPED_TEST(DecoderOf, imagesWithoutClassesAreZeroAndComplete) {
    struct Size {
        int width, height;
    };
    for (const Size size : {Size{0, 0}, Size{0, 5}, Size{5, 0}, Size{1, 1}, Size{1, 9}, Size{9, 1}}) {
        const Reading reading = readingOf<TypeParam>(Bytes(4, 0x7F), size.width, size.height);
        EXPECT_EQ(reading.result, 0) << size.width << " x " << size.height;
        EXPECT_EQ(reading.plane, Image(size.width, size.height, 1).planes[0]);
    }
}

TYPED_TEST(DecoderOf, placesValuesInTheMiddleOfWhatIsKnown) {
    // Plane 6: four events. Plane 5: four refinement bits, no candidate. Plane 4: two bits before the word ends.
    const std::string word = number(6, 8) + "00000 10 11 10 11" + "0110" + "00011" + "10";
    const Reading reading = readingOf<TypeParam>(payloadOf(word), 2, 2);
    EXPECT_EQ(reading.result, 1);
    EXPECT_EQ(reading.plane, (Plane{64 + 16 + 8, -(64 + 32 + 8), 64 + 32 + 16, -(64 + 16)}));
}

TYPED_TEST(DecoderOf, placesNewEventsAtOneAndAHalfTimesTheirPlane) {
    for (int plane = 0; plane <= 13; ++plane) {
        // k = 7: an event after one pass, a negative one after none, a zero for the rest; the word ends there.
        const std::string word = number(static_cast<std::uint64_t>(plane), 8) + number(7, 5) + "1" + number(1, 7) +
                                 "0" + "1" + number(0, 7) + "1" + "0";
        ASSERT_EQ(word.size(), 32U);
        const std::int64_t value = plane == 0 ? 1 : (std::int64_t{1} << plane) + (std::int64_t{1} << (plane - 1));
        const Reading reading = readingOf<TypeParam>(payloadOf(word), 2, 2);
        EXPECT_EQ(reading.result, plane == 0 ? 0 : 1);
        EXPECT_EQ(reading.plane, (Plane{0, value, -value, 0})) << plane;
    }
}

TYPED_TEST(DecoderOf, anEventWhoseSignIsMissingIsLost) {
    const std::string word = number(0, 8) + number(18, 5) + "1" + number(3, 18); // 32 bits; the sign would follow
    const Reading cut = readingOf<TypeParam>(payloadOf(word), 5, 2);
    EXPECT_EQ(cut.result, 1);
    EXPECT_EQ(cut.plane, Plane(10, 0));
    const Reading whole = readingOf<TypeParam>(payloadOf(word + "1" + "0" + padding), 5, 2);
    EXPECT_EQ(whole.result, 0);
    EXPECT_EQ(whole.plane, (Plane{0, 0, 0, -1, 0, 0, 0, 0, 0, 0}));
}

TYPED_TEST(DecoderOf, anEventBeyondTheLastCandidateHasNoSign) {
    // Plane 1: an event that would be candidate 4 of 4 (from 0). Plane 0 starts right after it: candidate 2.
    const std::string bits =
        number(1, 8) + number(3, 5) + "1" + number(4, 3) + number(2, 5) + "1" + number(2, 2) + "1" + "0" + padding;
    const Reading reading = readingOf<TypeParam>(payloadOf(bits), 2, 2);
    EXPECT_EQ(reading.result, 0);
    EXPECT_EQ(reading.plane, (Plane{0, 0, -1, 0}));
}

TYPED_TEST(DecoderOf, everyParameterUpTo31MeansItsPowerOfTwo) {
    for (int k = 0; k <= 31; ++k) {
        const std::string start = number(0, 8) + number(static_cast<std::uint64_t>(k), 5);
        // A zero, then whatever the unit leaves of the 40 candidates: an event after no pass.
        const std::size_t unit = std::size_t{1} << k;
        Plane expected(40, 0);
        if (unit < 40) {
            expected[unit] = 1;
        }
        const Reading afterUnit =
            readingOf<TypeParam>(payloadOf(start + "0" + "1" + number(0, k) + "0" + padding), 20, 2);
        EXPECT_EQ(afterUnit.result, 0) << k;
        EXPECT_EQ(afterUnit.plane, expected) << k;
        // An event after the longest run that has no zero.
        Plane last(40, 0);
        if (unit - 1 < 40) {
            last[unit - 1] = -1;
        }
        const Reading afterRun =
            readingOf<TypeParam>(payloadOf(start + "1" + number(unit - 1, k) + "1" + padding), 20, 2);
        EXPECT_EQ(afterRun.result, 0) << k;
        EXPECT_EQ(afterRun.plane, last) << k;
    }
}

TYPED_TEST(DecoderOf, segmentsWithoutCandidatesTakeTheirParameter) {
    // Plane 1: four events. Plane 0: refinement bits 1, 0, 0, 1 and a parameter of any value.
    for (std::uint64_t k = 0; k < 32; ++k) {
        const std::string bits = number(1, 8) + "00000 10 11 10 11" + "1001" + number(k, 5);
        const Reading whole = readingOf<TypeParam>(payloadOf(bits), 2, 2);
        EXPECT_EQ(whole.result, 0) << k;
        EXPECT_EQ(whole.plane, (Plane{3, -2, 2, -3})) << k;
        // With longer events the word ends inside the parameter: all values are there, but not the end.
        const std::string later = number(1, 8) + "10000 100 101 100 101" + "1001" + number(k, 5);
        const Reading cut = readingOf<TypeParam>(payloadOf(later), 2, 2);
        EXPECT_EQ(cut.result, 1) << k;
        EXPECT_EQ(cut.plane, (Plane{3, -2, 2, -3})) << k;
    }
}

TYPED_TEST(DecoderOf, stopsAfterTheFirstRowWhenTold) {
    Random random(72);
    for (const int side : {2, 9, 64}) {
        const Image image = coefficientImage(Content::dense, side, side, 2, 5, random);
        const Bytes payload = toWholeWordBytes(codedStream(image));
        ImageData<TypeParam> fromMemory(side, side, 2);
        EXPECT_EQ(decodeFromMemory(fromMemory, payload, Wavelet<TypeParam>{nullptr, 1, 0}), 1);
        EXPECT_EQ(reference::fromImageData(fromMemory), Image(side, side, 2));
        ImageData<TypeParam> fromFile(side, side, 2);
        EXPECT_EQ(decodeFromFile(fromFile, payload, Wavelet<TypeParam>{nullptr, -7, 1}), 1);
        EXPECT_EQ(reference::fromImageData(fromFile), Image(side, side, 2));
    }
    const Wavelet<TypeParam> told{nullptr, 1, 0};
    EXPECT_EQ(readingOf<TypeParam>(payloadOf(number(255, 8) + std::string(24, '0')), 8, 8, told).result, 0);
    EXPECT_EQ(readingOf<TypeParam>(Bytes(4, 0), 0, 8, told).result, 0);
}

TYPED_TEST(DecoderOf, leavesFoldedValuesWhenTheTransformIsSkipped) {
    Random random(73);
    const Image image = coefficientImage(Content::geometric, 19, 14, 2, 9, random);
    const Bytes stream = toWholeWordBytes(codedStream(image));
    for (std::size_t length = 4; length <= stream.size(); length += 4) {
        const Bytes payload = prefix(stream, length);
        const auto expected = decodeStream(payload, 19, 14, 2, reference::samplesOf<TypeParam>);
        ASSERT_TRUE(expected.has_value());
        ImageData<TypeParam> decoded(19, 14, 2);
        EXPECT_EQ(decodeFromMemory(decoded, payload, Wavelet<TypeParam>{nullptr, 0, 1}), expected->complete ? 0 : 1);
        EXPECT_TRUE(reference::fromImageData(decoded) == expected->folded) << length;
    }
}

} // namespace
} // namespace teko

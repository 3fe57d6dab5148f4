// SPDX-License-Identifier: Apache-2.0
// Complete streams: every target reads what the plain one reads, and stops where it stops.
#include "support/coefficients.hpp"
#include "targets/reading.hpp"
#include "targets/writing.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

constexpr Layout layouts[] = {{}, {}, {0, 1}, {}, {3, 0}, {2, 3}};

template <typename T>
class TargetDecoder : public testing::Test {
protected:
    using Image = LaidOutImage<T>;

    // Behind the stream follows something else.
    static Bytes followed(const Bytes& stream) {
        return stream + Bytes{0x35, 0xF1, 0x0A, 0xC7, 0x99, 0x12, 0xE4, 0x5B};
    }

    // Reads the stream of an image of coefficients back into one of the same layout.
    void check(const Image& image, const Source& source = fromMemory) {
        const Bits before = randomBits(random, static_cast<std::size_t>(source.bitsBefore));
        const Decoded<T> decoded = expectPlainReading(image, followed(plainStream(image, before)), source);
        ASSERT_EQ(decoded.result, 0);
        ASSERT_TRUE(sameMemory(decoded.image, image));
    }

    std::mt19937_64 random{8};
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetDecoder, SampleTypes);

} // namespace

TYPED_TEST(TargetDecoder, ReadsEveryPlaneAndContent) {
    for (int plane = 0; plane <= highestSlicedPlane<TypeParam>; ++plane) {
        for (const Content content : reference::allContents) {
            const Shape2d shape{70, 41, 1 + plane % 3};
            this->check(coefficients<TypeParam>(content, shape, plane, this->random, layouts[plane % 6]));
        }
    }
}

TYPED_TEST(TargetDecoder, ReadsEverySize) {
    for (int width = 2; width <= 36; ++width) {
        for (int height = 2; height <= 36; ++height) {
            const Layout layout = layouts[(width + height) % 6];
            this->check(coefficients<TypeParam>(Content::geometric, {width, height}, 9, this->random, layout));
            this->check(scattered<TypeParam>({width, height}, 11, 20, this->random, layout));
        }
    }
}

TYPED_TEST(TargetDecoder, ReadsEveryDensity) {
    for (unsigned oneIn = 1; oneIn <= 4000; oneIn += 1 + oneIn / 3) {
        for (const Shape2d& shape : {Shape2d{260, 199}, {129, 131, 2}}) {
            this->check(scattered<TypeParam>(shape, 10, oneIn, this->random));
        }
    }
}

TYPED_TEST(TargetDecoder, ReadsRowsOfEveryDensity) {
    for (const unsigned dense : {1U, 2U, 30U}) {
        for (const unsigned thin : {3U, 100U, 5000U}) {
            LaidOutImage<TypeParam> image = scattered<TypeParam>({300, 210, 2}, 9, thin, this->random);
            const LaidOutImage<TypeParam> other = scattered<TypeParam>({300, 210, 2}, 5, dense, this->random);
            image.fill([&](int c, int y, int x) { return (y / 30 % 2 == 0 ? image : other).at(c, y, x); });
            this->check(image);
        }
    }
}

// Nearly all coefficients become significant on one plane, so that words of up to 64 events have their signs anywhere.
TYPED_TEST(TargetDecoder, ReadsPlanesOfHardlyAnythingButEvents) {
    for (const unsigned oneIn : {2U, 10U, 30U, 100U, 1000U}) {
        LaidOutImage<TypeParam> image(130, 97, 1, Layout{});
        image.fill([&](int, int, int) {
            const long magnitude = this->random() % oneIn == 0 ? 0 : 16 + static_cast<long>(this->random() % 16);
            return this->random() % 2 == 0 ? magnitude : -magnitude;
        });
        this->check(image);
    }
}

// A buffer's turn then falls on every part of every segment.
TYPED_TEST(TargetDecoder, ReadsThroughBuffersOfFewWords) {
    for (const std::int64_t turn : {1, 2, 3, 4, 5, 6, 7, 9, 12, 33, 100}) {
        for (const int bitsBefore : {0, 7, 31, 32}) {
            this->check(coefficients<TypeParam>(Content::geometric, {66, 53, 2}, 13, this->random), {turn, bitsBefore});
            for (const unsigned oneIn : {1U, 6U, 50U}) {
                this->check(scattered<TypeParam>({97, 90}, 8, oneIn, this->random), {turn, bitsBefore});
            }
        }
    }
}

TYPED_TEST(TargetDecoder, ReadsFilesThatAreLongerThanTheBuffer) {
    for (const int bitsBefore : {0, 3, 21}) {
        const Source source{BitStreamer::fileBufferWords, bitsBefore};
        this->check(coefficients<TypeParam>(Content::dense, {700, 401, 2}, 13, this->random), source);
        this->check(coefficients<TypeParam>(Content::geometric, {700, 601, 3}, 13, this->random), source);
    }
}

TYPED_TEST(TargetDecoder, ReadsTheEndOfMemory) {
    for (int rows = 2; rows <= 40; ++rows) {
        const auto image = scattered<TypeParam>({35, rows}, 7, 3, this->random);
        Bytes stream = plainStream(image);
        stream.resize((stream.size() + 3) / 4 * 4);
        EXPECT_EQ(expectPlainReading(image, stream, fromMemory).result, 0);
        EXPECT_EQ(expectPlainReading(image, stream, fromFile).result, 0);
    }
}

// Shapes of other images: the stream ends early or is not used up.
TYPED_TEST(TargetDecoder, ReadsStreamsOfOtherShapes) {
    const auto image = coefficients<TypeParam>(Content::geometric, {64, 48}, 9, this->random);
    const Bytes stream = plainStream(image);
    for (const Shape2d& shape : {Shape2d{64, 47},
                                 {63, 48},
                                 {48, 64},
                                 {64, 48, 2},
                                 {8, 8},
                                 {2, 2},
                                 {2, 301},
                                 {300, 200},
                                 {1, 1},
                                 {1, 90},
                                 {90, 1},
                                 {0, 0},
                                 {0, 12},
                                 {12, 0},
                                 {1000, 3}}) {
        for (const Layout& layout : {Layout{}, Layout{0, 1}, Layout{3, 0}}) {
            expectPlainReading(LaidOutImage<TypeParam>(shape.width, shape.height, shape.channels, layout), stream);
        }
    }
}

} // namespace teko

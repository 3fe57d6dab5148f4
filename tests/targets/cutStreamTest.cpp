// SPDX-License-Identifier: Apache-2.0
// Streams that end early: every target reads what the plain one reads.
#include "support/coefficients.hpp"
#include "targets/reading.hpp"
#include "targets/writing.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

template <typename T>
class TargetCutStreams : public testing::Test {
protected:
    // Cuts the stream of an image after every so many bytes.
    void check(const LaidOutImage<T>& image, std::size_t step, const Source& source) {
        const Bits before = randomBits(random, static_cast<std::size_t>(source.bitsBefore));
        const Bytes stream = plainStream(image, before);
        for (std::size_t bytes = 0; bytes <= stream.size() + 4; bytes += step) {
            expectPlainReading(image, prefix(stream, bytes), source);
            if (this->HasNonfatalFailure()) {
                return;
            }
        }
    }

    std::mt19937_64 random{9};
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetCutStreams, SampleTypes);

} // namespace

TYPED_TEST(TargetCutStreams, OfEveryLengthFromMemory) {
    for (const auto& [shape, plane] : {std::pair{Shape2d{9, 7}, 13}, {{16, 16, 3}, 4}, {{2, 70}, 7}, {{33, 12}, 1}}) {
        for (const Content content : reference::allContents) {
            this->check(coefficients<TypeParam>(content, shape, plane, this->random), 1, fromMemory);
        }
        for (const unsigned oneIn : {2U, 4U, 8U, 20U}) {
            this->check(scattered<TypeParam>(shape, plane, oneIn, this->random), 1, fromMemory);
        }
    }
}

// With a few bits before it, the stream's words end at other places.
TYPED_TEST(TargetCutStreams, OfEveryLengthAtEveryBit) {
    for (int bitsBefore = 1; bitsBefore < 32; ++bitsBefore) {
        const Source source{{}, bitsBefore};
        this->check(scattered<TypeParam>({21, 23}, 8, 1 + static_cast<unsigned>(bitsBefore) % 9, this->random), 4,
                    source);
    }
}

TYPED_TEST(TargetCutStreams, OfEveryPlane) {
    for (int plane = 0; plane <= highestSlicedPlane<TypeParam>; ++plane) {
        const auto step = static_cast<std::size_t>(4 + 4 * plane);
        this->check(coefficients<TypeParam>(Content::geometric, {33, 30}, plane, this->random), step, fromMemory);
        this->check(coefficients<TypeParam>(Content::dense, {33, 30}, plane, this->random), step, fromMemory);
    }
}

TYPED_TEST(TargetCutStreams, OfEveryLengthFromFiles) {
    for (const std::int64_t turn :
         {std::int64_t{1}, std::int64_t{3}, std::int64_t{4}, std::int64_t{20}, BitStreamer::fileBufferWords}) {
        this->check(coefficients<TypeParam>(Content::geometric, {20, 17}, 9, this->random), 1, {turn, 0});
        this->check(scattered<TypeParam>({24, 19}, 9, 6, this->random), 1, {turn, 11});
    }
}

TYPED_TEST(TargetCutStreams, OfLargerImages) {
    for (const unsigned oneIn : {1U, 3U, 7U, 30U, 300U}) {
        const auto image = scattered<TypeParam>({130, 97, oneIn == 7 ? 2 : 1}, 12, oneIn, this->random);
        this->check(image, plainStream(image).size() / 150 + 4, fromMemory);
        this->check(image, plainStream(image).size() / 40 + 4, fromFile);
    }
}

TYPED_TEST(TargetCutStreams, OfImagesWithManyBlocks) {
    for (const unsigned oneIn : {1U, 5U, 50U}) {
        const auto image = scattered<TypeParam>({301, 257}, 9, oneIn, this->random);
        this->check(image, plainStream(image).size() / 40 + 3, fromMemory);
    }
}

TYPED_TEST(TargetCutStreams, OfFilesThatAreLongerThanTheBuffer) {
    const auto image = coefficients<TypeParam>(Content::dense, {500, 401, 3}, 13, this->random);
    const Bytes stream = plainStream(image);
    constexpr std::size_t buffer = 4 * BitStreamer::fileBufferWords;
    ASSERT_GT(stream.size(), 2 * buffer + 8);
    for (const std::size_t bytes : {buffer - 5, buffer - 1, buffer, buffer + 3, buffer + 4, buffer + 13, 2 * buffer - 4,
                                    2 * buffer, 2 * buffer + 5, stream.size() - 3}) {
        EXPECT_EQ(expectPlainReading(image, prefix(stream, bytes), fromFile).result, 1);
    }
}

TYPED_TEST(TargetCutStreams, IntoPlanesThatLieAnywhere) {
    for (const Layout& layout : {Layout{0, 1}, Layout{0, 3}, Layout{1, 0}, Layout{5, 2}}) {
        this->check(coefficients<TypeParam>(Content::geometric, {20, 17}, 9, this->random, layout), 3, fromMemory);
    }
}

} // namespace teko

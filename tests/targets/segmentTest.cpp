// SPDX-License-Identifier: Apache-2.0
// Streams with run-length parameters that no encoder of ours would choose: every target reads them all the same.
#include "support/coefficients.hpp"
#include "targets/reading.hpp"
#include "targets/segments.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

template <typename T>
class TargetSegments : public testing::Test {
protected:
    // The stream of an image of coefficients up to 2^(top + 1) - 1.
    template <typename ParameterOf>
    Bytes stream(const LaidOutImage<T>& image, int top, ParameterOf parameterOf) {
        LaidOutImage<T> folded = image;
        folded.fill([&](int c, int y, int x) { return fold(image.at(c, y, x)); });
        return packed(streamOf(*folded, top, parameterOf) + randomBits(random, 96));
    }

    void expectImage(const LaidOutImage<T>& image, const Bytes& bytes) {
        for (const Source& source : {fromMemory, fromFile, Source{5}}) {
            const Decoded<T> decoded = expectPlainReading(image, bytes, source);
            EXPECT_EQ(decoded.result, 0);
            EXPECT_TRUE(sameMemory(decoded.image, image));
        }
        for (int i = 0; i < 12; ++i) {
            expectPlainReading(image, prefix(bytes, random() % bytes.size()));
        }
    }

    std::mt19937_64 random{10};
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetSegments, SampleTypes);

} // namespace

TYPED_TEST(TargetSegments, OfOneParameterAreRead) {
    for (int k = 0; k < 32; ++k) {
        for (const unsigned oneIn : {1U, 3U, 10U, 100U, 1000U}) {
            const auto image = scattered<TypeParam>({101, 97}, 4, oneIn, this->random);
            this->expectImage(image, this->stream(image, 4, [k](int, int, int, const auto&) { return k; }));
        }
    }
}

TYPED_TEST(TargetSegments, OfChangingParametersAreRead) {
    for (int round = 0; round < 40; ++round) {
        const Shape2d shape{20 + 3 * round, 130 - round, 1 + round % 3};
        const auto image = scattered<TypeParam>(shape, 9, 2 + static_cast<unsigned>(round) * 3, this->random);
        this->expectImage(image, this->stream(image, 9, [&](int, int, int, const auto&) {
            return static_cast<int>(this->random() % (round % 2 == 0 ? 32 : 5));
        }));
    }
}

TYPED_TEST(TargetSegments, OfContentsOfEveryKindAreRead) {
    for (const Content content : reference::allContents) {
        for (const int k : {0, 1, 2, 3, 4, 9, 31}) {
            const auto image = coefficients<TypeParam>(content, {93, 71}, 6, this->random);
            this->expectImage(image, this->stream(image, 6, [k](int, int, int, const auto&) { return k; }));
        }
    }
}

// The planes above the first event are empty, up to the highest that can be said to be there.
TYPED_TEST(TargetSegments, OfEmptyPlanesAreRead) {
    for (int top = 3; top <= highestPlane<TypeParam>; ++top) {
        const auto image = scattered<TypeParam>({67, 70}, 3, 7, this->random);
        this->expectImage(image, this->stream(image, top, [&](int, int, int, const auto&) {
            return static_cast<int>(this->random() % 6);
        }));
    }
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// What is thrown inside of a decoder and is no plain integer concerns the caller: it passes.
#include "coding/codedStream.hpp"
#include "fast/kernels/kernels.hpp"
#include "fast/ways/rowWay.hpp"
#include "reference/coefficientImages.hpp"
#include "reference/imageAdapter.hpp"
#include "support/allocationLedger.hpp"
#include "support/codedStreams.hpp"
#include "support/fileCalls.hpp"
#include "support/targets.hpp"

#include <gtest/gtest.h>

namespace teko {
namespace {

using reference::coefficientImage;
using reference::Content;
using reference::Random;

struct OfNobody {
    int value;
};

// A reader that takes a word at a time from a file, where reading throws once so many words were read.
template <typename Thrown>
class ThrowingSource {
public:
    ThrowingSource(const Bytes& payload, std::size_t words, const Thrown& thrown) : file(payload) {
        stream.setUpFileReader(file.get());
        stream.size = 1;
        stream.cursor = stream.buffer + 1;
        FileCalls::beforeReading = [words, thrown, calls = std::size_t{0}]() mutable {
            if (calls++ == words) {
                throw thrown;
            }
        };
    }
    ThrowingSource(const ThrowingSource&) = delete;
    ThrowingSource& operator=(const ThrowingSource&) = delete;
    ~ThrowingSource() { FileCalls::beforeReading = nullptr; }

    BitStreamer stream;

private:
    ScratchFile file;
};

template <typename T>
class DecoderPassesOn : public testing::Test {
protected:
    DecoderPassesOn() {
        Random random(91);
        const auto data = reference::toImageData<T>(coefficientImage(Content::geometric, width, height, 2, 7, random));
        payload = encodedFile(*data);
    }

    static int endOf(ImageData<T>& image, BitStreamer& in) { return Wavelet<T>().readWavelet(&image, in); }

    // By rows.
    static int endOf(Target target, BitStreamer& in) {
        RowDecoder<T> decoder(width, height, 2, kernelsOf(target));
        return decoder.read(readTopPlane(in), in);
    }

    // The decoder's result, or `passed` where the exception arrived as it was thrown.
    template <typename Thrown, typename Decoder>
    int endWith(std::size_t words, const Thrown& thrown, Decoder&& decoder) const {
        ThrowingSource source(payload, words, thrown);
        const long before = AllocationLedger::live;
        int end = passed;
        try {
            end = endOf(decoder, source.stream);
        } catch (const Thrown&) {
        }
        EXPECT_EQ(AllocationLedger::live, before) << words;
        return end;
    }

    template <typename Thrown>
    void expectPassed(const Thrown& thrown) const {
        for (const std::size_t words : {std::size_t{0}, std::size_t{1}, std::size_t{7}, payload.size() / 4 - 1}) {
            ImageData<T> image(width, height, 2);
            EXPECT_EQ(endWith(words, thrown, image), +passed) << words;
            for (const Target target : fastTargets()) {
                EXPECT_EQ(endWith(words, thrown, target), +passed) << words << ", " << target;
            }
        }
    }

    static constexpr int passed = -1;
    static constexpr int width = 18;
    static constexpr int height = 17;
    Bytes payload;
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(DecoderPassesOn, SampleTypes);

TYPED_TEST(DecoderPassesOn, standardExceptions) {
    this->expectPassed(std::bad_alloc());
    this->expectPassed(std::runtime_error("no more"));
}

TYPED_TEST(DecoderPassesOn, objectsOfAnyOtherClass) {
    this->expectPassed(OfNobody{3});
    this->expectPassed(std::string("3"));
}

TYPED_TEST(DecoderPassesOn, numbersOfOtherTypes) {
    this->expectPassed(3L);
    this->expectPassed(3U);
    this->expectPassed(short{3});
    this->expectPassed(3.0);
}

TYPED_TEST(DecoderPassesOn, noPlainIntegerOnceItHasTheTopPlane) {
    ImageData<TypeParam> image(this->width, this->height, 2);
    EXPECT_EQ(this->endWith(0, 3, image), this->passed);
    for (const int thrown : {3, 5, 77}) {
        EXPECT_EQ(this->endWith(1, thrown, image), 1);
        for (const Target target : fastTargets()) {
            EXPECT_EQ(this->endWith(1, thrown, target), 1) << target;
        }
    }
}

// The image keeps its planes, with the folded values that the words before have made.
TYPED_TEST(DecoderPassesOn, andLeavesTheImageAsFarAsItCame) {
    ImageData<TypeParam> image(this->width, this->height, 2);
    TypeParam* const planes[] = {image.planes[0], image.planes[1], image.planes[2]};
    for (std::size_t words = 1; words < this->payload.size() / 4; ++words) {
        EXPECT_EQ(this->endWith(words, std::bad_alloc(), image), this->passed);
        EXPECT_TRUE(std::equal(planes, planes + 3, image.planes));
        ImageData<TypeParam> folded(this->width, this->height, 2);
        EXPECT_EQ(decodeFromMemory(folded, prefix(this->payload, 4 * words), Wavelet<TypeParam>{nullptr, 0, 1}), 1);
        ASSERT_EQ(reference::fromImageData(image), reference::fromImageData(folded)) << words;
    }
    EXPECT_EQ(decodeFromFile(image, this->payload), 0);
}

TYPED_TEST(DecoderPassesOn, andLeavesTheImageUntouchedBeforeTheTopPlane) {
    ImageData<TypeParam> image(this->width, this->height, 2);
    for (int c = 0; c < 2; ++c) {
        std::fill_n(image.planes[c], this->width * this->height, TypeParam{99});
    }
    const auto before = reference::fromImageData(image);
    EXPECT_EQ(this->endWith(0, OfNobody{3}, image), this->passed);
    EXPECT_EQ(reference::fromImageData(image), before);
}

} // namespace
} // namespace teko

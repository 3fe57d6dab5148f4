// SPDX-License-Identifier: Apache-2.0
// Memory that is refused: everything is given back, and an image is left as promised. Memory that is taken: no more
// than is promised.
#include "coding/codedStream.hpp"
#include "fast/kernels/kernels.hpp"
#include "fast/ways/rowWay.hpp"
#include "reference/coefficientImages.hpp"
#include "reference/imageAdapter.hpp"
#include "support/codedStreams.hpp"
#include "support/failingAllocation.hpp"
#include "support/rowStreams.hpp"
#include "support/targets.hpp"

#include <gtest/gtest.h>

namespace teko {
namespace {

using reference::coefficientImage;
using reference::Content;
using reference::Image;
using reference::Random;

template <typename T>
class EncoderMemoryOf : public testing::Test {};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(EncoderMemoryOf, SampleTypes);

TYPED_TEST(EncoderMemoryOf, isGivenBackWhereverAnAllocationFails) {
    Random random(41);
    const Image image = coefficientImage(Content::geometric, 18, 17, 3, 9, random);
    const auto data = reference::toImageData<TypeParam>(image);
    MemoryTarget target(ampleRoom(*data));
    Wavelet<TypeParam>().writeWavelet(data.get(), target.stream);
    const Image folded = reference::fromImageData(*data);

    long successes = 0;
    AllocationOutcome outcome = AllocationOutcome::refused;
    while (outcome == AllocationOutcome::refused) {
        const auto next = reference::toImageData<TypeParam>(image);
        MemoryTarget again(ampleRoom(*next));
        outcome =
            withFailingAllocation(successes, [&] { Wavelet<TypeParam>().writeWavelet(next.get(), again.stream); });
        EXPECT_NE(outcome, AllocationOutcome::leaked) << successes;
        EXPECT_EQ(reference::fromImageData(*next), folded) << successes;
        ++successes;
    }
    EXPECT_GT(successes, 1);
}

TYPED_TEST(EncoderMemoryOf, isGivenBackWhenTheWriterIsFull) {
    Random random(42);
    const Image image = coefficientImage(Content::dense, 18, 17, 2, 9, random);
    for (std::size_t budget = 0; budget < 600; budget += 7) {
        const auto data = reference::toImageData<TypeParam>(image);
        MemoryTarget target(budget);
        const long before = AllocationLedger::live;
        EXPECT_EQ(thrownBy([&] { Wavelet<TypeParam>().writeWavelet(data.get(), target.stream); }), 3);
        EXPECT_EQ(AllocationLedger::live, before) << budget;
    }
}

TYPED_TEST(EncoderMemoryOf, isGivenBackWhenAnImageIsRefused) {
    Image image(1, 5, 1);
    const auto narrow = reference::toImageData<TypeParam>(image);
    Image large(5, 5, 1);
    large.planes[0][3] = std::int64_t{1} << (8 * sizeof(TypeParam) - 2);
    const auto excessive = reference::toImageData<TypeParam>(large);
    for (ImageData<TypeParam>* data : {narrow.get(), excessive.get()}) {
        MemoryTarget target(1000);
        const long before = AllocationLedger::live;
        EXPECT_EQ(thrownBy([&] { Wavelet<TypeParam>().writeWavelet(data, target.stream); }), 5);
        EXPECT_EQ(AllocationLedger::live, before);
    }
}

// Of the codec that works row by row, with every target that has it.
template <typename T>
class RowMemoryOf : public testing::Test {
protected:
    static void passRows(const ImageData<T>& image, Target target, RowEncoder<T>& encoder) {
        for (int c = 0; c < image.channels; ++c) {
            for (int y = 0; y < image.height; ++y) {
                passRow(image.planes[c] + static_cast<long>(y) * image.stride, image.width, target, encoder.channel(c));
            }
        }
    }

    static void write(ImageData<T>& image, Target target, BitStreamer& out) {
        RowEncoder<T> encoder(image.width, image.height, image.channels, kernelsOf(target));
        passRows(image, target, encoder);
        encoder.write(out);
    }

    static void read(ImageData<T>& image, Target target, BitStreamer& in) {
        RowDecoder<T> decoder(image.width, image.height, image.channels, kernelsOf(target));
        decoder.read(readTopPlane(in), in);
        decoder.start();
        for (int c = 0; c < image.channels; ++c) {
            for (int y = 0; y < image.height; ++y) {
                takeRow(decoder.channel(c), image.width, image.planes[c] + static_cast<long>(y) * image.stride);
            }
        }
    }

    // Runs an action with one allocation more each time, until it has all that it needs.
    template <typename Action>
    static void expectAllGivenBack(Action action) {
        long successes = 0;
        AllocationOutcome outcome = AllocationOutcome::refused;
        while (outcome == AllocationOutcome::refused) {
            outcome = withFailingAllocation(successes, action);
            EXPECT_NE(outcome, AllocationOutcome::leaked) << successes;
            ++successes;
        }
        EXPECT_GT(successes, 1);
    }

    static constexpr std::size_t mebibyte = 1 << 20;
    static constexpr std::size_t compactPlane = 4 * mebibyte * sizeof(RowSample<T>); // 2048 x 2048
};
TYPED_TEST_SUITE(RowMemoryOf, SampleTypes);

TYPED_TEST(RowMemoryOf, ofTheRowsIsGivenBackWhenCodingBegins) {
    Random random(44);
    const auto image = reference::toImageData<TypeParam>(coefficientImage(Content::geometric, 44, 41, 3, 7, random));
    for (const Target target : fastTargets()) {
        RowEncoder<TypeParam> encoder(44, 41, 3, kernelsOf(target));
        this->passRows(*image, target, encoder);
        MemoryTarget full(0);
        const long before = AllocationLedger::live;
        EXPECT_EQ(thrownBy([&] { encoder.write(full.stream); }), 3);
        EXPECT_LT(AllocationLedger::live, before);
    }
}

TYPED_TEST(RowMemoryOf, isGivenBackWhereverAnAllocationFails) {
    Random random(43);
    const auto image = reference::toImageData<TypeParam>(coefficientImage(Content::geometric, 44, 41, 3, 7, random));
    for (const Target target : fastTargets()) {
        MemoryTarget memory(ampleRoom(*image));
        this->write(*image, target, memory.stream);
        this->expectAllGivenBack([&] {
            MemoryTarget again(ampleRoom(*image));
            this->write(*image, target, again.stream);
        });
        const Bytes stream = memory.written();
        ImageData<TypeParam> back(44, 41, 3);
        this->expectAllGivenBack([&] {
            std::vector<std::uint32_t> words(stream.size() / 4);
            std::copy_n(stream.begin(), 4 * words.size(), reinterpret_cast<std::uint8_t*>(words.data()));
            BitStreamer in;
            in.setUpMemoryReader(words.data(), static_cast<std::int64_t>(4 * words.size()));
            this->read(back, target, in);
        });
    }
}

TYPED_TEST(RowMemoryOf, isAtMostThatOfACompactPlaneAndAFewRowsToDecode) {
    for (const Target target : fastTargets()) {
        ImageData<TypeParam> image(2048, 2048, 1);
        std::uint32_t word = 3;
        BitStreamer in;
        in.setUpMemoryReader(&word, 4);
        const std::size_t before = AllocationLedger::requested;
        RowDecoder<TypeParam> decoder(2048, 2048, 1, kernelsOf(target));
        EXPECT_EQ(decoder.read(readTopPlane(in), in), 1);
        decoder.start();
        EXPECT_LE(AllocationLedger::requested - before, this->compactPlane + 2 * this->mebibyte) << target;
    }
}

TYPED_TEST(RowMemoryOf, isAtMostThatOfACompactPlaneAndAFewRowsBeforeItIsEncoded) {
    for (const Target target : fastTargets()) {
        const std::size_t before = AllocationLedger::requested;
        RowEncoder<TypeParam> encoder(2048, 2048, 1, kernelsOf(target));
        EXPECT_LE(AllocationLedger::requested - before, this->compactPlane + 2 * this->mebibyte) << target;
    }
}

} // namespace
} // namespace teko

// Memory that is refused to the encoder: everything is given back, and the image is left as promised. Memory that the
// decoder takes: no more than is promised.
#include "reference/coefficientImages.hpp"
#include "reference/imageAdapter.hpp"
#include "support/codedStreams.hpp"
#include "support/failingAllocation.hpp"
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

template <typename T>
class DecoderMemoryOf : public testing::Test {};
TYPED_TEST_SUITE(DecoderMemoryOf, SampleTypes);

TYPED_TEST(DecoderMemoryOf, isAtMostAQuarterOfThePlaneAndFourMebibytes) {
    constexpr std::size_t mebibyte = 1 << 20;
    constexpr std::size_t planeBytes = 4 * mebibyte * sizeof(TypeParam);
    for (const Target target : fastTargets()) {
        const TargetInUse use(target);
        ImageData<TypeParam> image(2048, 2048, 1);
        const std::size_t before = AllocationLedger::requested;
        EXPECT_EQ(decodeFromMemory(image, {3, 0, 0, 0}), 1);
        EXPECT_LE(AllocationLedger::requested - before, planeBytes / 4 + 4 * mebibyte) << target;
    }
}

} // namespace
} // namespace teko

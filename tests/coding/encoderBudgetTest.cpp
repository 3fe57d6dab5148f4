// SPDX-License-Identifier: Apache-2.0
// Writers that end before the stream does, and what the image holds afterwards.
#include "reference/coefficientImages.hpp"
#include "reference/imageAdapter.hpp"
#include "reference/streamEncoder.hpp"
#include "support/codedStreams.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace teko {
namespace {

using reference::allContents;
using reference::codedStream;
using reference::coefficientImage;
using reference::Content;
using reference::Image;
using reference::Random;
using reference::samplesOf;
using reference::toBytes;

template <typename T>
Image foldedImage(const Image& image) {
    Image folded = image;
    for (reference::Plane& plane : folded.planes) {
        for (std::int64_t& value : plane) {
            value = reference::foldedValue(value, samplesOf<T>);
        }
    }
    return folded;
}

// A writer is full when anything is left beyond its whole words; it then holds exactly its bytes.
template <typename T>
void expectPrefixWithinBudget(const Image& image, std::size_t budget) {
    const reference::Bits stream = codedStream(image);
    Bytes wanted = toBytes(stream);
    const bool fits = stream.size() <= budget / 4 * 32;
    if (!fits) {
        wanted.resize(budget); // shorter as a rule, longer by zeros when only a partial word is left
    }
    const auto data = reference::toImageData<T>(image);
    MemoryTarget target(budget);
    const int thrown = thrownBy([&] { Wavelet<T>().writeWavelet(data.get(), target.stream); });
    EXPECT_EQ(thrown, fits ? 0 : 3) << "budget " << budget << " for " << stream.size() << " bits";
    EXPECT_EQ(target.content(wanted.size()), wanted) << "budget " << budget << " for " << stream.size() << " bits";
    EXPECT_TRUE(target.fenceIsIntact()) << "budget " << budget;
    EXPECT_TRUE(reference::fromImageData(*data) == foldedImage<T>(image)) << "budget " << budget;
    const bool isMeasured = fits || budget % 4 != 0;
    EXPECT_TRUE(!isMeasured || target.written() == wanted) << "budget " << budget;
}

template <typename T>
void expectPrefixWithinEveryBudget(const Image& image) {
    const std::size_t full = toBytes(codedStream(image)).size();
    for (std::size_t budget = 0; budget <= full + 9; ++budget) {
        expectPrefixWithinBudget<T>(image, budget);
    }
}

template <typename T>
class BudgetOf : public testing::Test {};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(BudgetOf, SampleTypes);

TYPED_TEST(BudgetOf, everyByteCountHoldsThePrefixOfTheStream) {
    struct Extent {
        int width, height, channels;
    };
    Random random(31);
    for (const Extent extent : {Extent{2, 2, 1}, Extent{5, 4, 3}, Extent{9, 8, 1}, Extent{17, 16, 1}}) {
        for (const Content content : allContents) {
            expectPrefixWithinEveryBudget<TypeParam>(
                coefficientImage(content, extent.width, extent.height, extent.channels, 7, random));
        }
    }
}

TYPED_TEST(BudgetOf, someByteCountsOfLargerImagesHoldThePrefixOfTheStream) {
    Random random(32);
    const Image image = coefficientImage(Content::geometric, 70, 65, 3, 12, random);
    const std::size_t full = toBytes(codedStream(image)).size();
    for (std::size_t budget = 0; budget < full + 200; budget += 97) {
        expectPrefixWithinBudget<TypeParam>(image, budget);
    }
}

TYPED_TEST(BudgetOf, emptyImagesAreOneByteOrOneWord) {
    for (const Image& image : {Image(0, 0, 1), Image(0, 7, 3), Image(7, 0, 1), Image(1, 0, 1)}) {
        const auto data = reference::toImageData<TypeParam>(image);
        EXPECT_EQ(encodedBytes(*data), Bytes{0});
        const auto again = reference::toImageData<TypeParam>(image);
        EXPECT_EQ(encodedFile(*again), (Bytes{0, 0, 0, 0}));
        expectPrefixWithinEveryBudget<TypeParam>(image);
    }
}

template <typename T>
int encodingOf(ImageData<T>& image) {
    MemoryTarget target(ampleRoom(image));
    return thrownBy([&] { Wavelet<T>().writeWavelet(&image, target.stream); });
}

TYPED_TEST(BudgetOf, imagesOneSampleWideOrHighAreRefusedAndLeftAlone) {
    Random random(33);
    struct Size {
        int width, height;
    };
    for (const Size size : {Size{1, 1}, Size{1, 2}, Size{2, 1}, Size{1, 70}, Size{70, 1}}) {
        const Image image = coefficientImage(Content::dense, size.width, size.height, 3, 6, random);
        const auto data = reference::toImageData<TypeParam>(image);
        EXPECT_EQ(encodingOf(*data), 5) << size.width << " x " << size.height;
        EXPECT_EQ(reference::fromImageData(*data), image);
    }
}

TYPED_TEST(BudgetOf, magnitudesWithoutAPlaneAreRefusedAndFolded) {
    constexpr int bits = 8 * static_cast<int>(sizeof(TypeParam));
    constexpr std::int64_t first = std::int64_t{1} << (bits - 2);
    const std::vector<std::int64_t> refused{first, -first, first + 1, std::numeric_limits<TypeParam>::max(),
                                            std::numeric_limits<TypeParam>::min()};
    for (const std::int64_t value : refused) {
        for (const std::size_t position : {std::size_t{0}, std::size_t{7}, std::size_t{62}}) {
            Image image(9, 7, 2);
            image.planes[1][position] = value;
            const auto data = reference::toImageData<TypeParam>(image);
            EXPECT_EQ(encodingOf(*data), 5) << value;
            EXPECT_EQ(reference::fromImageData(*data), foldedImage<TypeParam>(image)) << value;
        }
    }
    for (const std::int64_t value : {first - 1, 1 - first}) {
        Image image(9, 7, 2);
        image.planes[1][8] = value;
        const auto data = reference::toImageData<TypeParam>(image);
        EXPECT_EQ(encodingOf(*data), 0) << value;
    }
}

TYPED_TEST(BudgetOf, aFileThatTakesNothingEndsTheStream) {
    Random random(34);
    for (const int side : {8, 600}) {
        const Image image = coefficientImage(Content::dense, side, side, 1, 13, random);
        const auto data = reference::toImageData<TypeParam>(image);
        const FullDevice device;
        std::setvbuf(device.get(), nullptr, _IONBF, 0);
        BitStreamer stream;
        stream.setUpFileWriter(device.get());
        EXPECT_EQ(thrownBy([&] { Wavelet<TypeParam>().writeWavelet(data.get(), stream); }), 3) << side;
        EXPECT_TRUE(reference::fromImageData(*data) == foldedImage<TypeParam>(image)) << side;
    }
}

} // namespace
} // namespace teko

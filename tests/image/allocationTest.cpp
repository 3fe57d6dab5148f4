// SPDX-License-Identifier: Apache-2.0
#include "image/imageData.hpp"

#include "support/failingAllocation.hpp"
#include "support/thrownInteger.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace teko {

namespace {

template <typename T>
class ImageAllocation : public testing::Test {};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(ImageAllocation, SampleTypes);

} // namespace

TYPED_TEST(ImageAllocation, storesTheShapeAndTakesTheWidthAsStride) {
    for (int channels = 1; channels <= 3; ++channels) {
        const ImageData<TypeParam> image(7, 5, channels);
        EXPECT_EQ(image.channels, channels);
        EXPECT_EQ(image.width, 7);
        EXPECT_EQ(image.height, 5);
        EXPECT_EQ(image.stride, 7);
    }
}

TYPED_TEST(ImageAllocation, givesEveryChannelAPlaneOfItsOwnAndNoOtherOne) {
    for (int channels = 1; channels <= 3; ++channels) {
        ImageData<TypeParam> image(7, 5, channels);
        for (int c = 0; c < channels; ++c) {
            ASSERT_NE(image.planes[c], nullptr);
            for (int i = 0; i < 35; ++i) {
                image.planes[c][i] = static_cast<TypeParam>(100 * c + i);
            }
        }
        for (int c = 0; c < 3; ++c) {
            EXPECT_EQ(image.planes[c] != nullptr, c < channels);
            EXPECT_TRUE(c >= channels || image.planes[c][34] == 100 * c + 34);
        }
    }
}

TYPED_TEST(ImageAllocation, refusesChannelCountsOutsideOneToThreeBeforeItAllocates) {
    for (const int channels : {-1, 0, 4, 256, std::numeric_limits<int>::min()}) {
        int thrown = 0;
        const auto construct = [&] { ImageData<TypeParam>(7, 5, channels); };
        const auto outcome = withFailingAllocation(0, [&] { thrown = thrownBy(construct); });
        EXPECT_EQ(outcome, AllocationOutcome::succeeded);
        EXPECT_EQ(thrown, 5) << channels;
    }
}

TYPED_TEST(ImageAllocation, refusesChannelsBeforeDimensions) {
    EXPECT_EQ(thrownBy([] { ImageData<TypeParam>(-1, 5, 4); }), 5);
}

TYPED_TEST(ImageAllocation, refusesNegativeSampleCounts) {
    EXPECT_THROW(ImageData<TypeParam>(-1, 5, 1), std::bad_array_new_length);
    EXPECT_THROW(ImageData<TypeParam>(5, -1, 2), std::bad_array_new_length);
    EXPECT_THROW(ImageData<TypeParam>(-65536, 32768, 3), std::bad_array_new_length);
    EXPECT_THROW(ImageData<TypeParam>(std::numeric_limits<int>::min(), 1, 1), std::bad_array_new_length);
}

TYPED_TEST(ImageAllocation, refusesSampleCountsBeyond31Bits) {
    EXPECT_THROW(ImageData<TypeParam>(65536, 32768, 1), std::bad_array_new_length);
    EXPECT_THROW(ImageData<TypeParam>(65535, 65535, 1), std::bad_array_new_length);
    EXPECT_THROW(ImageData<TypeParam>(65536, 65536, 1), std::bad_array_new_length);
    EXPECT_THROW(ImageData<TypeParam>(46341, 46341, 3), std::bad_array_new_length);
    EXPECT_THROW(ImageData<TypeParam>(std::numeric_limits<int>::max(), std::numeric_limits<int>::max(), 1),
                 std::bad_array_new_length);
    EXPECT_THROW(ImageData<TypeParam>(std::numeric_limits<int>::min(), std::numeric_limits<int>::min(), 1),
                 std::bad_array_new_length);
}

TYPED_TEST(ImageAllocation, takesTwoNegativeDimensionsForTheirProduct) {
    ImageData<TypeParam> image(-5, -5, 1);
    EXPECT_EQ(image.width, -5);
    EXPECT_EQ(image.height, -5);
    ASSERT_NE(image.planes[0], nullptr);
    image.planes[0][0] = 1;
    image.planes[0][24] = 2;
    EXPECT_EQ(image.planes[0][0] + image.planes[0][24], 3);
}

TYPED_TEST(ImageAllocation, refusesTheRowBufferOfNegativeWidth) {
    ImageData<TypeParam> image(-5, -5, 1);
    EXPECT_THROW(image.rawRead8(stdin), std::bad_alloc);
    EXPECT_THROW(image.rawRead16(stdin), std::bad_alloc);
    EXPECT_THROW(image.rawWrite8(stdout, 0), std::bad_alloc);
    EXPECT_THROW(image.rawWrite16(stdout, 0), std::bad_alloc);
}

TYPED_TEST(ImageAllocation, holdsEmptyImages) {
    const ImageData<TypeParam> narrow(0, 5, 3);
    const ImageData<TypeParam> flat(5, 0, 1);
    EXPECT_EQ(narrow.stride, 0);
    EXPECT_EQ(flat.stride, 5);
    EXPECT_EQ(flat.height, 0);
}

TYPED_TEST(ImageAllocation, givesEarlierPlanesBackWhenALaterOneIsRefused) {
    for (int channels = 1; channels <= 3; ++channels) {
        for (int successes = 0; successes < channels; ++successes) {
            EXPECT_EQ(withFailingAllocation(successes, [&] { ImageData<TypeParam>(16, 16, channels); }),
                      AllocationOutcome::refused)
                << channels << " channels, plane " << successes;
        }
    }
}

TYPED_TEST(ImageAllocation, givesAllPlanesBackAtItsEnd) {
    for (int channels = 1; channels <= 3; ++channels) {
        EXPECT_EQ(withFailingAllocation(channels, [&] { ImageData<TypeParam>(16, 16, channels); }),
                  AllocationOutcome::succeeded);
    }
}

TYPED_TEST(ImageAllocation, reportsARefusedRowBuffer) {
    ImageData<TypeParam> image(4, 4, 1);
    std::fill_n(image.planes[0], 16, TypeParam{1});
    const auto refused = AllocationOutcome::refused;
    EXPECT_EQ(withFailingAllocation(0, [&] { image.rawRead8(stdin); }), refused);
    EXPECT_EQ(withFailingAllocation(0, [&] { image.rawRead16(stdin); }), refused);
    EXPECT_EQ(withFailingAllocation(0, [&] { image.rawWrite8(stdout, 0); }), refused);
    EXPECT_EQ(withFailingAllocation(0, [&] { image.rawWrite16(stdout, 0); }), refused);
}

} // namespace teko

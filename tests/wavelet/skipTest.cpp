// SPDX-License-Identifier: Apache-2.0
#include "filter/filter.hpp"
#include "recordingFilter.hpp"
#include "support/samples.hpp"

#include <gtest/gtest.h>

#include <random>

namespace teko {

namespace {

// Asks for the end of the transform while it runs.
template <typename T>
class StoppingFilter : public Filter<T> {
public:
    StoppingFilter(Wavelet<T>& stopped, int callsBefore) : wavelet(stopped), callsLeft(callsBefore) {}

    void transform(T*, int, unsigned long) override { count(); }
    void untransform(T*, int, unsigned long) override { count(); }
    void transformInner(T*, int) override { count(); }
    void untransformInner(T*, int) override { count(); }

    int calls = 0;

private:
    void count() {
        ++calls;
        if (--callsLeft == 0) {
            wavelet.skipTransform = 1;
        }
    }

    Wavelet<T>& wavelet;
    int callsLeft;
};

template <typename T>
class SkippedTransform : public testing::Test {
protected:
    int callsWhenStopped(int callsBefore, bool forward) {
        ImageData<T> image(16, 16, 3);
        Wavelet<T> wavelet;
        StoppingFilter<T> filter(wavelet, callsBefore);
        wavelet.filter = &filter;
        if (forward) {
            wavelet.transform(&image);
        } else {
            wavelet.untransform(&image);
        }
        return filter.calls;
    }
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(SkippedTransform, SampleTypes);

} // namespace

TYPED_TEST(SkippedTransform, leavesThePlanesAsTheyAre) {
    std::mt19937_64 random{1};
    Filter4_2<TypeParam> filter;
    Wavelet<TypeParam> wavelet;
    wavelet.filter = &filter;
    wavelet.skipTransform = 1;
    for (const auto& [width, height] : {std::pair{64, 64}, {3, 3}, {600, 600}}) {
        ImageData<TypeParam> image(width, height, 3);
        fillWithNoise(image, random, 0, 255);
        const auto before = samplesOf(image);
        wavelet.transform(&image);
        EXPECT_EQ(samplesOf(image), before);
        wavelet.untransform(&image);
        EXPECT_EQ(samplesOf(image), before);
    }
}

TYPED_TEST(SkippedTransform, needsNoFilter) {
    Wavelet<TypeParam> wavelet;
    wavelet.skipTransform = -1;
    ImageData<TypeParam> image(4, 4, 1);
    std::fill_n(image.planes[0], 16, TypeParam{5});
    wavelet.transform(&image);
    wavelet.untransform(&image);
    EXPECT_EQ(samplesOf(image), std::vector<TypeParam>(16, 5));
}

// 16 x 16 samples make three levels of 32, 16 and 8 calls.
TYPED_TEST(SkippedTransform, finishesTheLevelItIsAskedInAndNoOther) {
    EXPECT_EQ(this->callsWhenStopped(1, true), 32);
    EXPECT_EQ(this->callsWhenStopped(32, true), 32);
    EXPECT_EQ(this->callsWhenStopped(33, true), 48);
    EXPECT_EQ(this->callsWhenStopped(56, true), 56);
    EXPECT_EQ(this->callsWhenStopped(57, true), 88);
    EXPECT_EQ(this->callsWhenStopped(1000, true), 3 * 56);
    EXPECT_EQ(this->callsWhenStopped(1, false), 8);
    EXPECT_EQ(this->callsWhenStopped(9, false), 24);
    EXPECT_EQ(this->callsWhenStopped(56, false), 56);
    EXPECT_EQ(this->callsWhenStopped(57, false), 64);
    EXPECT_EQ(this->callsWhenStopped(1000, false), 3 * 56);
}

TYPED_TEST(SkippedTransform, isNotAskedForByOtherFields) {
    ImageData<TypeParam> image(4, 4, 1);
    markPositions(image);
    RecordingFilter<TypeParam> filter(image);
    Wavelet<TypeParam> wavelet;
    wavelet.filter = &filter;
    wavelet.truncateDecode = 1;
    wavelet.transform(&image);
    wavelet.untransform(&image);
    EXPECT_EQ(filter.calls.size(), 16U);
    EXPECT_EQ(wavelet.truncateDecode, 1);
}

TYPED_TEST(SkippedTransform, hasNothingToDoWithoutChannels) {
    ImageData<TypeParam> image(16, 16, 1);
    markPositions(image);
    RecordingFilter<TypeParam> filter(image);
    Wavelet<TypeParam> wavelet;
    wavelet.filter = &filter;
    for (const int channels : {0, -1}) {
        image.channels = channels;
        wavelet.transform(&image);
        wavelet.untransform(&image);
    }
    EXPECT_TRUE(filter.calls.empty());
    image.channels = 1;
}

} // namespace teko

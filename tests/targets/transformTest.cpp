// Whole decompositions with every target against those of the plain one.
#include "filter/filter4_2.hpp"
#include "support/targets.hpp"
#include "targets/textures.hpp"
#include "wavelet/wavelet.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

template <typename T>
class TargetTransform : public testing::Test {
protected:
    using Image = LaidOutImage<T>;

    void check(const Image& image) {
        const Image forward = transformed(image, Target::plain, &Wavelet<T>::transform);
        const Image inverse = transformed(image, Target::plain, &Wavelet<T>::untransform);
        for (const Target target : fastTargets()) {
            SCOPED_TRACE(nameOf(target));
            ASSERT_TRUE(sameMemory(transformed(image, target, &Wavelet<T>::transform), forward));
            ASSERT_TRUE(sameMemory(transformed(image, target, &Wavelet<T>::untransform), inverse));
            ASSERT_TRUE(sameMemory(transformed(forward, target, &Wavelet<T>::untransform),
                                   transformed(forward, Target::plain, &Wavelet<T>::untransform)));
        }
    }

    // With every texture and a layout that changes from call to call.
    void checkSize(int width, int height, int channels) {
        const Layout layouts[] = {{}, {0, 1}, {1, 0}, {7, 3}, {530, 0}};
        for (const Texture texture : allTextures) {
            Image image(width, height, channels, layouts[calls++ % 5]);
            paint(image, texture, random);
            check(image);
            if (this->HasFatalFailure()) {
                return;
            }
        }
    }

    Filter4_2<T> filter;

private:
    Image transformed(const Image& image, Target target, void (Wavelet<T>::*operation)(ImageData<T>*)) {
        const TargetInUse use(target);
        Image result = image;
        Wavelet<T> wavelet;
        wavelet.filter = &filter;
        (wavelet.*operation)(&*result);
        return result;
    }

    std::size_t calls = 0;
    Random random{4};
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetTransform, SampleTypes);

// A filter of one's own, which rows know nothing of.
class CountingFilter : public Filter4_2<short> {
public:
    void transform(short* x, int count, unsigned long stride) override {
        ++signals;
        Filter4_2<short>::transform(x, count, stride);
    }
    void untransform(short* x, int count, unsigned long stride) override {
        ++signals;
        Filter4_2<short>::untransform(x, count, stride);
    }
    int signals = 0;
};

} // namespace

TYPED_TEST(TargetTransform, OfEverySmallSizeIsThePlainOne) {
    for (int width = 1; width <= 40; ++width) {
        for (int height = 1; height <= 40; ++height) {
            this->checkSize(width, height, 1);
            ASSERT_FALSE(this->HasFatalFailure());
        }
    }
}

TYPED_TEST(TargetTransform, OfSeveralChannelsIsThePlainOne) {
    for (const int channels : {2, 3}) {
        for (const int width : {4, 11, 12, 13, 65}) {
            this->checkSize(width, 70, channels);
        }
    }
}

TYPED_TEST(TargetTransform, OfMediumSizesIsThePlainOne) {
    for (const auto& [width, height] : {std::pair{63, 64}, {64, 127}, {128, 65}, {190, 193}, {255, 96}, {257, 130}}) {
        this->checkSize(width, height, 1);
    }
}

TYPED_TEST(TargetTransform, OfLongRowsAndColumnsIsThePlainOne) {
    this->checkSize(4097, 17, 1);
    this->checkSize(17, 4097, 1);
    this->checkSize(70, 2100, 1);
}

TYPED_TEST(TargetTransform, WithColumnsInBlocksIsThePlainOne) {
    for (const auto& [width, height] : {std::pair{512, 513}, {513, 512}, {513, 513}, {518, 530}, {260, 1031}}) {
        this->checkSize(width, height, 1);
    }
}

TEST(TargetTransformFilter, OfAnyOtherClassIsAskedForEverySignal) {
    for (const Target target : fastTargets()) {
        const TargetInUse use(target);
        LaidOutImage<short> image(12, 12, 1);
        CountingFilter filter;
        Wavelet<short> wavelet;
        wavelet.filter = &filter;
        wavelet.transform(&*image);
        EXPECT_EQ(filter.signals, 12 + 12 + 6 + 6) << target;
        wavelet.untransform(&*image);
        EXPECT_EQ(filter.signals, 2 * (12 + 12 + 6 + 6)) << target;
    }
}

} // namespace teko

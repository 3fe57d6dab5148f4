// Folding and counting at once against one coefficient after the other.
#include "coding/planes/planeCoding.hpp"
#include "support/coefficients.hpp"
#include "support/targets.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <memory>

namespace teko {

namespace {

template <typename T>
using Histogram = BitLengthHistogram<T>;

template <typename T>
class TargetHistogram : public testing::Test {
protected:
    void check(const LaidOutImage<T>& image) {
        const int levels = numberOfLevels(image->width, image->height);
        LaidOutImage<T> folded = image;
        folded.fill([&](int c, int y, int x) { return fold(image.at(c, y, x)); });
        Unsigned<T> magnitudes = 0;
        const auto wanted = std::make_unique<Histogram<T>>();
        LaidOutImage<T> visited = image;
        visited.fill([&](int c, int y, int x) {
            const T value = folded.at(c, y, x);
            const auto negated = static_cast<Unsigned<T>>(0UL - static_cast<unsigned long>(image.at(c, y, x)));
            const auto itself = static_cast<Unsigned<T>>(image.at(c, y, x));
            magnitudes = static_cast<Unsigned<T>>(magnitudes | (image.at(c, y, x) < 0 ? negated : itself));
            if (value >= 0) {
                ++wanted->bitLengthCount[c][subbandClass(x, y, levels)][bitLength(value)];
            }
            return 0;
        });
        for (const Target target : fastTargets()) {
            SCOPED_TRACE(nameOf(target));
            LaidOutImage<T> result = image;
            const auto histogram = std::make_unique<Histogram<T>>();
            ASSERT_EQ(planeCoding<T>(target)->foldAndCount(*result, levels, *histogram), magnitudes);
            ASSERT_TRUE(sameMemory(result, folded));
            if (topPlaneOf<T>(magnitudes) <= highestSlicedPlane<T>) {
                expectCounts(*histogram, *wanted);
            }
        }
    }

    std::mt19937_64 random{5};

private:
    static void expectCounts(const Histogram<T>& histogram, const Histogram<T>& wanted) {
        for (int channel = 0; channel < Histogram<T>::maximumChannels; ++channel) {
            for (int c = 0; c < Histogram<T>::classSlots; ++c) {
                for (int n = 0; n < Histogram<T>::buckets; ++n) {
                    ASSERT_EQ(histogram.bitLengthCount[channel][c][n], wanted.bitLengthCount[channel][c][n])
                        << "channel " << channel << ", class " << c << ", length " << n;
                }
            }
        }
    }
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetHistogram, SampleTypes);

} // namespace

TYPED_TEST(TargetHistogram, CountsEveryPlaneAndContent) {
    for (int plane = 0; plane <= highestPlane<TypeParam>; ++plane) {
        for (const Content content : reference::allContents) {
            const Layout layout{plane % 3, plane % 2};
            this->check(coefficients<TypeParam>(content, {70, 41, 1 + plane % 3}, plane, this->random, layout));
        }
    }
}

TYPED_TEST(TargetHistogram, CountsEverySize) {
    for (int width = 2; width <= 40; ++width) {
        for (int height = 2; height <= 40; ++height) {
            this->check(coefficients<TypeParam>(Content::geometric, {width, height}, 12, this->random));
        }
    }
}

// More equal values than a sample can count.
TYPED_TEST(TargetHistogram, CountsLongRows) {
    for (const int width : {16383, 16384, 16385, 33000, 70001}) {
        for (const int plane : {0, 6, 13}) {
            this->check(coefficients<TypeParam>(Content::greatest, {width, 3}, plane, this->random));
            this->check(coefficients<TypeParam>(Content::geometric, {width, 2}, plane, this->random));
        }
    }
}

TYPED_TEST(TargetHistogram, FoldsWhatHasNoPlane) {
    for (const TypeParam extreme : {std::numeric_limits<TypeParam>::min(), std::numeric_limits<TypeParam>::max(),
                                    static_cast<TypeParam>(std::numeric_limits<TypeParam>::max() / 2 + 1)}) {
        auto image = coefficients<TypeParam>(Content::dense, {33, 21}, highestPlane<TypeParam>, this->random);
        image.at(0, 13, 17) = extreme;
        this->check(image);
    }
}

} // namespace teko

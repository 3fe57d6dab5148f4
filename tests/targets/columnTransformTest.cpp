// SPDX-License-Identifier: Apache-2.0
// Decompositions of narrow images column by column with every target against those of planes.
#include "fast/transform/columnTransform.hpp"
#include "fast/kernels/kernels.hpp"
#include "filter/filter.hpp"
#include "support/rowStreams.hpp"
#include "support/targets.hpp"
#include "targets/textures.hpp"
#include "wavelet/levels.hpp"
#include "wavelet/wavelet.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace teko {

namespace {

template <typename T>
class TargetColumns : public testing::Test {
protected:
    using Image = LaidOutImage<T>;
    using Plane = ColumnPlane<RowSample<T>>;

    void check(const Image& painted) {
        const Image image = clamped(painted, largestSample);
        checkForward(image);
        checkInverse(clamped(painted, largestCoefficient));
        checkInverse(clamped(transformed(image, &Wavelet<T>::transform), largestCoefficient));
    }

    void checkWithAllTextures(int width, int height) {
        for (const Texture texture : allTextures) {
            Image image(width, height, 1);
            paint(image, texture, random);
            check(image);
        }
    }

    Random random{5};

private:
    void checkForward(const Image& image) {
        const Image expected = transformed(image, &Wavelet<T>::transform);
        auto wanted = classesOf(*expected, 0, numberOfLevels(image->width, image->height));
        wanted.resize(maximumClasses);
        for (const Target target : sampledTargets()) {
            Plane plane(image->width, image->height);
            long largest = 0;
            forEachSample(plane, [&](int x, int y, RowSample<T>& sample) {
                sample = static_cast<RowSample<T>>(image.at(0, y, x));
                largest = std::max(largest, std::abs(long{sample}));
            });
            ClassCollector<T> sink;
            transformColumns<T>(plane, largest, kernelsOf(target).rows<T>(), sink);
            for (std::size_t c = 0; c < maximumClasses; ++c) {
                ASSERT_TRUE(sink.classes[c] == wanted[c])
                    << target << ", " << image->width << " x " << image->height << ", class " << c;
            }
        }
    }

    void checkInverse(const Image& image) {
        const Image expected = transformed(image, &Wavelet<T>::untransform);
        for (const Target target : sampledTargets()) {
            ClassProvider<T> source(*image, 0);
            Plane plane(image->width, image->height);
            untransformColumns<T>(source, kernelsOf(target).rows<T>(), plane);
            Image actual = image;
            forEachSample(plane, [&](int x, int y, const RowSample<T>& sample) {
                actual->planes[0][static_cast<long>(y) * actual->stride + x] = sample;
            });
            ASSERT_TRUE(source.isUsedUp()) << target;
            ASSERT_TRUE(sameMemory(actual, expected)) << target << ", " << image->width << " x " << image->height;
        }
    }

    template <typename Visit>
    static void forEachSample(Plane& plane, Visit visit) {
        for (int x = 0; x < plane.columns; ++x) {
            const auto column = plane.column(x);
            for (int y = 0; y < plane.rows; ++y) {
                visit(x, y, (y % 2 == 0 ? column.even : column.odd)[y / 2]);
            }
        }
    }

    // Both signs of everything that a file can hold; short samples of every value.
    static constexpr long largestSample = sizeof(T) == sizeof(short) ? 32768 : 65535;
    static constexpr long largestCoefficient = (1L << InverseStream<T>::safeBits) - 1;

    static Image clamped(const Image& image, long largest) {
        Image result = image;
        result.fill([&](int c, int y, int x) { return std::clamp<long>(image.at(c, y, x), -largest, largest); });
        return result;
    }

    Image transformed(const Image& image, void (Wavelet<T>::*operation)(ImageData<T>*)) {
        Image result = image;
        Wavelet<T> wavelet;
        wavelet.filter = &filter;
        (wavelet.*operation)(&*result);
        return result;
    }

    Filter4_2<T> filter;
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetColumns, SampleTypes);

} // namespace

TEST(TargetColumnsShapes, SuitWhereNoColumnIsShortOrInBlocks) {
    int suitable = 0;
    for (int width = 0; width <= 200; ++width) {
        for (int height = 0; height <= 65535; height += height < 900 ? 1 : 4039) {
            if (!suitsColumns(width, height)) {
                continue;
            }
            ++suitable;
            for (int level = 0; level < numberOfLevels(width, height); ++level) {
                const LevelGrid<short> grid{nullptr, width, height, width, 1 << level};
                EXPECT_FALSE(grid.hasColumnsInKernel()) << width << " x " << height;
            }
        }
    }
    EXPECT_GT(suitable, 30000);
    EXPECT_TRUE(suitsColumns(8, 65535));
    EXPECT_FALSE(suitsColumns(5, 65535));
    EXPECT_FALSE(suitsColumns(65535, 8));
}

TYPED_TEST(TargetColumns, OfEveryWidthAreThePlainOnes) {
    for (int width = 0; width < 100; ++width) {
        for (int round = 0; round < 4; ++round) {
            const int height = 4 * width + static_cast<int>(this->random() % 70);
            if (suitsColumns(width, height)) {
                this->checkWithAllTextures(width, height);
                ASSERT_FALSE(this->HasFatalFailure());
            }
        }
    }
}

// Heights around the bands that the plane is gone through in.
TYPED_TEST(TargetColumns, OfSeveralBandsAreThePlainOnes) {
    for (const int width : {8, 13, 22, 63}) {
        for (const int height : {1022, 1023, 1024, 1025, 1026, 2047, 2048, 2049, 3000}) {
            this->checkWithAllTextures(width, height);
            ASSERT_FALSE(this->HasFatalFailure());
        }
    }
}

TYPED_TEST(TargetColumns, WithEverySampleOfOneSizeAreThePlainOnes) {
    for (const long size : sizesThatMatter<TypeParam>()) {
        for (const int width : {8, 13, 26, 35}) {
            LaidOutImage<TypeParam> image(width, 4 * width + static_cast<int>(this->random() % 40), 1);
            image.fill([&](int, int, int) { return texture::extremeSample(size, this->random); });
            this->check(image);
            ASSERT_FALSE(this->HasFatalFailure());
        }
    }
}

TYPED_TEST(TargetColumns, WithSamplesThatAddUpAreThePlainOnes) {
    for (int round = 0; round < 2000; ++round) {
        const int width = 6 + static_cast<int>(this->random() % 12);
        LaidOutImage<TypeParam> image(width, 4 * width + static_cast<int>(this->random() % 40), 1);
        paint(image, Texture::adverse, this->random);
        this->check(image);
        ASSERT_FALSE(this->HasFatalFailure());
    }
}

} // namespace teko

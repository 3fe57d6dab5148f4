// SPDX-License-Identifier: Apache-2.0
// Whole decompositions row by row with every target against those of planes.
#include "filter/filter.hpp"
#include "support/rowStreams.hpp"
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

    void checkForward(const Image& image) {
        const Image expected = transformed(image, &Wavelet<T>::transform);
        auto wanted = classesOf(*expected, 0, numberOfLevels(image->width, image->height));
        wanted.resize(maximumClasses);
        for (const Target target : sampledTargets()) {
            const ClassCollector<T> actual = transformedByRows(*image, 0, target);
            for (std::size_t c = 0; c < maximumClasses; ++c) {
                ASSERT_TRUE(actual.classes[c] == wanted[c])
                    << target << ", " << image->width << " x " << image->height << ", class " << c;
            }
        }
    }

    void checkInverse(const Image& image) {
        const Image expected = transformed(image, &Wavelet<T>::untransform);
        for (const Target target : sampledTargets()) {
            Image actual = image;
            ASSERT_TRUE(untransformByRows(*actual, 0, target)) << target;
            ASSERT_TRUE(sameMemory(actual, expected)) << target;
        }
    }

    // Any image, and the coefficients of one.
    void check(const Image& image) {
        checkForward(image);
        checkInverse(clamped(image, largestCoefficient));
        checkInverse(clamped(transformed(image, &Wavelet<T>::transform), largestCoefficient));
    }

    // With every texture. The shape must suit.
    void checkSize(int width, int height) {
        ASSERT_TRUE(suitsRowStreams(width, height)) << width << " x " << height;
        for (const Texture texture : allTextures) {
            Image image(width, height, 1);
            paint(image, texture, random);
            check(clamped(image, largestSample));
            if (this->HasFatalFailure()) {
                return;
            }
        }
    }

    void checkSizes(const std::vector<int>& widths, const std::vector<int>& heights) {
        for (const int width : widths) {
            for (const int height : heights) {
                if (!suitsRowStreams(width, height)) {
                    continue;
                }
                checkSize(width, height);
                if (this->HasFatalFailure()) {
                    return;
                }
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

    Random random{4};

    Image transformed(const Image& image, void (Wavelet<T>::*operation)(ImageData<T>*)) {
        Image result = image;
        Wavelet<T> wavelet;
        wavelet.filter = &filter;
        (wavelet.*operation)(&*result);
        return result;
    }

private:
    Filter4_2<T> filter;
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetTransform, SampleTypes);

std::vector<int> allFrom(int least, int most) {
    std::vector<int> sides;
    for (int side = least; side <= most; ++side) {
        sides.push_back(side);
    }
    return sides;
}

} // namespace

TEST(TargetTransformShapes, SuitFromSixRowsAndColumnsOn) {
    for (int width = 0; width <= 200; ++width) {
        for (int height = 0; height <= 200; ++height) {
            EXPECT_EQ(suitsRowStreams(width, height), std::min(width, height) >= 6) << width << " x " << height;
        }
    }
    EXPECT_TRUE(suitsRowStreams(8, 65535));
    EXPECT_TRUE(suitsRowStreams(65535, 8));
}

TYPED_TEST(TargetTransform, OfEverySmallSizeIsThePlainOne) {
    this->checkSizes(allFrom(6, 44), allFrom(6, 44));
}

TYPED_TEST(TargetTransform, OfSizesAroundVectorsIsThePlainOne) {
    const std::vector<int> sides{6, 7, 15, 31, 45, 62, 63, 64, 81, 82, 83, 95, 96, 97, 127, 128, 129, 130};
    this->checkSizes(sides, sides);
}

// The coarsest level has four or five rows or columns there, and all of its samples in a plane.
TYPED_TEST(TargetTransform, OfLongStripsIsThePlainOne) {
    this->checkSizes({8, 10, 19}, {16390});
    this->checkSizes({16390}, {9, 20, 40});
}

TYPED_TEST(TargetTransform, OfSixToEightTimesAnyLengthIsThePlainOne) {
    this->checkSizes(allFrom(45, 140), {6, 7, 11});
    this->checkSizes({6, 7, 11}, allFrom(45, 140));
}

// Four or five rows or columns on the coarsest level, which works on a plane; of more than 512 rows in blocks.
TYPED_TEST(TargetTransform, WithFewSamplesOnTheCoarsestLevelIsThePlainOne) {
    this->checkSizes({16, 19, 32, 40, 64, 67, 72, 77, 80}, {16, 33, 64, 80, 200});
    this->checkSizes({200, 333}, {17, 20, 64, 65, 79, 80});
    for (const auto& [width, height] : {std::pair{64, 8192}, {64, 8208}, {72, 8193}, {80, 9001}, {9001, 80}}) {
        this->checkSize(width, height);
    }
}

TYPED_TEST(TargetTransform, OfMediumSizesIsThePlainOne) {
    for (const auto& [width, height] : {std::pair{81, 81}, {81, 127}, {128, 85}, {190, 193}, {255, 96}, {257, 130}}) {
        this->checkSize(width, height);
    }
}

TYPED_TEST(TargetTransform, OfLongRowsAndColumnsIsThePlainOne) {
    this->checkSize(4097, 15);
    this->checkSize(15, 4097);
    this->checkSize(5001, 6);
    this->checkSize(6, 5001);
    this->checkSize(81, 2100);
}

TYPED_TEST(TargetTransform, WithColumnsInBlocksIsThePlainOne) {
    for (const auto& [width, height] :
         {std::pair{512, 513}, {513, 512}, {513, 513}, {518, 530}, {260, 1031}, {130, 2055}, {1030, 1027}}) {
        this->checkSize(width, height);
    }
}

TYPED_TEST(TargetTransform, OfSamplesOfEverySizeIsThePlainOne) {
    for (const long size : sizesThatMatter<TypeParam>()) {
        for (const auto& [width, height] : {std::pair{43, 41}, {83, 85}, {64, 15}}) {
            LaidOutImage<TypeParam> image(width, height, 1);
            image.fill([&](int, int, int) {
                return texture::extremeSample(std::min(size, this->largestSample), this->random);
            });
            this->check(image);
            image.fill([&](int, int, int) {
                return texture::extremeSample(std::min(size, this->largestCoefficient), this->random);
            });
            this->checkInverse(image);
        }
    }
}

// All that files of 16 bits can hold, and the signs that make it as large as it can be in five levels.
TYPED_TEST(TargetTransform, OfTheLargestSamplesInTheWorstOrderIsThePlainOne) {
    for (int round = 0; round < 60; ++round) {
        LaidOutImage<TypeParam> image(175 + round, 164, 1);
        texture::AdverseSamples samples({this->largestSample}, this->random);
        image.fill([&](int, int y, int x) { return std::min(samples.at(y, x), this->largestSample - 1); });
        this->check(image);
        texture::AdverseSamples coefficients({this->largestCoefficient}, this->random);
        image.fill([&](int, int y, int x) { return coefficients.at(y, x); });
        this->checkInverse(image);
    }
}

// Samples of 16 bits are taken as short ones as long as their range allows it: at the limits of that, the signs that
// make intermediate results as large as they can be; here and there a row that goes beyond.
class TargetTransformOfWords : public TargetTransform<long> {
protected:
    void checkRange(long least, long most, double beyond) {
        for (const auto& [width, height] : {std::pair{175, 40}, {96, 67}, {64, 20}}) {
            LaidOutImage<long> image(width, height, 1);
            texture::AdverseSamples samples({1}, random);
            image.fill([&](int, int y, int x) { return samples.at(y, x) < 0 ? least : most; });
            const auto row = static_cast<int>(random() % 1000);
            if (std::bernoulli_distribution(beyond)(random)) {
                image.at(0, row % height, row % width) = random() % 65536;
            }
            checkForward(image);
            checkInverse(image);
            if (HasFatalFailure()) {
                return;
            }
        }
    }

    // The coefficients that take part in how four samples at even places rise and fall around an odd one, the sum of
    // the two near ones less that of the two far ones: those that raise it as 1, all others as -1.
    LaidOutImage<long> raising(int width, int height, int y, int x) {
        LaidOutImage<long> signs(width, height, 1);
        signs.fill([&](int, int row, int column) {
            LaidOutImage<long> image(width, height, 1);
            image.fill([&](int, int atRow, int at) { return atRow == row && at == column ? 1L << 12 : 0; });
            const LaidOutImage<long> samples = transformed(image, &Wavelet<long>::untransform);
            const long rising = samples.at(0, y, x - 1) + samples.at(0, y, x + 1);
            return rising > samples.at(0, y, x - 3) + samples.at(0, y, x + 3) ? 1L : -1L;
        });
        return signs;
    }

    // Approximations in a range around a middle, all other coefficients at most d, or one of them anything.
    void checkInverseRange(long middle, long range, long d, bool hasAnOther) {
        for (const auto& [width, height] : {std::pair{175, 7}, {7, 75}, {64, 15}, {43, 41}}) {
            LaidOutImage<long> image(width, height, 1);
            const int step = 1 << numberOfLevels(width, height);
            texture::AdverseSamples samples({1}, random);
            image.fill([&](int, int y, int x) {
                const bool isLow = samples.at(y, x) < 0;
                const bool isApproximation = x % step == 0 && y % step == 0;
                return isApproximation ? middle + (isLow ? -range / 2 : range - range / 2) : isLow ? -d : d;
            });
            if (hasAnOther) {
                image.at(0, static_cast<int>(random() % 1000) % height, static_cast<int>(random() % 1000) % width) =
                    static_cast<long>(random() % 65536) - 32768;
            }
            checkInverse(image);
            if (HasFatalFailure()) {
                return;
            }
        }
    }
};

TEST_F(TargetTransformOfWords, InRangesAroundThoseOfShortRowsIsThePlainOne) {
    for (int round = 0; round < 4; ++round) {
        for (const long range : {255L, 1500L, 2800L, 4095L, 4096L, 6399L, 6400L, 6401L, 7000L, 8191L, 8192L}) {
            for (const long most :
                 {range, 6400L, 8192L, 9999L, 10000L, 10001L, 12500L, 20000L, 32767L, 32768L, 65535L}) {
                if (most >= range) {
                    checkRange(most - range, most, round % 2 == 0 ? 0 : 1);
                    ASSERT_FALSE(HasFatalFailure()) << most - range << " to " << most;
                }
            }
        }
    }
}

TEST_F(TargetTransformOfWords, OfAnySamplesInARangeIsThePlainOne) {
    for (int round = 0; round < 200; ++round) {
        LaidOutImage<long> image(64 + round, 40 + static_cast<int>(random() % 100), 1);
        const long range = 1 + static_cast<long>(random() % (round % 2 == 0 ? 6401 : 9000));
        const long least = static_cast<long>(random() % 4000);
        image.fill(
            [&](int, int, int) { return least + static_cast<long>(random() % static_cast<unsigned long>(range)); });
        check(image);
        ASSERT_FALSE(HasFatalFailure());
    }
}

// On the way back the largest of the coefficients that are no approximations counts, too. Here sums are as large as
// coefficients of such sizes can make them, at an even row and an odd one of the only level.
TEST_F(TargetTransformOfWords, BackFromCoefficientsThatAddUpIsThePlainOne) {
    for (const int y : {2, 3}) {
        const LaidOutImage<long> signs = raising(24, 7, y, 11);
        for (const long d : {0L, 511L, 1023L, 2047L, 4095L, 8191L}) {
            for (long range = 500; range <= 20000; range += 500) {
                for (const long sign : {1L, -1L}) {
                    const long middle = sign * std::max(0L, 7499 - range / 2);
                    LaidOutImage<long> image(24, 7, 1);
                    image.fill([&](int, int row, int column) {
                        const bool isApproximation = row % 2 == 0 && column % 2 == 0;
                        const long distance = sign * signs.at(0, row, column) * (isApproximation ? range / 2 : d);
                        return isApproximation ? middle + distance : distance;
                    });
                    checkInverse(image);
                    ASSERT_FALSE(HasFatalFailure()) << "range " << range << ", " << d;
                }
            }
        }
    }
}

TEST_F(TargetTransformOfWords, BackFromRangesAroundThoseOfShortRowsIsThePlainOne) {
    for (int round = 0; round < 4; ++round) {
        for (const long d : {0L, 63L, 255L, 511L, 1023L, 1024L, 2047L, 2048L, 3018L, 4095L, 8191L}) {
            for (const long range : {100L, 3000L, 5900L, 8000L, 12200L, 14000L, 15000L, 18400L, 25000L, 40000L}) {
                for (const long middle : {0L, 3000L, 7500L - range / 2, 7501L - range / 2, 15000L, -5000L, 20000L}) {
                    checkInverseRange(middle, range, d, round % 2 != 0);
                    ASSERT_FALSE(HasFatalFailure()) << middle << ", range " << range << ", " << d;
                }
            }
        }
    }
}

} // namespace teko

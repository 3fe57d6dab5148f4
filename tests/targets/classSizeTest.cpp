// SPDX-License-Identifier: Apache-2.0
// Classes that fill words, chunks and blocks exactly, or miss that by one.
#include "coding/subband.hpp"
#include "support/coefficients.hpp"
#include "targets/reading.hpp"
#include "targets/writing.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace teko {

namespace {

long gridSize(const Shape2d& shape, int c) {
    const auto count = [c](int extent) { return (extent + (1L << c) - 1) >> c; };
    return count(shape.width) * count(shape.height);
}

long classSize(const Shape2d& shape, int c) {
    const int levels = numberOfLevels(shape.width, shape.height);
    return gridSize(shape, c) - (c < levels ? gridSize(shape, c + 1) : 0);
}

// The sizes of 64-coefficient words, 2048-coefficient chunks and 4096-coefficient blocks, and their neighbours; but
// no image has 127 details of one class.
std::vector<long> sizesToMeet() {
    std::vector<long> sizes;
    for (const long whole : {64L, 128L, 192L, 2048L, 4096L, 6144L, 8192L, 12288L, 16384L}) {
        sizes.insert(sizes.end(), {whole - 1, whole, whole + 1});
    }
    sizes.erase(std::remove(sizes.begin(), sizes.end(), 127), sizes.end());
    return sizes;
}

// A shape whose class c has so many coefficients, of images with more levels than c; none has a side above 6000.
Shape2d shapeWith(int c, long size) {
    for (int width = 4 << c; width <= 6000; ++width) {
        for (int height = 4 << c; height <= 6000; ++height) {
            const Shape2d shape{width, height};
            if (classSize(shape, c) == size) {
                return shape;
            }
            if (gridSize(shape, c) > 2 * size) {
                break;
            }
        }
    }
    return {0, 0};
}

template <typename T>
class TargetClassSizes : public testing::Test {
protected:
    void check(const Shape2d& shape) {
        SCOPED_TRACE(testing::Message() << shape);
        for (const unsigned oneIn : {1U, 3U, 6U, 25U, 400U}) {
            checkImage(scattered<T>(shape, 6, oneIn, random));
        }
        checkImage(coefficients<T>(Content::geometric, shape, 8, random));
        checkImage(coefficients<T>(Content::greatest, shape, 3, random));
        checkImage(lastSampleAlone(shape));
    }

    std::mt19937_64 random{12};

private:
    static LaidOutImage<T> lastSampleAlone(const Shape2d& shape) {
        LaidOutImage<T> image(shape.width, shape.height, 1);
        image.fill([&](int, int y, int x) { return x == shape.width - 1 && y == shape.height - 1 ? -5 : 0; });
        return image;
    }

    void checkImage(const LaidOutImage<T>& image) {
        const Written<T> plain = writtenToMemory(image, Target::plain, ampleRoom(*image));
        for (const Target target : sampledTargets()) {
            ASSERT_TRUE(sameWriting(writtenToMemory(image, target, ampleRoom(*image)), plain)) << target;
        }
        Bytes stream = plainStream(image);
        for (int i = 0; i < 3; ++i) {
            expectPlainReading(image, prefix(stream, random() % stream.size()));
        }
        stream.resize(stream.size() + 8);
        ASSERT_EQ(expectPlainReading(image, stream).result, 0);
    }
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetClassSizes, SampleTypes);

} // namespace

TYPED_TEST(TargetClassSizes, OfTheFinestClass) {
    for (const long size : sizesToMeet()) {
        const Shape2d shape = shapeWith(0, size);
        ASSERT_EQ(classSize(shape, 0), size);
        this->check(shape);
    }
}

TYPED_TEST(TargetClassSizes, OfTheSecondClass) {
    for (const long size : sizesToMeet()) {
        if (size > 8193) {
            break;
        }
        const Shape2d shape = shapeWith(1, size);
        ASSERT_EQ(classSize(shape, 1), size);
        this->check(shape);
    }
}

// Two or three columns have no level: all coefficients are of one class.
TYPED_TEST(TargetClassSizes, OfTheOnlyClass) {
    for (const long size : sizesToMeet()) {
        for (const int columns : {2, 3}) {
            if (size % columns == 0) {
                const Shape2d shape{columns, static_cast<int>(size / columns)};
                ASSERT_EQ(numberOfLevels(shape.width, shape.height), 0);
                this->check(shape);
                this->check({shape.height, shape.width});
            }
        }
    }
}

TYPED_TEST(TargetClassSizes, OfTheApproximation) {
    for (const auto& [columns, rows] : {std::pair{21, 3}, {16, 4}, {13, 5}}) {
        const Shape2d shape{32 * columns, 32 * rows - 31};
        ASSERT_EQ(classSize(shape, maximumLevels), columns * rows);
        this->check(shape);
    }
}

} // namespace teko

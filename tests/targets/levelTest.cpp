// Levels of the decomposition by rows, against the filter on every row and every column.
#include "filter/filter4_2.hpp"
#include "support/targets.hpp"
#include "targets/textures.hpp"
#include "wavelet/rowTransform.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <limits>

namespace teko {

namespace {

// The column pass of a level, signal by signal: through copies where the format says so, else in place.
template <typename T>
void filterColumns(const Lattice<T>& lattice, void (Filter<T>::*inPlace)(T*, int, unsigned long),
                   void (Filter<T>::*onCopy)(T*, int)) {
    constexpr int edge = 3;
    Filter4_2<T> filter;
    for (int x = 0; x < lattice.width; x += lattice.step) {
        T* column = lattice.plane + x;
        if (!lattice.needsBlocks()) {
            (filter.*inPlace)(column, lattice.rows(), lattice.rowSpacing());
            continue;
        }
        const auto spacing = static_cast<long>(lattice.rowSpacing());
        std::vector<T> copy(static_cast<std::size_t>(lattice.rows() + 2 * edge));
        for (int i = 0; i < lattice.rows(); ++i) {
            copy[static_cast<std::size_t>(edge + i)] = column[i * spacing];
        }
        (filter.*onCopy)(copy.data() + edge, lattice.rows());
        for (int i = 0; i < lattice.rows(); ++i) {
            column[i * spacing] = copy[static_cast<std::size_t>(edge + i)];
        }
    }
}

template <typename T>
void filterRows(const Lattice<T>& lattice, void (Filter<T>::*operation)(T*, int, unsigned long)) {
    Filter4_2<T> filter;
    for (int y = 0; y < lattice.height; y += lattice.step) {
        (filter.*operation)(lattice.row(y), lattice.columns(), static_cast<unsigned long>(lattice.step));
    }
}

template <typename T>
void plainTransformLevel(const Lattice<T>& lattice) {
    filterRows(lattice, &Filter<T>::transform);
    filterColumns(lattice, &Filter<T>::transform, &Filter<T>::transformInner);
}

template <typename T>
void plainUntransformLevel(const Lattice<T>& lattice) {
    filterColumns(lattice, &Filter<T>::untransform, &Filter<T>::untransformInner);
    filterRows(lattice, &Filter<T>::untransform);
}

template <typename T>
class TargetLevels : public testing::Test {
protected:
    using Image = LaidOutImage<T>;

    static Lattice<T> latticeOf(Image& image, int step) {
        return {image->planes[0], image->width, image->height, image->stride, step};
    }

    // Both directions of a level, with every target.
    void check(const Image& image, int step) {
        Image forward = image;
        plainTransformLevel(latticeOf(forward, step));
        Image inverse = image;
        plainUntransformLevel(latticeOf(inverse, step));
        for (const Target target : fastTargets()) {
            SCOPED_TRACE(testing::Message() << target << ", step " << step);
            checkOne(image, forward, step, 25'000'000, target,
                     [](const Lattice<T>& lattice, Target active) { return transformLevels(lattice, 1, active) == 1; });
            checkOne(image, inverse, step, 24'000'000, target,
                     [](const Lattice<T>& lattice, Target active) { return untransformLevels(lattice, 1, active); });
        }
    }

    // Both directions of several levels in one pass. Returns how many levels were done, forward and back, by a target.
    std::pair<int, int> checkLevels(const Image& image, int levels) {
        std::pair<int, int> done;
        Image inverse = image;
        for (int level = levels - 1; level >= 0; --level) {
            plainUntransformLevel(latticeOf(inverse, 1 << level));
        }
        for (const Target target : fastTargets()) {
            SCOPED_TRACE(testing::Message() << target << ", " << levels << " levels");
            Image result = image;
            done.first = transformLevels(latticeOf(result, 1), levels, target);
            EXPECT_LE(done.first, levels);
            Image forward = image;
            for (int level = 0; level < done.first; ++level) {
                plainTransformLevel(latticeOf(forward, 1 << level));
            }
            EXPECT_TRUE(sameMemory(result, forward));
            Image back = image;
            done.second = untransformLevels(latticeOf(back, 1), levels, target) ? levels : 0;
            EXPECT_TRUE(sameMemory(back, done.second == levels ? inverse : image));
        }
        return done;
    }

    // Each size that can have a level takes its turn with every texture.
    void checkSizes(int least, int most) {
        const Layout layouts[] = {{}, {3, 0}, {0, 1}, {600, 2}};
        std::size_t turn = 0;
        for (int rows = least; rows <= most; ++rows) {
            for (int columns = least; columns <= most; ++columns) {
                for (const Texture texture : allTextures) {
                    const int step = 1 << turn / 4 % 3;
                    const int extra = static_cast<int>(random() % static_cast<unsigned>(step));
                    Image image((columns - 1) * step + 1 + extra, (rows - 1) * step + 1, 1, layouts[turn % 4]);
                    paint(image, texture, random);
                    check(image, step);
                    if (this->HasFatalFailure()) {
                        return;
                    }
                    ++turn;
                }
            }
        }
    }

    Random random{3};

private:
    static unsigned long largestMagnitude(Image& image, int step) {
        unsigned long largest = 0;
        for (int y = 0; y < image->height; y += step) {
            for (int x = 0; x < image->width; x += step) {
                const long sample = image.at(0, y, x);
                const auto number = static_cast<unsigned long>(sample);
                largest = std::max(largest, sample < 0 ? 0 - number : number);
            }
        }
        return largest;
    }

    // What the procedure says, it has done; and it does what it can.
    static void checkOne(const Image& image, const Image& wanted, int step, long limit, Target target,
                         bool (*procedure)(const Lattice<T>&, Target)) {
        Image result = image;
        const Lattice<T> lattice = latticeOf(result, step);
        const unsigned long largest = largestMagnitude(result, step);
        const bool isLongEnough = lattice.columns() >= 6 && lattice.rows() >= 6;
        const auto bound =
            sizeof(T) == sizeof(short) ? std::numeric_limits<unsigned long>::max() : static_cast<unsigned long>(limit);
        const bool applies = procedure(lattice, target);
        ASSERT_TRUE(sameMemory(result, applies ? wanted : image));
        if (!isLongEnough || largest > bound) {
            ASSERT_FALSE(applies);
        } else if (sizeof(T) == sizeof(short) || std::bit_ceil(largest + 1) <= bound) {
            ASSERT_TRUE(applies);
        }
    }
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetLevels, SampleTypes);

} // namespace

TYPED_TEST(TargetLevels, OfEverySmallSizeAreThePlainOnes) {
    this->checkSizes(1, 24);
}

TYPED_TEST(TargetLevels, OfSizesAroundVectorsAreThePlainOnes) {
    this->checkSizes(29, 37);
}

TYPED_TEST(TargetLevels, InOnePassAreThePlainOnesForEverySize) {
    std::size_t turn = 0;
    for (int rows = 6; rows <= 60; ++rows) {
        for (int columns = 6; columns <= 60; columns += 1 + rows % 3) {
            LaidOutImage<TypeParam> image(columns, rows, 1, {static_cast<int>(turn % 3), static_cast<int>(turn % 2)});
            paint(image, allTextures[turn % allTextures.size()], this->random);
            this->checkLevels(image, 1 + static_cast<int>(turn % 5));
            ++turn;
        }
        if (this->HasFailure()) {
            return;
        }
    }
}

TYPED_TEST(TargetLevels, InOnePassAreThePlainOnesForAllFive) {
    for (int i = 0; i < 24; ++i) {
        const int width = 161 + static_cast<int>(this->random() % 120);
        const int height = 161 + static_cast<int>(this->random() % (i % 6 == 0 ? 900 : 120));
        LaidOutImage<TypeParam> image(width, height, 1, {i % 4 == 0 ? 400 : 0, 0});
        paint(image, allTextures[static_cast<std::size_t>(i) % allTextures.size()], this->random);
        this->checkLevels(image, 5);
    }
}

TYPED_TEST(TargetLevels, InOnePassAreThePlainOnesForSamplesOfEverySize) {
    for (const long size : sizesThatMatter<TypeParam>()) {
        for (int levels = 1; levels <= 5; ++levels) {
            LaidOutImage<TypeParam> image(167, 165, 1);
            image.fill([&](int, int, int) { return texture::extremeSample(size, this->random); });
            this->checkLevels(image, levels);
        }
    }
}

// The magnitudes that a file's samples can have, and as many levels as they leave room for.
TYPED_TEST(TargetLevels, RunInOnePassForSamplesOfFiles) {
    struct Depth {
        long largest;
        int forward;
    };
    const auto depths = sizeof(TypeParam) == sizeof(short) ? std::vector<Depth>{{255, 5}}
                                                           : std::vector<Depth>{{4095, 5}, {8191, 5}, {65535, 4}};
    for (const Depth& depth : depths) {
        LaidOutImage<TypeParam> image(193, 197, 1);
        image.fill([&](int, int, int) { return static_cast<TypeParam>(this->random() % 2 == 0 ? 0 : depth.largest); });
        EXPECT_EQ(this->checkLevels(image, 5), std::pair(depth.forward, 5)) << depth.largest;
    }
}

TYPED_TEST(TargetLevels, WithColumnsInBlocksAreThePlainOnes) {
    for (int i = 0; i < 14; ++i) {
        LaidOutImage<TypeParam> image(510 + i % 8, 509 + i, 1, {i % 3, i % 2});
        paint(image, allTextures[static_cast<std::size_t>(i) % allTextures.size()], this->random);
        this->check(image, 1);
    }
}

// The distance between rows decides, not their length.
TYPED_TEST(TargetLevels, WithNarrowColumnsInBlocksAreThePlainOnes) {
    for (const Texture texture : allTextures) {
        for (const int stride : {511, 512, 513}) {
            LaidOutImage<TypeParam> image(23, 515, 1, {stride - 23, 0});
            paint(image, texture, this->random);
            this->check(image, 1);
        }
        LaidOutImage<TypeParam> image(45, 1041, 1, {214, 1});
        paint(image, texture, this->random);
        this->check(image, 2);
    }
}

// The sizes around which the steps change, in a single row among small ones, at every distance from the ends.
TYPED_TEST(TargetLevels, WithOneRowOfEverySizeAreThePlainOnes) {
    for (const long size : sizesThatMatter<TypeParam>()) {
        for (const int height : {6, 7, 12, 13, 21, 22}) {
            for (int row = 0; row < height; ++row) {
                LaidOutImage<TypeParam> image(37, height, 1);
                image.fill(
                    [&](int, int y, int) { return texture::extremeSample(y == row ? size : 255, this->random); });
                this->check(image, 1);
                if (this->HasFatalFailure()) {
                    return;
                }
            }
        }
    }
}

TYPED_TEST(TargetLevels, WithEverySampleOfOneSizeAreThePlainOnes) {
    for (const long size : sizesThatMatter<TypeParam>()) {
        for (int round = 0; round < 10; ++round) {
            LaidOutImage<TypeParam> image(61, 58, 1);
            image.fill([&](int, int, int) { return texture::extremeSample(size, this->random); });
            this->check(image, 1);
        }
    }
}

TYPED_TEST(TargetLevels, WithSamplesThatAddUpAreThePlainOnes) {
    const int rounds = sizeof(TypeParam) == sizeof(short) ? 8000 : 2000;
    for (int round = 0; round < rounds; ++round) {
        LaidOutImage<TypeParam> image(93, 13 + static_cast<int>(this->random() % 20), 1);
        paint(image, Texture::adverse, this->random);
        this->check(image, 1);
        if (this->HasFatalFailure()) {
            return;
        }
    }
}

} // namespace teko

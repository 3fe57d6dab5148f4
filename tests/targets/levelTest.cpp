// SPDX-License-Identifier: Apache-2.0
// Levels of the decomposition by rows, against the filter on every row and every column.
#include "fast/kernels/kernels.hpp"
#include "fast/transform/forwardLevels.hpp"
#include "fast/transform/inverseLevels.hpp"
#include "filter/filter.hpp"
#include "support/targets.hpp"
#include "targets/textures.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace teko {

namespace {

// The column pass of a level, signal by signal: through copies where the format says so, else in place.
template <typename T>
void filterColumns(const LevelGrid<T>& grid, void (Filter<T>::*inPlace)(T*, int, unsigned long),
                   void (Filter<T>::*onCopy)(T*, int)) {
    constexpr int edge = 3;
    Filter4_2<T> filter;
    for (int x = 0; x < grid.width; x += grid.step) {
        T* column = grid.plane + x;
        if (!grid.needsBlocks()) {
            (filter.*inPlace)(column, grid.rows(), grid.rowSpacing());
            continue;
        }
        const auto spacing = static_cast<long>(grid.rowSpacing());
        std::vector<T> copy(static_cast<std::size_t>(grid.rows() + 2 * edge));
        for (int i = 0; i < grid.rows(); ++i) {
            copy[static_cast<std::size_t>(edge + i)] = column[i * spacing];
        }
        (filter.*onCopy)(copy.data() + edge, grid.rows());
        for (int i = 0; i < grid.rows(); ++i) {
            column[i * spacing] = copy[static_cast<std::size_t>(edge + i)];
        }
    }
}

template <typename T>
void filterRows(const LevelGrid<T>& grid, void (Filter<T>::*operation)(T*, int, unsigned long)) {
    Filter4_2<T> filter;
    for (int y = 0; y < grid.height; y += grid.step) {
        (filter.*operation)(grid.row(y), grid.columns(), static_cast<unsigned long>(grid.step));
    }
}

template <typename T>
void plainTransformLevel(const LevelGrid<T>& grid) {
    filterRows(grid, &Filter<T>::transform);
    filterColumns(grid, &Filter<T>::transform, &Filter<T>::transformInner);
}

template <typename T>
void plainUntransformLevel(const LevelGrid<T>& grid) {
    filterColumns(grid, &Filter<T>::untransform, &Filter<T>::untransformInner);
    filterRows(grid, &Filter<T>::untransform);
}

// The samples of row y that a level works on.
template <typename T>
std::vector<RowSample<T>> rowOf(const LevelGrid<T>& grid, int y) {
    std::vector<RowSample<T>> row;
    for (int x = 0; x < grid.columns(); ++x) {
        row.push_back(static_cast<RowSample<T>>(grid.row(y * grid.step)[x * grid.step]));
    }
    return row;
}

template <typename T>
void setRow(const LevelGrid<T>& grid, int y, const PolyphaseRow<RowSample<T>>& row) {
    for (int x = 0; x < grid.columns(); ++x) {
        grid.row(y * grid.step)[x * grid.step] = (x % 2 == 0 ? row.even : row.odd)[x / 2];
    }
}

// Returns the rows in the order in which they were passed on.
template <typename T>
std::vector<int> transformLevel(const LevelGrid<T>& grid, Target target) {
    std::vector<int> passed;
    const auto pass = [&](int y, const PolyphaseRow<RowSample<T>>& row) {
        setRow(grid, y, row);
        passed.push_back(y);
    };
    const int rows = grid.rows();
    ForwardLevel<T, decltype(pass)> level(grid, kernelsOf(target).rows<T>(), pass, nullptr);
    for (int y = 0; y < rows; ++y) {
        level.take(y, rowOf(grid, y).data());
    }
    level.finish();
    return passed;
}

// Returns the rows in the order in which they were asked for.
template <typename T>
std::vector<int> untransformLevel(const LevelGrid<T>& grid, Target target) {
    std::vector<int> filled;
    const RowKernels<T>& kernels = kernelsOf(target).rows<T>();
    const auto fill = [&](int y, PolyphaseRow<RowSample<T>>& row) {
        row.bound = kernels.split(rowOf(grid, y).data(), grid.columns(), row.even, row.odd);
        filled.push_back(y);
        return true;
    };
    InverseLevel<T, decltype(fill)> level(grid, kernels, fill);
    for (int y = 0; y < grid.rows(); ++y) {
        level.reach(y);
        setRow(grid, y, level.row(y));
    }
    return filled;
}

template <typename T>
class TargetLevels : public testing::Test {
protected:
    using Image = LaidOutImage<T>;

    static LevelGrid<T> gridOf(Image& image, int step) {
        return {image->planes[0], image->width, image->height, image->stride, step};
    }

    // Both directions of a level, with every target, on samples that leave room in the sums of int rows.
    void check(const Image& painted, int step) {
        Image image = painted;
        image.fill([&](int c, int y, int x) { return std::clamp<long>(painted.at(c, y, x), -most, most); });
        Image forward = image;
        plainTransformLevel(gridOf(forward, step));
        Image inverse = image;
        plainUntransformLevel(gridOf(inverse, step));
        std::vector<int> allRows;
        for (int y = 0; y < gridOf(image, step).rows(); ++y) {
            allRows.push_back(y);
        }
        for (const Target target : sampledTargets()) {
            SCOPED_TRACE(testing::Message() << target << ", step " << step);
            Image result = image;
            ASSERT_EQ(transformLevel(gridOf(result, step), target), allRows);
            ASSERT_TRUE(sameMemory(result, forward));
            Image back = image;
            ASSERT_EQ(untransformLevel(gridOf(back, step), target), allRows);
            ASSERT_TRUE(sameMemory(back, inverse));
        }
    }

    // Each size takes its turn with every texture.
    void checkSizes(int first, int last, int firstRows) {
        const Layout layouts[] = {{}, {3, 0}, {0, 1}, {600, 2}};
        std::size_t turn = 0;
        for (int rows = firstRows; rows <= last; ++rows) {
            for (int columns = first; columns <= last; ++columns) {
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
    // Five levels make no more of what a file can hold.
    static constexpr long most = sizeof(T) == sizeof(short) ? 32768 : 24'000'000;
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetLevels, SampleTypes);

} // namespace

TYPED_TEST(TargetLevels, OfEverySmallSizeAreThePlainOnes) {
    this->checkSizes(6, 25, 4);
}

TYPED_TEST(TargetLevels, OfSizesAroundVectorsAreThePlainOnes) {
    this->checkSizes(29, 37, 29);
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

// SPDX-License-Identifier: Apache-2.0
// The coarsest level of the row streams where it has too few columns for row kernels: four or five. It holds all its
// samples and works on them with the plain filter.
#pragma once

#include "fast/transform/level.hpp"
#include "filter/filter4_2.hpp"
#include "memory/memory.hpp"
#include "wavelet/levels.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <type_traits>
#include <utility>

namespace teko {

template <typename T>
class WholeLevel {
public:
    using Row = RowSample<T>;

    explicit WholeLevel(const LevelGrid<T>& grid)
        : columns(grid.columns()), rows(grid.rows()), needsBlocks(grid.needsBlocks()),
          samples(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows)),
          evens(static_cast<std::size_t>(columns + 1) / 2), odds(evens.size()) {}

    template <typename AnySample>
    void setRow(int y, const AnySample* from) {
        std::copy_n(from, columns, row(y));
    }
    void setRow(int y, const PolyphaseRow<Row>& from) {
        for (int x = 0; x < columns; ++x) {
            row(y)[x] = (x % 2 == 0 ? from.even : from.odd)[x / 2];
        }
    }

    // Room for a row.
    PolyphaseRow<Row> splitRow() { return {evens.data(), odds.data(), 0}; }
    // Row y there.
    PolyphaseRow<Row> splitRow(int y) {
        PolyphaseRow<Row> split = splitRow();
        for (int x = 0; x < columns; ++x) {
            const T sample = row(y)[x];
            (x % 2 == 0 ? split.even : split.odd)[x / 2] = static_cast<Row>(sample);
            split.largest = std::max(split.largest, std::abs(std::int64_t{sample}));
        }
        return split;
    }

    void transform() {
        Filter4_2<T> filter;
        for (int y = 0; y < rows; ++y) {
            filter.transform(row(y), columns, 1);
        }
        filterColumns(filter, &Filter<T>::transform, &Filter<T>::transformInner);
    }
    void untransform() {
        Filter4_2<T> filter;
        filterColumns(filter, &Filter<T>::untransform, &Filter<T>::untransformInner);
        for (int y = 0; y < rows; ++y) {
            filter.untransform(row(y), columns, 1);
        }
    }

    // Whether the inverse, which is tried on a copy, gives that.
    bool isUndoneTo(const WholeLevel& original) const {
        WholeLevel restored = *this;
        restored.untransform();
        return restored.samples == original.samples;
    }

    const int columns;
    const int rows;

private:
    T* row(int y) { return samples.data() + static_cast<std::int64_t>(y) * columns; }

    // Through a copy with room for edges, in the way that the level's place in the image demands.
    void filterColumns(Filter<T>& filter, void (Filter<T>::*inPlace)(T*, int, unsigned long),
                       void (Filter<T>::*onCopy)(T*, int)) {
        constexpr int edgeRoom = Filter<T>::edgeRoom;
        Vector<T> copy(static_cast<std::size_t>(rows + 2 * edgeRoom));
        T* const column = copy.data() + edgeRoom;
        for (int x = 0; x < columns; ++x) {
            for (int y = 0; y < rows; ++y) {
                column[y] = row(y)[x];
            }
            if (needsBlocks) {
                (filter.*onCopy)(column, rows);
            } else {
                (filter.*inPlace)(column, rows, 1);
            }
            for (int y = 0; y < rows; ++y) {
                row(y)[x] = column[y];
            }
        }
    }

    bool needsBlocks;
    Vector<T> samples;
    Vector<Row> evens;
    Vector<Row> odds;
};

// Hands its coefficients to pass(y, row), as ForwardLevel.
template <typename T, typename Pass>
class ForwardWholeLevel final : public LevelSink<T> {
public:
    ForwardWholeLevel(const LevelGrid<T>& grid, const Pass& passOn) : plane(grid), pass(passOn) {}

    void take(int y, HandedRow<T> samples) override {
        if constexpr (std::is_same_v<T, std::int64_t>) {
            samples.narrow != nullptr ? plane.setRow(y, samples.narrow) : plane.setRow(y, samples.wide);
        } else {
            plane.setRow(y, samples);
        }
    }
    bool isReversible() const override { return comesBack; }

    void finish() override {
        if constexpr (std::is_same_v<T, std::int16_t>) {
            const WholeLevel<T> original = plane;
            plane.transform();
            comesBack = plane.isUndoneTo(original);
        } else {
            plane.transform();
        }
        for (int y = 0; y < plane.rows; ++y) {
            pass(y, plane.splitRow(y));
        }
    }

private:
    WholeLevel<T> plane;
    Pass pass;
    bool comesBack = true;
};

// Takes its coefficients from fill(y, row), as InverseLevel.
template <typename T, typename Fill>
class InverseWholeLevel final : public LevelSource<T> {
public:
    InverseWholeLevel(const LevelGrid<T>& grid, const Fill& fillRow) : plane(grid), fill(fillRow) {}

    HandedPolyphaseRow<T> restore(int y) override {
        if (!isRestored) {
            restoreAll();
        }
        current = plane.splitRow(y);
        return current;
    }

private:
    void restoreAll() {
        for (int y = 0; y < plane.rows; ++y) {
            PolyphaseRow<RowSample<T>> row = plane.splitRow();
            fill(y, row);
            plane.setRow(y, row);
        }
        plane.untransform();
        isRestored = true;
    }

    WholeLevel<T> plane;
    Fill fill;
    PolyphaseRow<RowSample<T>> current{};
    bool isRestored = false;
};

} // namespace teko

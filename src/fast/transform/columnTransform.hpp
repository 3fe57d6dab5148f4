// SPDX-License-Identifier: Apache-2.0
// The transform of narrow images, whose planes are there column by column: each level as a whole, all of its rows and
// then all of its columns.
//
// Rows of few samples have next to nothing for vectors to do, and each of them costs its calls. Columns of such images
// are long: with a row kernel, a step along the rows takes one column with its neighbours, sample by sample, and both
// steps down a column are those along a row.
#pragma once

#include "fast/rows/rowKernels.hpp"
#include "fast/transform/rowStream.hpp"
#include "memory/pageBuffer.hpp"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>

namespace teko {

// n samples, `spacing` apart in the one place and without a gap in the other.
template <typename Row>
void gatherSamples(const Row* __restrict spaced, std::int64_t spacing, int n, Row* __restrict dense) {
    for (int i = 0; i < n; ++i) {
        dense[i] = spaced[i * spacing];
    }
}
template <typename Row>
void scatterSamples(const Row* __restrict dense, int n, Row* __restrict spaced, std::int64_t spacing) {
    for (int i = 0; i < n; ++i) {
        spaced[i * spacing] = dense[i];
    }
}

// The plane of a narrow image, or of one of its levels. Each column has its samples in even and in odd rows apart, and
// the room that row kernels ask for.
template <typename Row>
class ColumnPlane {
public:
    // Of uninitialised samples. Throws std::bad_alloc.
    ColumnPlane(int columnCount, int rowCount)
        : columns(columnCount), rows(rowCount), half((evens() + 2 * margin + vector - 1) / vector * vector),
          memory(bytes()) {
        if (bytes() >= leastForLargePages) {
            memory.adviseHugePages(bytes());
        }
        start = reinterpret_cast<Row*>(memory.data() + upToLine());
        for (int part = 0; part < 2 * columns; ++part) {
            Row* const room = start + half * part;
            std::fill(room, room + margin, Row{0});
            std::fill(room + margin + odds(), room + half, Row{0});
        }
    }

    // Column x; beyond the first and the last, columns are mirrored.
    PolyphaseRow<Row> column(int x) {
        const int mirrored = x < 0 ? -x : x >= columns ? 2 * (columns - 1) - x : x;
        assert(mirrored >= 0 && mirrored < columns);
        Row* const even = start + 2 * half * mirrored + margin;
        return {even, even + half, 0};
    }

    // Rows from an even one on, one behind the other as if they were one, its samples at even and at odd places apart.
    void put(int first, int n, const Row* even, const Row* odd) {
        forEachPart(first, n, [&](std::int64_t place, int samples, Row* part) {
            gatherSamples((place % 2 == 0 ? even : odd) + place / 2, columns, samples, part);
        });
    }
    void get(int first, int n, Row* even, Row* odd) {
        forEachPart(first, n, [&](std::int64_t place, int samples, const Row* part) {
            scatterSamples(part, samples, (place % 2 == 0 ? even : odd) + place / 2, columns);
        });
    }

    int evens() const { return (rows + 1) / 2; }
    int odds() const { return rows / 2; }

    const int columns;
    const int rows;

private:
    // Calls visit(place, n, samples) for the parts of all columns: the first of n samples is at that place, and from
    // one to the next there are two rows.
    template <typename Visit>
    void forEachPart(int first, int n, Visit visit) {
        assert(first % 2 == 0 && first + n <= rows);
        for (int x = 0; x < columns; ++x) {
            visit(std::int64_t{x}, (n + 1) / 2, column(x).even + first / 2);
            visit(std::int64_t{columns} + x, n / 2, column(x).odd + first / 2);
        }
    }

    std::size_t bytes() const {
        return static_cast<std::size_t>(2 * half) * static_cast<std::size_t>(columns) * sizeof(Row) + line;
    }
    std::size_t upToLine() const { return (line - reinterpret_cast<std::uintptr_t>(memory.data()) % line) % line; }

    static constexpr std::int64_t margin = 32;
    static constexpr std::int64_t vector = 32;
    static constexpr std::size_t line = 64;
    // Smaller planes are many, and a large page counts as a whole.
    static constexpr std::size_t leastForLargePages = std::size_t{2} << 20;

    const std::int64_t half;
    PageBuffer memory;
    Row* start;
};

// Whether images of that shape are transformed so. No column of any level is shorter than six samples or goes through
// blocks.
//
// Against row streams: 8 columns are coded 3 to 4 times as fast, 20 columns 1.6 to 2.3 times.
bool suitsColumns(int width, int height);

// Passes all coefficients of a plane on. The magnitudes of its samples are at most `bound`: they are of 8 or 16 bits,
// or differences of two samples of 8 bits. What the plane holds afterwards is of no use. Throws std::bad_alloc: up to a
// third of the plane is needed beside it.
// Returns whether it is proved that the inverse gives the samples back.
template <typename T>
bool transformColumns(ColumnPlane<RowSample<T>>& plane, std::int64_t bound, const RowKernels<T>& kernels,
                      CoefficientSink<T>& sink);

// Restores a plane from coefficients that are as those of an InverseStream. Throws std::bad_alloc.
template <typename T>
void untransformColumns(CoefficientSource<T>& source, const RowKernels<T>& kernels, ColumnPlane<RowSample<T>>& plane);

extern template bool transformColumns(ColumnPlane<std::int16_t>&, std::int64_t, const RowKernels<std::int16_t>&,
                                      CoefficientSink<std::int16_t>&);
extern template bool transformColumns(ColumnPlane<int>&, std::int64_t, const RowKernels<std::int64_t>&,
                                      CoefficientSink<std::int64_t>&);
extern template void untransformColumns(CoefficientSource<std::int16_t>&, const RowKernels<std::int16_t>&,
                                        ColumnPlane<std::int16_t>&);
extern template void untransformColumns(CoefficientSource<std::int64_t>&, const RowKernels<std::int64_t>&,
                                        ColumnPlane<int>&);

} // namespace teko

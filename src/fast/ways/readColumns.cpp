// SPDX-License-Identifier: Apache-2.0
#include "fast/ways/readColumns.hpp"

#include "fast/kernels/kernels.hpp"

#include <algorithm>

namespace teko {

namespace {

// split(raw, pixels, channels) takes several rows as one.
template <typename Row, typename Split>
bool readBands(RowSource& rows, int count, Split split, RowBand<Row>& band, Vector<ColumnPlane<Row>>& planes) {
    const int height = planes.front().rows;
    for (int y = 0; y < count; ++y) {
        const unsigned char* const row = rows.next();
        if (row == nullptr) {
            return false;
        }
        std::copy_n(row, band.rowBytes, band.rawRow(band.filled++));
        if (band.filled < band.rows && band.first + band.filled < height) {
            continue;
        }
        split(band.rawRow(0), band.filled * band.width, band.channels);
        for (std::size_t c = 0; c < planes.size(); ++c) {
            planes[c].put(band.first, band.filled, band.channels[c].even, band.channels[c].odd);
        }
        band.first += band.filled;
        band.filled = 0;
    }
    return true;
}

} // namespace

bool readColumns(RowSource& rows, int count, Target target, RowBand<std::int16_t>& band,
                 Vector<ColumnPlane<std::int16_t>>& planes) {
    const RawRowKernels& raws = kernelsOf(target).rawRows;
    if (planes.size() == 3) {
        return readBands(rows, count, raws.splitColours, band, planes);
    }
    const auto bytes = [&](const unsigned char* raw, int pixels, const SplitRow<std::int16_t>* channels) {
        raws.splitBytes(raw, pixels, channels[0]);
    };
    return readBands(rows, count, bytes, band, planes);
}

bool readColumns(RowSource& rows, int count, Target target, RowBand<int>& band, Vector<ColumnPlane<int>>& planes) {
    const RawRowKernels& raws = kernelsOf(target).rawRows;
    const auto words = [&](const unsigned char* raw, int pixels, const SplitRow<int>* channels) {
        raws.splitWords(raw, pixels, channels[0]);
    };
    return readBands(rows, count, words, band, planes);
}

} // namespace teko

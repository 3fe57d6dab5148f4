// SPDX-License-Identifier: Apache-2.0
#include "codec/readColumns.hpp"

#include "codec/rowBand.hpp"
#include "image/splitRawRows.hpp"

#include <algorithm>

namespace teko {

namespace {

// split(raw, pixels, channels) takes several rows as one.
template <typename Row, typename Split>
bool readBands(RowSource& rows, int bytesPerPixel, Split split, std::vector<ColumnPlane<Row>>& planes) {
    const int height = planes.front().rows;
    RowBand<Row> band(planes.front().columns, bytesPerPixel, static_cast<int>(planes.size()));
    for (int first = 0; first < height; first += band.rows) {
        const int n = std::min(band.rows, height - first);
        for (int y = 0; y < n; ++y) {
            const unsigned char* const row = rows.next();
            if (row == nullptr) {
                return false;
            }
            std::copy_n(row, band.rowBytes, band.rawRow(y));
        }
        split(band.rawRow(0), n * band.width, band.channels);
        for (std::size_t c = 0; c < planes.size(); ++c) {
            planes[c].put(first, n, band.channels[c].even, band.channels[c].odd);
        }
    }
    return true;
}

} // namespace

bool readColumns(RowSource& rows, Target target, std::vector<ColumnPlane<std::int16_t>>& planes) {
    const SplitRawRows& split = splitRawRows(target);
    if (planes.size() == 3) {
        return readBands(rows, 3, split.colours, planes);
    }
    const auto bytes = [&](const unsigned char* raw, int pixels, const SplitSamples<std::int16_t>* channels) {
        split.bytes(raw, pixels, channels[0]);
    };
    return readBands(rows, 1, bytes, planes);
}

bool readColumns(RowSource& rows, Target target, std::vector<ColumnPlane<int>>& planes) {
    const SplitRawRows& split = splitRawRows(target);
    const auto words = [&](const unsigned char* raw, int pixels, const SplitSamples<int>* channels) {
        split.words(raw, pixels, channels[0]);
    };
    return readBands(rows, 2, words, planes);
}

} // namespace teko

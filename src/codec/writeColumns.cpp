// SPDX-License-Identifier: Apache-2.0
#include "codec/writeColumns.hpp"

#include "codec/rowBand.hpp"
#include "image/joinRawRows.hpp"

#include <algorithm>

namespace teko {

namespace {

// join(channels, pixels, raw) makes several rows as one.
template <typename Row, typename Join>
bool writeBands(std::vector<ColumnPlane<Row>>& planes, int bytesPerPixel, Join join, RowSink& rows) {
    const int height = planes.front().rows;
    RowBand<Row> band(planes.front().columns, bytesPerPixel, static_cast<int>(planes.size()));
    for (int first = 0; first < height; first += band.rows) {
        const int n = std::min(band.rows, height - first);
        for (std::size_t c = 0; c < planes.size(); ++c) {
            planes[c].get(first, n, band.channels[c].even, band.channels[c].odd);
        }
        join(band.channels, n * band.width, band.rawRow(0));
        for (int y = 0; y < n; ++y) {
            unsigned char* const row = rows.next();
            if (row == nullptr) {
                return false;
            }
            std::copy_n(band.rawRow(y), band.rowBytes, row);
        }
    }
    return rows.finish();
}

// The same from one channel. A limit of 0 is none.
template <typename Row, typename Join, typename Clamp>
bool writeGrey(std::vector<ColumnPlane<Row>>& planes, int bytesPerPixel, int limit, Join join, Clamp clamp,
               RowSink& rows) {
    const auto joinOne = [&](const SplitSamples<Row>* channels, int pixels, unsigned char* raw) {
        if (limit != 0) {
            clamp(channels[0].even, (pixels + 1) / 2, limit);
            clamp(channels[0].odd, pixels / 2, limit);
        }
        join(channels[0], pixels, raw);
    };
    return writeBands(planes, bytesPerPixel, joinOne, rows);
}

} // namespace

bool writeColumns(std::vector<ColumnPlane<std::int16_t>>& planes, int limit, Target target, RowSink& rows) {
    const JoinRawRows& join = joinRawRows(target);
    if (planes.size() != 3) {
        return writeGrey(planes, 1, limit, join.bytes, join.clamp, rows);
    }
    if (limit == 0) {
        return writeBands(planes, 3, join.colours, rows);
    }
    const auto coloursBelow = [&](const SplitSamples<std::int16_t>* channels, int pixels, unsigned char* raw) {
        join.coloursBelow(channels, pixels, limit, raw);
    };
    return writeBands(planes, 3, coloursBelow, rows);
}

bool writeColumns(std::vector<ColumnPlane<int>>& planes, int limit, Target target, RowSink& rows) {
    const JoinRawRows& join = joinRawRows(target);
    return writeGrey(planes, 2, limit, join.words, join.clampWide, rows);
}

} // namespace teko

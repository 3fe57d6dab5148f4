// SPDX-License-Identifier: Apache-2.0
#include "fast/ways/columnWay.hpp"

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

bool readColumns(RowSource& rows, int count, const RawRowKernels& raws, RowBand<std::int16_t>& band,
                 Vector<ColumnPlane<std::int16_t>>& planes) {
    if (planes.size() == 3) {
        return readBands(rows, count, raws.splitColours, band, planes);
    }
    const auto bytes = [&](const unsigned char* raw, int pixels, const PolyphaseRow<std::int16_t>* channels) {
        raws.splitBytes(raw, pixels, channels[0]);
    };
    return readBands(rows, count, bytes, band, planes);
}

bool readColumns(RowSource& rows, int count, const RawRowKernels& raws, RowBand<int>& band,
                 Vector<ColumnPlane<int>>& planes) {
    const auto words = [&](const unsigned char* raw, int pixels, const PolyphaseRow<int>* channels) {
        raws.splitWords(raw, pixels, channels[0]);
    };
    return readBands(rows, count, words, band, planes);
}

namespace {

// join(channels, pixels, raw) makes several rows as one.
template <typename Row, typename Join>
bool writeBands(Vector<ColumnPlane<Row>>& planes, Join join, RowBand<Row>& band, RowSink& rows, int count) {
    const int height = planes.front().rows;
    for (int y = 0; y < count; ++y) {
        if (band.given == band.filled) {
            band.first += band.filled;
            band.filled = std::min(band.rows, height - band.first);
            band.given = 0;
            for (std::size_t c = 0; c < planes.size(); ++c) {
                planes[c].get(band.first, band.filled, band.channels[c].even, band.channels[c].odd);
            }
            join(band.channels, band.filled * band.width, band.rawRow(0));
        }
        unsigned char* const row = rows.next();
        if (row == nullptr) {
            return false;
        }
        std::copy_n(band.rawRow(band.given++), band.rowBytes, row);
    }
    return true;
}

// The same from one channel. A limit of 0 is none.
template <typename Row, typename Join, typename Clamp>
bool writeGrey(Vector<ColumnPlane<Row>>& planes, int limit, Join join, Clamp clamp, RowBand<Row>& band, RowSink& rows,
               int count) {
    const auto joinOne = [&](const PolyphaseRow<Row>* channels, int pixels, unsigned char* raw) {
        if (limit != 0) {
            clamp(channels[0].even, (pixels + 1) / 2, limit);
            clamp(channels[0].odd, pixels / 2, limit);
        }
        join(channels[0], pixels, raw);
    };
    return writeBands(planes, joinOne, band, rows, count);
}

} // namespace

bool writeColumns(Vector<ColumnPlane<std::int16_t>>& planes, int limit, const RawRowKernels& raws,
                  RowBand<std::int16_t>& band, RowSink& rows, int count) {
    if (planes.size() != 3) {
        return writeGrey(planes, limit, raws.joinBytes, raws.clamp, band, rows, count);
    }
    if (limit == 0) {
        return writeBands(planes, raws.joinColours, band, rows, count);
    }
    const auto coloursBelow = [&](const PolyphaseRow<std::int16_t>* channels, int pixels, unsigned char* raw) {
        raws.joinColoursBelow(channels, pixels, limit, raw);
    };
    return writeBands(planes, coloursBelow, band, rows, count);
}

bool writeColumns(Vector<ColumnPlane<int>>& planes, int limit, const RawRowKernels& raws, RowBand<int>& band,
                  RowSink& rows, int count) {
    return writeGrey(planes, limit, raws.joinWords, raws.clampWide, band, rows, count);
}

} // namespace teko

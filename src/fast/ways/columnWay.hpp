// SPDX-License-Identifier: Apache-2.0
// The fast way between the raw rows of a narrow image and its columns, colours and all.
#pragma once

#include "fast/kernels/kernels.hpp"
#include "fast/transform/columnTransform.hpp"
#include "image/rows.hpp"
#include "memory/memory.hpp"

#include <cstddef>
#include <cstdint>

namespace teko {

template <typename Row>
class RowBand {
public:
    // Throws std::bad_alloc.
    RowBand(int imageWidth, int bytesPerPixel, int channelCount)
        : width(imageWidth), rows(mostPixels / width / 2 * 2),
          rowBytes(std::size_t(width) * std::size_t(bytesPerPixel)), raw(static_cast<std::size_t>(rows) * rowBytes),
          samples(static_cast<std::size_t>(2 * channelCount) * partSamples) {
        for (int c = 0; c < channelCount; ++c) {
            Row* const even = samples.data() + 2 * std::size_t{partSamples} * static_cast<std::size_t>(c);
            channels[c] = {even, even + partSamples};
        }
    }

    unsigned char* rawRow(int y) { return raw.data() + static_cast<std::size_t>(y) * rowBytes; }

    const int width;
    const int rows; // at most; even
    int first = 0;  // row of the image that the band starts with
    int filled = 0; // its rows
    int given = 0;  // those of them that a sink has
    const std::size_t rowBytes;
    PolyphaseRow<Row> channels[3]{};

private:
    // With what becomes of it, that stays in the nearest cache.
    static constexpr int mostPixels = 2048;
    static constexpr std::size_t partSamples = mostPixels / 2 + 32; // a row may be split so far beyond its end

    Vector<unsigned char> raw;
    Vector<Row> samples;
};

// Puts the next `count` rows of an image into the planes of its channels; those of a band that is not full wait in it
// for more, or for the image's end. Returns whether the source had them all.
bool readColumns(RowSource& rows, int count, const RawRowKernels& raws, RowBand<std::int16_t>& band,
                 Vector<ColumnPlane<std::int16_t>>& planes);
bool readColumns(RowSource& rows, int count, const RawRowKernels& raws, RowBand<int>& band,
                 Vector<ColumnPlane<int>>& planes);

// Hands the next `count` rows of an image on, clamped below a limit unless that is 0; those of a band that are not
// asked for yet wait in it. Returns whether they were taken.
bool writeColumns(Vector<ColumnPlane<std::int16_t>>& planes, int limit, const RawRowKernels& raws,
                  RowBand<std::int16_t>& band, RowSink& rows, int count);
bool writeColumns(Vector<ColumnPlane<int>>& planes, int limit, const RawRowKernels& raws, RowBand<int>& band,
                  RowSink& rows, int count);

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
#include "library/comparison.hpp"

#include "library/layoutRows.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace teko::library {

namespace {

int sampleAt(const unsigned char* row, std::size_t i, int bytesPerSample) {
    return bytesPerSample == 1 ? row[i] : row[2 * i] | row[2 * i + 1] << 8;
}

} // namespace

// Squares of differences of 16 bits, added up by rows: no sum loses a bit before 2^53.
Difference differenceOf(const ImageLayout& layout, const void* samples, const ImageLayout& otherLayout,
                        const void* otherSamples) {
    LayoutSource source(layout);
    LayoutSource otherSource(otherLayout);
    source.startAt(samples);
    otherSource.startAt(otherSamples);
    const std::size_t rowSamples = layout.rowBytes() / static_cast<std::size_t>(layout.kind->bytesPerSample);
    Difference difference{0.0, 0};
    double sum = 0.0;
    for (int y = 0; y < layout.height && layout.width > 0; ++y) {
        const unsigned char* const row = source.next();
        const unsigned char* const otherRow = otherSource.next();
        std::uint64_t sumOfRow = 0;
        for (std::size_t i = 0; i < rowSamples; ++i) {
            const int apart = std::abs(sampleAt(row, i, layout.kind->bytesPerSample) -
                                       sampleAt(otherRow, i, layout.kind->bytesPerSample));
            difference.largest = std::max(difference.largest, apart);
            sumOfRow += static_cast<std::uint64_t>(std::int64_t{apart} * apart);
        }
        sum += static_cast<double>(sumOfRow);
    }
    difference.mse = layout.isEmpty() ? 0.0 : sum / static_cast<double>(layout.samples());
    return difference;
}

double peakSignalToNoiseRatio(double mse, int bits) {
    const double peak = static_cast<double>((std::int64_t{1} << bits) - 1);
    return mse > 0.0 ? 10.0 * std::log10(peak * peak / mse) : std::numeric_limits<double>::infinity();
}

} // namespace teko::library

// SPDX-License-Identifier: Apache-2.0
// The inner loops on rows: raw rows from and to rows of samples, clamping, and the lifting steps on whole rows.
//
// A lifting step takes sample k of a row with sample k of its neighbour rows, and one set of steps serves both
// directions of a transform. Down the columns, the neighbours are the rows above and below. Along a row, the even and
// the odd samples are first split into a row each; the neighbours are then that row, shifted by one sample. For both
// steps along a row there are kernels of their own.
//
// Rows of short samples are of 16 bits, rows of long ones of 32 (int), or of 16 where they are narrow. Each kernel says
// for which values it gives what filter.hpp demands; who calls it keeps a bound of the magnitudes in a row. Kernels
// other than merge, unscale and the exact ones may write up to a vector of 32 samples beyond n: rows have that room.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace teko {

// Stands for samples of images of 16 bits in rows of 16 bits, where these can hold them through the filter.
struct Int64In16 {};

// What a row of an image's samples is made of.
template <typename T>
using RowSample = std::conditional_t<std::is_same_v<T, std::int64_t>, int, std::int16_t>;
// Which samples an image has whose rows are of T.
template <typename T>
using ImageSample = std::conditional_t<std::is_same_v<T, Int64In16>, std::int64_t, T>;

// A row, its samples at even places and those at odd places apart.
template <typename Row>
struct PolyphaseRow {
    Row* even;
    Row* odd;
    std::int64_t bound = 0; // no magnitude is above it, where one is kept

    // From sample x on, which is at an even place.
    PolyphaseRow from(int x) const { return {even + x / 2, odd + x / 2, bound}; }
};

// The smallest and the largest of some samples.
struct SampleRange {
    int least = std::numeric_limits<int>::max();
    int largest = std::numeric_limits<int>::min();

    void add(int sample) {
        least = std::min(least, sample);
        largest = std::max(largest, sample);
    }

    // Whether a level of narrow rows has room for all that it makes of such samples (docs/bounds.md).
    bool fitNarrowRows() const { return least >= -10'000 && largest <= 10'000 && largest - least <= 6400; }

    // Whether a level of narrow rows has room for all that it makes on the way back of approximations in this range and
    // other coefficients of at most d (docs/bounds.md).
    bool fitNarrowRows(int d) const {
        return least >= -7500 && largest <= 7500 &&
               std::int64_t{1773} * (largest - least) + std::int64_t{5430} * d <= 27'000'000;
    }
};

// A row of an image of 16 bits, narrow or of int: the other is null.
struct AnyRow {
    const std::int16_t* narrow = nullptr;
    const int* wide = nullptr;

    AnyRow(const std::int16_t* row) : narrow(row) {}
    AnyRow(const int* row) : wide(row) {}
};
struct AnyPolyphaseRow {
    const PolyphaseRow<std::int16_t>* narrow = nullptr;
    const PolyphaseRow<int>* wide = nullptr;

    AnyPolyphaseRow(const PolyphaseRow<std::int16_t>& row) : narrow(&row) {}
    AnyPolyphaseRow(const PolyphaseRow<int>& row) : wide(&row) {}
};

// How the levels of an image hand rows on: in the one form that its rows have, or in either.
template <typename T>
using HandedRow = std::conditional_t<std::is_same_v<T, std::int64_t>, AnyRow, const std::int16_t*>;
template <typename T>
using HandedPolyphaseRow =
    std::conditional_t<std::is_same_v<T, std::int64_t>, AnyPolyphaseRow, const PolyphaseRow<std::int16_t>&>;

// Up to which magnitudes kernels for smaller values are exact (docs/bounds.md): the sums in scale's brackets, and the
// neighbours that are added to them; samples that are unscaled; and the samples of a row that both steps are taken
// along at once.
constexpr int largestSumOfSmallUpdate = 2047;
constexpr int largestAddedToSmall = 4095;
constexpr int largestSumOfUpdate = 24575;
constexpr int largestAdded = 16383;
constexpr int largestUnscaled = 21841;
constexpr int largestAlongSmall = 600;
constexpr int largestAlong = 1638;

template <typename T>
struct RowKernels {
    using Row = RowSample<T>;

    // Splits n samples into those at even and at odd places. Returns a bound of the magnitudes: not below the largest,
    // and not above the next power of two.
    std::int64_t (*split)(const Row* x, int n, Row* even, Row* odd);
    // Puts them back; returns the bound.
    std::int64_t (*merge)(Row* x, int n, const Row* even, const Row* odd);
    // A bound of the magnitudes of n samples, as split returns it.
    std::int64_t (*bound)(const Row* x, int n);

    // odd -= rdiv(9 * (left + right) - (farLeft + farRight), 16), the sum wrapped to the sample's width; any values.
    void (*predict)(Row* odd, const Row* farLeft, const Row* left, const Row* right, const Row* farRight, int n);
    // odd -= rdiv(...) as predict, with the exact sum; any values.
    void (*predictExact)(Row* odd, const Row* farLeft, const Row* left, const Row* right, const Row* farRight, int n);
    // even = scale(even + rdiv(before + after, 4)), for sums in scale's brackets of at most largestSumOfSmallUpdate and
    // before, after up to largestAddedToSmall.
    void (*updateSmall)(Row* even, const Row* before, const Row* after, int n);
    // even = scale(...) as updateSmall, for sums up to largestSumOfUpdate and before, after up to largestAdded.
    void (*update)(Row* even, const Row* before, const Row* after, int n);
    // even = scale(...) as updateSmall; any values.
    void (*updateExact)(Row* even, const Row* before, const Row* after, int n);

    // Both steps along a row of n samples, mirrored about its ends; the first and the last odd samples come from exact
    // sums. For magnitudes up to largestAlongSmall, up to largestAlong, and any. Both parts have room as for (n + 1) /
    // 2 samples: a sample before and a vector beyond may be written, and a vector more read.
    void (*transformRowSmall)(Row* even, Row* odd, int n);
    void (*transformRow)(Row* even, Row* odd, int n);
    void (*transformRowExact)(Row* even, Row* odd, int n);

    // The inverses; unupdate for even up to largestUnscaled and before, after up to largestAdded.
    void (*unpredict)(Row* odd, const Row* farLeft, const Row* left, const Row* right, const Row* farRight, int n);
    void (*unpredictExact)(Row* odd, const Row* farLeft, const Row* left, const Row* right, const Row* farRight, int n);
    void (*unupdate)(Row* even, const Row* before, const Row* after, int n);
    void (*unupdateExact)(Row* even, const Row* before, const Row* after, int n);
    // Both steps back along a row; for even up to largestUnscaled and odd up to largestAdded, and any.
    void (*untransformRow)(Row* even, Row* odd, int n);
    void (*untransformRowExact)(Row* even, Row* odd, int n);

    // x = unscale(x), that many times; any values, of int rows any that are restored.
    void (*unscale)(Row* x, int n, int times);
};

// Rows of int take "any values" up to these, so that no sum leaves 32 bits, and their kernels are the same as the exact
// ones: samples on the way forward; on the way back, samples that a step starts from; and samples that are restored
// already, from which others are predicted. docs/bounds.md proves that no image and no stream has larger ones. "Any
// values" in narrow rows are those that a level makes of samples in a SampleRange that fits.
constexpr int largestForIntRows = 1 << 26;
constexpr int largestForIntRowsBack = 74'000'000;
constexpr int largestRestored = 100'000'000;

// Between narrow rows and rows of int, and the range of what goes into narrow rows.
struct NarrowRowKernels {
    // Split and merge of narrow rows that extend a range by the samples on the way, and look for no bound (encodes of
    // 16 bits up to counted coefficients: 1.12 to 1.14 times with AVX-512, against two passes more).
    void (*split)(const std::int16_t* x, int n, std::int16_t* even, std::int16_t* odd, SampleRange& range);
    void (*merge)(std::int16_t* x, int n, const std::int16_t* even, const std::int16_t* odd, SampleRange& range);
    // Merges rows of int into a narrow row, which keeps the low 16 bits, and extends the range by what they were.
    void (*mergeNarrowing)(std::int16_t* x, int n, const int* even, const int* odd, SampleRange& range);
    // Split and merge narrow rows into rows of int, without a bound.
    void (*splitWidening)(const std::int16_t* x, int n, int* even, int* odd);
    void (*mergeWidening)(int* x, int n, const std::int16_t* even, const std::int16_t* odd);
};

// Rows of raw files from and to those of the row transform. Every target gives the same.
struct RawRowKernels {
    // Each takes `width` pixels. Up to 32 samples beyond them may be written.
    // One byte a pixel.
    void (*splitBytes)(const unsigned char* raw, int width, const PolyphaseRow<std::int16_t>& samples);
    // Two bytes a pixel, the least significant first.
    void (*splitWords)(const unsigned char* raw, int width, const PolyphaseRow<int>& samples);
    // Two bytes a pixel into 16 bits, which have no room for the largest. Returns the OR of all samples.
    unsigned (*splitWordsTo16)(const unsigned char* raw, int width, const PolyphaseRow<std::int16_t>& samples);
    // Three bytes a pixel, red, green and blue, into the three channels of the colour transform.
    void (*splitColours)(const unsigned char* raw, int width, const PolyphaseRow<std::int16_t>* channels);

    // Each makes `width` pixels and keeps the low bits of what does not fit.
    // One byte a pixel.
    void (*joinBytes)(const PolyphaseRow<std::int16_t>& samples, int width, unsigned char* raw);
    // Two bytes a pixel, the least significant first.
    void (*joinWords)(const PolyphaseRow<int>& samples, int width, unsigned char* raw);
    void (*joinWordsFrom16)(const PolyphaseRow<std::int16_t>& samples, int width, unsigned char* raw);
    // Three bytes a pixel, red, green and blue, from the three channels of the colour transform.
    void (*joinColours)(const PolyphaseRow<std::int16_t>* channels, int width, unsigned char* raw);
    // As joinColours, with each colour clampedTo(limit, sample) before its low byte is taken. The limit is not 0.
    void (*joinColoursBelow)(const PolyphaseRow<std::int16_t>* channels, int width, int limit, unsigned char* raw);

    // n samples, each as clampedTo(limit, sample). The limit is not 0.
    void (*clamp)(std::int16_t* samples, int n, int limit);
    void (*clampWide)(int* samples, int n, int limit);
};

} // namespace teko

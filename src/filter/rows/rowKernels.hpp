// The lifting steps on whole rows: sample k of a row is lifted with sample k of its neighbour rows.
//
// One set of steps serves both directions of a transform. Down the columns, the neighbours are the rows above
// and below. Along a row, the even and the odd samples are first split into a row each; the neighbours are then
// the same row, shifted by one sample.
//
// Along a row there are kernels for both steps at once, too.
//
// Rows are compact: short for short samples, int for long ones. Each kernel says for which values it gives what
// filter4_2.hpp demands; who calls it keeps track of the largest magnitude in a row. Kernels other than merge and
// the exact ones may write up to a vector of 32 samples beyond n: rows have that room.
#pragma once

#include "target/target.hpp"

#include <type_traits>

namespace teko {

template <typename T>
using RowSample = std::conditional_t<sizeof(T) == sizeof(short), short, int>;

// A row, its samples at even places and those at odd places apart.
template <typename Row>
struct SplitRow {
    Row* even;
    Row* odd;
    long largest; // a bound of its magnitudes
};

template <typename T>
struct RowKernels {
    using Row = RowSample<T>;

    // Splits n samples into those at even and at odd places. Returns a bound of the magnitudes: not below the largest,
    // and not above the next power of two.
    long (*split)(const Row* x, int n, Row* even, Row* odd);
    // Puts them back; returns the bound.
    long (*merge)(Row* x, int n, const Row* even, const Row* odd);
    // The same bound alone.
    long (*largest)(const Row* x, int n);

    // odd -= rdiv(9 * (left + right) - (farLeft + farRight), 16), the sum wrapped to the sample's width; any values.
    void (*predict)(Row* odd, const Row* farLeft, const Row* left, const Row* right, const Row* farRight, int n);
    // The same with the exact sum; any values.
    void (*predictExact)(Row* odd, const Row* farLeft, const Row* left, const Row* right, const Row* farRight, int n);
    // even = scale(even + rdiv(before + after, 4)), for sums in scale's brackets of at most 2047 and before, after up
    // to 4095.
    void (*updateSmall)(Row* even, const Row* before, const Row* after, int n);
    // The same, for sums up to 24575 and before, after up to 16383.
    void (*update)(Row* even, const Row* before, const Row* after, int n);
    // The same; any values.
    void (*updateExact)(Row* even, const Row* before, const Row* after, int n);

    // Both steps along a row of n samples, mirrored about its ends; the first and the last odd samples come from exact
    // sums. For magnitudes up to 600, up to 1638, and any. Both parts have room as for (n + 1) / 2 samples: a sample
    // before and a vector beyond may be written, and a vector more read.
    void (*transformAlongSmall)(Row* even, Row* odd, int n);
    void (*transformAlong)(Row* even, Row* odd, int n);
    void (*transformAlongExact)(Row* even, Row* odd, int n);

    // The inverses; unupdate for even up to 21841 and before, after up to 16383.
    void (*unpredict)(Row* odd, const Row* farLeft, const Row* left, const Row* right, const Row* farRight, int n);
    void (*unpredictExact)(Row* odd, const Row* farLeft, const Row* left, const Row* right, const Row* farRight, int n);
    void (*unupdate)(Row* even, const Row* before, const Row* after, int n);
    void (*unupdateExact)(Row* even, const Row* before, const Row* after, int n);
    // For even up to 21841 and odd up to 16383, and any.
    void (*untransformAlong)(Row* even, Row* odd, int n);
    void (*untransformAlongExact)(Row* even, Row* odd, int n);
};

// For int rows, "any values" is up to 2^26, and there is no difference between a kernel and its exact form.

// The kernels of a target; those of the plain target are those of the portable one.
template <typename T>
const RowKernels<T>& rowKernels(Target target);

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// The one-dimensional wavelet filter: as the two-dimensional transform sees it, and the one that there is, the (4,2)
// interpolating integer lifting filter with a low-pass gain of 152/128.
//
// Predict: every odd sample loses the rounded (-1, 9, 9, -1)/16 average of its even neighbours.
// Update: every even sample gains the rounded (1, 1)/4 of its new odd neighbours, and is scaled.
// Signals are mirrored about their first and last sample. The arithmetic is in lifting.hpp.
// Source of the lifting steps: A. R. Calderbank, I. Daubechies, W. Sweldens, B.-L. Yeo, "Wavelet transforms
// that map integers to integers", Applied and Computational Harmonic Analysis 5 (1998), the (4,2) transform.
#pragma once

#include <cstdint>

namespace teko {

// A signal is `count` samples, sample k at x[k * stride]; strides count samples, not bytes. Results take the
// samples' place, interleaved: low-pass coefficients at positions 0, 2, 4, ..., high-pass at 1, 3, 5, ...
template <typename T>
class Filter {
public:
    static constexpr int edgeRoom = 3; // scratch samples that inner signals have on either side

    Filter() = default;
    Filter(const Filter&) = delete;
    Filter& operator=(const Filter&) = delete;
    virtual ~Filter() = default;

    // Any count: signals of fewer than two samples stay as they are. Nothing but the signal is touched.
    virtual void transform(T* x, int count, unsigned long stride) = 0;
    // Contiguous signals of two or more samples, with edgeRoom on either side.
    virtual void transformInner(T* x, int count) = 0;
    // The inverses.
    virtual void untransform(T* x, int count, unsigned long stride) = 0;
    virtual void untransformInner(T* x, int count) = 0;
};

// untransform undoes transform, and untransformInner transformInner, sample by sample: for long as long as no sum
// leaves 64 bits, and no image makes one do so; for short as long as every predict sum and every result fits in 16
// bits. Where a predict sum of short samples does not fit, the routines differ in the width that they form it in:
//
//   routine                                   interior odd positions     first and last odd positions
//   transformInner, transformCopy             wrapped to 16 bits         wrapped to 16 bits
//   untransformInner, untransformCopy         exact                      exact
//   transformStrided, transformT              wrapped to 16 bits         exact
//   untransformStrided, untransformT          wrapped to 16 bits         exact
//
// The first and last odd positions are 1 and count - 2 for odd counts, 1, count - 3 and count - 1 for even. At count -
// 1, the routines in place round by the sign of half the sum, which differs from that of a sum of long samples that
// left 64 bits.
template <typename T>
class Filter4_2 : public Filter<T> {
public:
    void transform(T* x, int count, unsigned long stride) override;
    void transformInner(T* x, int count) override;
    void untransform(T* x, int count, unsigned long stride) override;
    void untransformInner(T* x, int count) override;

    // Through a contiguous copy on the stack: for signals of at most maximumCopied samples.
    virtual void transformCopy(T* x, int count, unsigned long stride);
    // The quickest way for this count and stride: by copy below six samples, else in place.
    virtual void transformFast(T* x, int count, unsigned long stride);
    virtual void untransformCopy(T* x, int count, unsigned long stride);
    virtual void untransformFast(T* x, int count, unsigned long stride);

    // In place on six or more samples.
    void transformStrided(T* x, int count, unsigned long stride);
    void untransformStrided(T* x, int count, unsigned long stride);
    // The same with the stride known to the compiler.
    template <int N>
    void transformT(T* x, int count);
    template <int N>
    void untransformT(T* x, int count);

    static constexpr int maximumCopied = 5;
};

extern template class Filter4_2<std::int16_t>;
extern template class Filter4_2<std::int64_t>;

} // namespace teko

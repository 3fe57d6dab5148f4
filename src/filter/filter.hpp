// SPDX-License-Identifier: Apache-2.0
// The one-dimensional wavelet filter as the two-dimensional transform sees it.
#pragma once

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

} // namespace teko

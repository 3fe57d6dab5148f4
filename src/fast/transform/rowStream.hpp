// SPDX-License-Identifier: Apache-2.0
// The transform of planes that are never there as a whole: row after row from samples to coefficients, without a pass
// over memory in between.
#pragma once

#include "fast/kernels/kernels.hpp"
#include "fast/rows/rowKernels.hpp"

#include <cstdint>
#include <memory>
#include <type_traits>

namespace teko {

// Whether images of that shape can be transformed so: they have six rows and columns at least.
bool suitsRowStreams(int width, int height);

// What becomes of the coefficients of a plane. Those of class c come in scan order; classes take turns as rows are
// done.
template <typename T>
class CoefficientSink {
public:
    using Row = RowSample<T>;

    // The next n of class c.
    virtual void take(int c, const Row* samples, int n) = 0;
    // The next n of class c, from a row whose samples at even and at odd places lie apart.
    virtual void takePairs(int c, const Row* even, const Row* odd, int n) = 0;
    // The next n of class c in rows of 16 bits, whose coefficients have magnitudes below 2^15; only for images of 16
    // bits.
    virtual void take16(int c, const std::int16_t* samples, int n) = 0;
    virtual void take16Pairs(int c, const std::int16_t* even, const std::int16_t* odd, int n) = 0;

protected:
    ~CoefficientSink() = default;
};

// The forward transform of one plane.
template <typename T>
class ForwardStream {
public:
    // For a shape that suits. The sink is not owned. Needs memory for 32 rows; throws std::bad_alloc.
    ForwardStream(int width, int height, const Kernels& kernels, CoefficientSink<T>& sink);
    ~ForwardStream();
    ForwardStream(ForwardStream&&) noexcept;

    // Where the next row goes, with its bound: samples of 8 or 16 bits, or differences of two samples of 8 bits. Behind
    // both parts is room for a vector of 32 samples.
    PolyphaseRow<RowSample<T>>& next();
    // For images of 16 bits alone: where the next row goes as one of 16 bits, which takes 0 to 32767. Null once the
    // samples have been too far apart for such rows. Who meets a sample that does not fit calls next for the same row.
    PolyphaseRow<std::int16_t>* next16();
    // Takes the row that was put there. With the last row, all coefficients have reached the sink. next, next16 and
    // advance throw std::bad_alloc where rows of 16 bits go on as rows of int.
    void advance();
    // Then: whether it is proved that the inverse gives the samples back. Where not, it may do so or not.
    bool isReversible() const;

private:
    class Chain;
    std::unique_ptr<Chain> chain;
};

// Where the coefficients of a plane come from.
template <typename T>
class CoefficientSource {
public:
    // The next n of class c, in scan order; they are the source's and stay until more of the class are asked for.
    virtual const RowSample<T>* take(int c, int n) = 0;

    // Only for long samples: magnitudes of class c are below 2^n.
    virtual int magnitudeBits(int c) const = 0;
    // As take, where there are no more than 15 bits. A class is always taken in the same way.
    virtual const std::int16_t* take16(int c, int n) = 0;

protected:
    ~CoefficientSource() = default;
};

// The inverse transform of one plane.
template <typename T>
class InverseStream {
public:
    // Magnitudes below 2^bits, whatever the coefficients are, keep all sums in the samples' range (docs/bounds.md). No
    // image has larger ones.
    static constexpr int safeBits = sizeof(T) == sizeof(std::int16_t) ? 16 : 21;

    // For a shape that suits and coefficients of at most safeBits. Leaves out as many of the last levels as the sides
    // are to be halved: then rows are those of an approximation, its gain included, and the classes of these levels are
    // not asked for. The source is not owned. Needs memory for 32 rows; throws std::bad_alloc.
    InverseStream(int width, int height, const Kernels& kernels, CoefficientSource<T>& source, int halvings = 0);
    ~InverseStream();
    InverseStream(InverseStream&&) noexcept;

    // The next row, from the top; to be used before the next is asked for, and may be changed. Throws std::bad_alloc.
    HandedPolyphaseRow<T> next();

private:
    class Chain;
    std::unique_ptr<Chain> chain;
};

extern template class ForwardStream<std::int16_t>;
extern template class ForwardStream<std::int64_t>;
extern template class InverseStream<std::int16_t>;
extern template class InverseStream<std::int64_t>;

} // namespace teko

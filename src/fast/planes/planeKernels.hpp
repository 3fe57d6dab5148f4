// SPDX-License-Identifier: Apache-2.0
// Coding whole bit planes: the fast form of the encoder's and the decoder's work on coefficients.
//
// A class of a channel is taken as one sequence. Blocks of it are sliced: one 64-bit word holds bit b of 64
// magnitudes, another their signs, another says which are significant. In such words, with all operations on 64
// coefficients at a time,
//
//   refinement bits of plane b   extract(plane, significant)
//   candidates                   ~significant
//   events                       plane & candidates
//   runs                         gaps between the set bits of extract(events, candidates)
//   after the plane              significant |= events
//
// The sub-streams and the coefficients are those of the plain procedures, bit for bit.
#pragma once

#include "coding/subband.hpp"
#include "fast/planes/segmentPlan.hpp"
#include "fast/planes/subbandBytes.hpp"
#include "fast/rows/rowKernels.hpp"
#include "memory/memory.hpp"

#include <cstdint>
#include <memory>

namespace teko {

// The highest plane that the sliced procedures hold; images with higher ones take the plain way.
template <typename T>
constexpr int highestSlicedPlane = sizeof(T) == sizeof(std::int16_t) ? highestPlane<T> : 28;

// The coefficients of an image, decoded and still sliced.
template <typename T>
class SlicedImage : public InTakenMemory {
public:
    virtual ~SlicedImage() = default;

    // Reads the segments of a stream, behind its top plane, which is at most highestSlicedPlane. Returns 1 when the
    // stream ended early, else 0. Once.
    virtual int read(int topPlane, ByteStreamer& in) = 0;
    // After read: whether a run segment that was read whole had another parameter than encoders choose.
    virtual bool contradictsItself() const = 0;

    // After read: the next n coefficients of a class of a channel, in scan order. They are the image's and stay until
    // more of the class are asked for. Throws std::bad_alloc.
    virtual const RowSample<T>* take(int channel, int c, std::int64_t n) = 0;
    // The next n in 16 bits, where magnitudes have no more than 15. A class is always taken in the same way.
    virtual const std::int16_t* take16(int channel, int c, std::int64_t n) = 0;
    // After read: magnitudes of a class are below 2^n.
    virtual int magnitudeBits(int channel, int c) const = 0;
};

template <typename T>
struct PlaneKernels {
    using Folded = SubbandBytes<RowSample<T>>;

    // Append n coefficients, given in order or apart by even and odd places. Return the OR of the magnitudes.
    Unsigned<RowSample<T>> (*fold)(const RowSample<T>* samples, int n, Folded& folded);
    Unsigned<RowSample<T>> (*foldPairs)(const RowSample<T>* even, const RowSample<T>* odd, int n, Folded& folded);
    // Append n coefficients from rows of 16 bits, in the same two ways.
    Unsigned<std::int16_t> (*fold16)(const std::int16_t* samples, int n, Folded& folded);
    Unsigned<std::int16_t> (*fold16Pairs)(const std::int16_t* even, const std::int16_t* odd, int n, Folded& folded);
    // Adds the bit lengths of the values in a block that is full or finished; returns the longest. None is longer than
    // atMost, which may be more than the longest has.
    int (*countLengths)(const Folded& folded, std::int64_t block, int atMost, std::uint64_t* counts);
    // Codes a whole class of a channel, finished and counted, into the sub-streams of its planes topPlane .. lowest; in
    // those from lowestSparse on at most one in sixteen coefficients is significant, so that k is not 0. Throws
    // std::bad_alloc.
    void (*codeClass)(const Folded& folded, PlaneStreams* streams, int topPlane, int lowest, int lowestSparse);

    // Room for a decoded image. Throws std::bad_alloc.
    std::unique_ptr<SlicedImage<T>> (*makeSliced)(const ImageShape& shape);
};

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// Compression of coefficients that come class by class: the fast form of writeWavelet. They are folded and counted on
// their way into memory, while they are in the cache, and lie there ready to be coded.
#pragma once

#include "coding/bitStreamer.hpp"
#include "coding/histogram.hpp"
#include "coding/subband.hpp"
#include "fast/kernels/kernels.hpp"
#include "fast/planes/segmentPlan.hpp"
#include "fast/transform/rowStream.hpp"
#include "memory/memory.hpp"
#include "memory/pageBuffer.hpp"

#include <cstdint>
#include <memory>
#include <optional>

namespace teko {

template <typename T>
class CoefficientEncoder {
public:
    // Of magnitudes below 2^29. Needs as much memory as planes of compact samples. Throws std::bad_alloc.
    CoefficientEncoder(const ImageShape& shape, const PlaneKernels<T>& coding);
    ~CoefficientEncoder();

    // Where all coefficients of a channel go.
    CoefficientSink<T>& channel(int c);

    // When they are there, once: codes all that a writer takes which throws after `room` bits, at most, and keeps it.
    // Returns the bits of the coded stream, or where it is longer some number above `room`. Throws 5 for coefficients
    // without a plane, and std::bad_alloc.
    std::uint64_t code(std::uint64_t room);

    // When they are there, once: appends the coded stream to a writer and flushes it. Throws as Wavelet::writeWavelet.
    // After code the writer must have the room that was told; without it, it is coded now.
    template <typename Word>
    void write(BasicBitStreamer<Word>& out);

private:
    class SubbandCollector;

    // The segments that a writer behind the top plane takes, coded.
    struct Coded;

    // Codes them. Returns their bits, as SegmentPlan::codedBits; nothing where the writer would take more of them: run
    // segments are shorter than they were taken to be.
    std::optional<std::uint64_t> codeSegments(int topPlane, SizeEstimate lengths, std::uint64_t room);

    const ImageShape shape;
    const PlaneKernels<T>& coding;
    PageBuffer memory; // the coefficients, the lowest bytes of all channels first; behind them, sub-streams that fit
                       // on the same large page
    std::size_t coefficientBytes = 0;
    Vector<std::unique_ptr<SubbandCollector>> collectors; // of each channel
    std::unique_ptr<BitLengthHistogram<T>> histogram;
    std::unique_ptr<Coded> coded; // after code
};

extern template class CoefficientEncoder<std::int16_t>;
extern template class CoefficientEncoder<std::int64_t>;

} // namespace teko

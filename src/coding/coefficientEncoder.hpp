// SPDX-License-Identifier: Apache-2.0
// Compression of coefficients that come class by class: the fast form of writeWavelet. They are folded and counted on
// their way into memory, while they are in the cache, and lie there ready to be coded.
#pragma once

#include "coding/bitStreamer.hpp"
#include "coding/histogram.hpp"
#include "coding/imageShape.hpp"
#include "coding/planes/planeCoding.hpp"
#include "coding/segmentPlan.hpp"
#include "image/fillingMemory.hpp"
#include "memory/memory.hpp"
#include "wavelet/rowStream.hpp"

#include <cstdint>
#include <memory>

namespace teko {

template <typename T>
class CoefficientEncoder {
public:
    // Of magnitudes below 2^29. Needs as much memory as planes of compact samples. Throws std::bad_alloc.
    CoefficientEncoder(const ImageShape& shape, const PlaneCoding<T>& coding);
    ~CoefficientEncoder();

    // Where all coefficients of a channel go.
    CoefficientSink<T>& channel(int c);

    // When they are there, once: appends the coded stream to a writer and flushes it. Throws as Wavelet::writeWavelet.
    template <typename Word>
    void write(BasicBitStreamer<Word>& out);

private:
    class Folder;

    // Codes and appends all that a writer behind the top plane takes. Returns false, and nothing is written, where it
    // would take more: run segments are shorter than they were taken to be.
    template <typename Word>
    bool writeSegments(int topPlane, RunLengths lengths, BasicBitStreamer<Word>& out);

    const ImageShape shape;
    const PlaneCoding<T>& coding;
    FillingMemory memory; // the coefficients, the lowest bytes of all channels first; behind them, sub-streams that fit
                          // on the same large page
    std::size_t coefficientBytes = 0;
    Vector<std::unique_ptr<Folder>> folders; // of each channel
    std::unique_ptr<BitLengthHistogram<T>> histogram;
};

extern template class CoefficientEncoder<std::int16_t>;
extern template class CoefficientEncoder<std::int64_t>;

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// Compression of an image whose rows come one after another from the top: the fast form of raw rows, colours, the
// transform and writeWavelet. No plane of samples is ever there.
#pragma once

#include "fast/transform/rowStream.hpp"
#include "fast/ways/coefficientEncoder.hpp"
#include "image/rows.hpp"
#include "memory/memory.hpp"

#include <cassert>
#include <cstdint>

namespace teko {

template <typename T>
class RowEncoder {
public:
    // For a shape that suitsRowStreams. Needs as much memory as planes of compact samples, and that for 32 rows of each
    // channel. Throws std::bad_alloc, and std::bad_array_new_length beyond 2^31 - 1 samples.
    RowEncoder(int width, int height, int channels, const Kernels& kernels);

    // What the rows of a channel are put into. The channels are independent.
    ForwardStream<T>& channel(int c) {
        assert(c >= 0 && static_cast<std::size_t>(c) < transforms.size());
        return transforms[static_cast<std::size_t>(c)];
    }

    // After the last row of every channel, before write: whether it is proved that decoding gives the samples back.
    bool isReversible() const;

    // After the last row of every channel, once: CoefficientEncoder::code. The memory of the rows goes first: coding
    // takes it over.
    std::uint64_t code(std::uint64_t room) {
        transforms.clear();
        return coefficients.code(room);
    }

    // After the last row of every channel, or after code: appends the coded stream to a writer and flushes it. Throws
    // as Wavelet::writeWavelet.
    template <typename Word>
    void write(BasicBitStreamer<Word>& out) {
        transforms.clear();
        coefficients.write(out);
    }

private:
    CoefficientEncoder<T> coefficients;
    Vector<ForwardStream<T>> transforms;
};

extern template class RowEncoder<std::int16_t>;
extern template class RowEncoder<std::int64_t>;

// Puts the next `count` rows of an image into its encoder. Returns whether the source had them all.
bool encodeRows(RowSource& rows, int width, int count, int channels, const RawRowKernels& raws,
                RowEncoder<std::int16_t>& encoder);
bool encodeRows(RowSource& rows, int width, int count, int channels, const RawRowKernels& raws,
                RowEncoder<std::int64_t>& encoder);

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// The way of an image by rows, one after another from the top, through raw rows, colours, the transform and the coding
// of coefficients, and back. No plane of samples is ever there.
#pragma once

#include "coding/subband.hpp"
#include "fast/transform/rowStream.hpp"
#include "fast/ways/coefficients.hpp"
#include "image/rows.hpp"
#include "memory/memory.hpp"

#include <cassert>
#include <cstdint>

namespace teko {

// Compresses an image whose rows come one after another.
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

// Decompresses an image into rows that are asked for one after another; coefficients stay sliced in memory until a row
// needs them.
template <typename T>
class RowDecoder {
public:
    // Whether it can read a stream with that top plane. Only streams that no image gives have higher ones.
    static bool suits(int topPlane) { return CoefficientDecoder<T>::suits(topPlane); }

    // For a shape that suitsRowStreams. Needs as much memory as planes of compact samples, of which nothing is touched
    // before the stream is read, and that for 36 rows of each channel from start on. Throws std::bad_alloc, and
    // std::bad_array_new_length beyond 2^31 - 1 samples.
    RowDecoder(int width, int height, int channels, const Kernels& kernels);

    // Reads a stream behind its top plane. Returns 1 when it ended early, else 0. Once. Throws std::bad_alloc.
    template <typename Word>
    int read(int topPlane, BasicBitStreamer<Word>& in) {
        return coefficients.read(topPlane, in);
    }

    // After read: whether a segment had another run-length parameter than encoders choose.
    bool contradictsItself() const { return coefficients.contradictsItself(); }

    // After read, once: makes the rows ready to be asked for, of an image whose sides are halved so often (see
    // InverseStream). The stream is not needed any more. Throws std::bad_alloc.
    void start(int halvings = 0);

    // After start: the rows of a channel. The channels are independent.
    InverseStream<T>& channel(int c) {
        assert(c >= 0 && static_cast<std::size_t>(c) < transforms.size());
        return transforms[static_cast<std::size_t>(c)];
    }

private:
    const ImageShape shape;
    const Kernels& kernels;
    CoefficientDecoder<T> coefficients;
    Vector<InverseStream<T>> transforms;
};

extern template class RowDecoder<std::int16_t>;
extern template class RowDecoder<std::int64_t>;

// How raw rows are made from decoded ones.
struct RawRowForm {
    int width;
    int channels;
    int halvings; // of the sides: as many levels have their gain in the samples still
    int limit;    // samples are clamped below it, unless it is 0
    const Kernels& kernels;
};

// Hands the next `count` rows of an image on. Returns whether they were taken.
bool decodeRows(RowDecoder<std::int16_t>& decoder, const RawRowForm& form, int count, RowSink& rows);
bool decodeRows(RowDecoder<std::int64_t>& decoder, const RawRowForm& form, int count, RowSink& rows);

} // namespace teko

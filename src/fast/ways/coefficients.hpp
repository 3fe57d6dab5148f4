// SPDX-License-Identifier: Apache-2.0
// The coefficients of an image on their way into a stream and out of one, class by class: the fast form of writeWavelet
// and readWavelet. Encoding, they are folded and counted on their way into memory, while they are in the cache, and lie
// there ready to be coded; decoding, they stay sliced until they are asked for.
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

// Compresses the coefficients of all channels of an image.
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

// Decompresses the coefficients of all channels of an image.
template <typename T>
class CoefficientDecoder {
public:
    // Whether it can read a stream with that top plane, and fast inverse transforms can go on. Only streams that no
    // image gives have higher ones.
    static bool suits(int topPlane);

    // Needs as much memory as planes of compact samples, of which nothing is touched before the stream is read. Throws
    // std::bad_alloc.
    CoefficientDecoder(const ImageShape& shape, const PlaneKernels<T>& coding);
    ~CoefficientDecoder();

    // Reads a stream behind its top plane. Returns 1 when it ended early, else 0. Once. Throws std::bad_alloc.
    template <typename Word>
    int read(int topPlane, BasicBitStreamer<Word>& in);

    // After read: whether a segment had another run-length parameter than encoders choose.
    bool contradictsItself() const { return sliced->contradictsItself(); }

    // After read, once: makes the coefficients ready to be asked for. The stream is not needed any more. Throws
    // std::bad_alloc.
    void start();

    // After start: the coefficients of a channel.
    CoefficientSource<T>& channel(int c);

private:
    class ChannelSource;

    int channels;
    std::unique_ptr<SlicedImage<T>> sliced;
    Vector<std::unique_ptr<ChannelSource>> sources;
};

extern template class CoefficientDecoder<std::int16_t>;
extern template class CoefficientDecoder<std::int64_t>;

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// Decompression into coefficients that are asked for class by class: the fast form of readWavelet. They stay sliced in
// memory until then.
#pragma once

#include "coding/bitStreamer.hpp"
#include "coding/subband.hpp"
#include "fast/kernels/kernels.hpp"
#include "fast/transform/rowStream.hpp"
#include "memory/memory.hpp"

#include <memory>

namespace teko {

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

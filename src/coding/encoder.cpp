// SPDX-License-Identifier: Apache-2.0
// The encoder. A coded stream is
//
//   topPlane in 8 bits
//   for each priority p = topPlane + levels .. 0, channel, class c with 0 <= b = p - c <= topPlane:
//       refinement segment (channel, c, b): bit b of every magnitude that is significant above plane b
//       run segment (channel, c, b): k in 5 bits, then the events of plane b and the runs between them
//
// Every segment is collected in a sub-stream of its own, so the coefficients are visited once for coding.
#include "coding/codedStream.hpp"

#include "coding/bitStreamer.hpp"
#include "coding/histogram.hpp"
#include "coding/runLengthParameter.hpp"
#include "coding/streamArrayManager.hpp"
#include "coding/subband.hpp"
#include "wavelet/wavelet.hpp"

#include <cstdint>
#include <memory>

namespace teko {

namespace {

// Calls visit(channel, class, sample) for every sample in scan order.
template <typename T, typename Visit>
void forEachSample(ImageData<T>& image, int levels, Visit visit) {
    for (int channel = 0; channel < image.channels; ++channel) {
        for (int y = 0; y < image.height; ++y) {
            T* row = image.planes[channel] + static_cast<std::int64_t>(y) * image.stride;
            for (int x = 0; x < image.width; ++x) {
                visit(channel, subbandClass(x, y, levels), row[x]);
            }
        }
    }
}

// Folds every coefficient in place. Returns the OR of all magnitudes.
template <typename T>
Unsigned<T> foldAll(ImageData<T>& image) {
    Unsigned<T> magnitudes = 0;
    forEachSample(image, 0, [&](int, int, T& sample) {
        const auto unsignedSample = static_cast<Unsigned<T>>(sample);
        const auto magnitude = static_cast<Unsigned<T>>(sample < 0 ? 0U - unsignedSample : unsignedSample);
        magnitudes = static_cast<Unsigned<T>>(magnitudes | magnitude);
        sample = fold(sample);
    });
    return magnitudes;
}

// Counts the bit lengths of folded values that have none above the highest plane.
template <typename T>
void countBitLengths(ImageData<T>& image, int levels, BitLengthHistogram<T>& histogram) {
    forEachSample(image, levels,
                  [&](int channel, int c, T& folded) { ++histogram.bitLengthCount[channel][c][bitLength(folded)]; });
}

// Gives every segment a sub-stream with room for what it is going to hold.
template <typename T>
void setUpStreams(const ImageShape& shape, const BitLengthHistogram<T>& histogram, StreamArrayManager<T>& streams) {
    forEachSegmentPair(streams.channels, streams.levels, streams.topPlane, [&](int channel, int c, int b) {
        const PlaneCount count = histogram.plane(channel, c, b);
        // more than the class has: coarser ones are among them
        const auto samples = static_cast<std::uint64_t>(gridSamples(shape, c));
        streams.setUpRefinement(channel, c, b, samples - count.candidates());
        streams.setUpRuns(channel, c, b, runSegmentBitsEstimate(count.events, count.candidates()),
                          runLengthParameter(count.events, count.candidates()));
        return true;
    });
}

// Sends one folded value to the sub-streams of its channel and class.
template <typename T>
void codeCoefficient(BitStreamer* refinements, RunCoder* coders, T folded, int topPlane) {
    const T magnitude = magnitudeOf(folded);
    const int length = bitLength(magnitude);
    for (int plane = 0; plane <= length - 2; ++plane) {
        refinements[plane].putBit(static_cast<std::uint32_t>(magnitude >> plane & 1));
    }
    if (length > 0) {
        coders[length - 1].codeEvent(signBitOf(folded));
    }
    for (int plane = length; plane <= topPlane; ++plane) {
        ++coders[plane].count;
    }
}

template <typename T>
void codeCoefficients(ImageData<T>& image, StreamArrayManager<T>& streams) {
    forEachSample(image, streams.levels, [&](int channel, int c, T& folded) {
        codeCoefficient(streams.refinementStreams[channel][c], streams.runCoders[channel][c], folded, streams.topPlane);
    });
}

// A writer that is full throws, and holds the beginning of the stream.
template <typename T, typename Word>
void assemble(StreamArrayManager<T>& streams, BasicBitStreamer<Word>& out) {
    forEachSegmentPair(streams.channels, streams.levels, streams.topPlane, [&](int channel, int c, int b) {
        RunCoder& coder = streams.runCoders[channel][c][b];
        coder.finish();
        out.append(streams.refinementStreams[channel][c][b]);
        out.append(*coder.stream);
        return true;
    });
    out.flush();
}

} // namespace

template <typename T, typename Word>
void writeStream(ImageData<T>& image, BasicBitStreamer<Word>& out) {
    const int levels = numberOfLevels(image.width, image.height);
    const bool isEmpty = image.width == 0 || image.height == 0;
    if (levels < 0 && !isEmpty) {
        throw 5;
    }
    const int topPlane = topPlaneOf<T>(foldAll(image));
    if (topPlane > highestPlane<T>) {
        throw 5;
    }
    const auto histogram = std::make_unique_for_overwrite<BitLengthHistogram<T>>();
    countBitLengths(image, levels, *histogram);
    histogram->sum();
    out.putBits(static_cast<std::uint32_t>(topPlane), topPlaneBits);
    // On the heap, as the histogram: for long samples they are 147 kB and 29 kB, and threads may have small stacks.
    const auto streams = std::make_unique<StreamArrayManager<T>>(image.channels, levels, topPlane);
    setUpStreams({image.width, image.height, image.channels, levels}, *histogram, *streams);
    codeCoefficients(image, *streams);
    assemble(*streams, out);
}

template void writeStream(ImageData<std::int16_t>&, BasicBitStreamer<std::uint32_t>&);
template void writeStream(ImageData<std::int64_t>&, BasicBitStreamer<std::uint32_t>&);
template void writeStream(ImageData<std::int16_t>&, BasicBitStreamer<UnalignedWord>&);
template void writeStream(ImageData<std::int64_t>&, BasicBitStreamer<UnalignedWord>&);

template <typename T>
void Wavelet<T>::writeWavelet(ImageData<T>* image, BitStreamer& out) {
    writeStream(*image, out);
}

template void Wavelet<std::int16_t>::writeWavelet(ImageData<std::int16_t>*, BitStreamer&);
template void Wavelet<std::int64_t>::writeWavelet(ImageData<std::int64_t>*, BitStreamer&);

} // namespace teko

// The encoder. A coded stream is
//
//   topPlane in 8 bits
//   for each priority p = topPlane + levels .. 0, channel, class c with 0 <= b = p - c <= topPlane:
//       refinement segment (channel, c, b): bit b of every magnitude that is significant above plane b
//       run segment (channel, c, b): k in 5 bits, then the events of plane b and the runs between them
//
// Every segment is collected in a sub-stream of its own, so the coefficients are visited once for coding.
#include "coding/bitStreamer.hpp"
#include "coding/histogram.hpp"
#include "coding/runLengthParameter.hpp"
#include "coding/streamArrayManager.hpp"
#include "wavelet/wavelet.hpp"

namespace teko {

namespace {

// Calls visit(channel, class, sample) for every sample in scan order.
template <typename T, typename Visit>
void forEachSample(ImageData<T>& image, int levels, Visit visit) {
    for (int channel = 0; channel < image.channels; ++channel) {
        for (int y = 0; y < image.height; ++y) {
            T* row = image.planes[channel] + static_cast<long>(y) * image.stride;
            for (int x = 0; x < image.width; ++x) {
                visit(channel, subbandClass(x, y, levels), row[x]);
            }
        }
    }
}

// Folds every coefficient in place and counts bit lengths. Returns the OR of all magnitudes; where that has
// bits above the highest plane, the counts mean nothing.
template <typename T>
Unsigned<T> foldAndCount(ImageData<T>& image, int levels, BitLengthHistogram<T>& histogram) {
    Unsigned<T> magnitudes = 0;
    forEachSample(image, levels, [&](int channel, int c, T& sample) {
        const auto unsignedSample = static_cast<Unsigned<T>>(sample);
        const auto magnitude = static_cast<Unsigned<T>>(sample < 0 ? 0U - unsignedSample : unsignedSample);
        magnitudes = static_cast<Unsigned<T>>(magnitudes | magnitude);
        sample = fold(sample);
        const int length = bitLength(sample);
        if (length < BitLengthHistogram<T>::buckets) {
            ++histogram.bitLengthCount[channel][c][length];
        }
    });
    histogram.sum();
    return magnitudes;
}

// An upper bound of the positions in class c: those of all coarser classes are counted with it.
template <typename T>
std::uint64_t classRegion(const ImageData<T>& image, int c) {
    const auto reduced = [c](int extent) { return ((1ULL << c) + static_cast<std::uint64_t>(extent) - 1) >> c; };
    return reduced(image.width) * reduced(image.height);
}

template <typename T>
void setUpSubStreams(StreamArrayManager<T>& streams, const ImageData<T>& image,
                     const BitLengthHistogram<T>& histogram) {
    for (int channel = 0; channel < streams.channels; ++channel) {
        for (int c = 0; c <= streams.levels; ++c) {
            for (int b = 0; b <= streams.topPlane; ++b) {
                const PlaneCount count = histogram.plane(channel, c, b);
                streams.setUpRefinement(channel, c, b, classRegion(image, c) - count.candidates());
                streams.setUpRuns(channel, c, b, runSegmentBitsEstimate(count.events, count.candidates()),
                                  runLengthParameter(count.events, count.candidates()));
            }
        }
    }
}

// Sends one folded value to the sub-streams of its channel and class.
template <typename T>
void codeCoefficient(BitStreamer* refinements, RunCoder* coders, T folded, int topPlane) {
    const T magnitude = magnitudeOf(folded);
    const int length = bitLength(magnitude);
    if (length >= 1) {
        for (int i = 0; i <= length - 2; ++i) {
            refinements[i].putBit(static_cast<std::uint32_t>(magnitude >> i & 1));
        }
        coders[length - 1].codeEvent(signBitOf(folded));
    }
    for (int plane = length; plane <= topPlane; ++plane) {
        ++coders[plane].count;
    }
}

template <typename T>
void assemble(StreamArrayManager<T>& streams, BitStreamer& out) {
    for (int priority = streams.topPlane + streams.levels; priority >= 0; --priority) {
        for (int channel = 0; channel < streams.channels; ++channel) {
            for (int c = 0; c <= streams.levels; ++c) {
                const int b = priority - c;
                if (b < 0 || b > streams.topPlane) {
                    continue;
                }
                out.append(streams.refinementStreams[channel][c][b]);
                RunCoder& coder = streams.runCoders[channel][c][b];
                coder.finish();
                out.append(*coder.stream);
            }
        }
    }
    out.flush();
}

} // namespace

template <typename T>
void Wavelet<T>::writeWavelet(ImageData<T>* image, BitStreamer& out) {
    const int levels = numberOfLevels(image->width, image->height);
    const bool isEmpty = image->width == 0 || image->height == 0;
    if (levels < 0 && !isEmpty) {
        throw 5;
    }
    BitLengthHistogram<T> histogram;
    const Unsigned<T> magnitudes = foldAndCount(*image, levels, histogram);
    const int topPlane = topPlaneOf<T>(magnitudes);
    if (topPlane > highestPlane<T>) {
        throw 5;
    }
    out.putBits(static_cast<std::uint32_t>(topPlane), 8);
    StreamArrayManager<T> streams(image->channels, levels, topPlane);
    setUpSubStreams(streams, *image, histogram);
    forEachSample(*image, levels, [&](int channel, int c, T& folded) {
        codeCoefficient(streams.refinementStreams[channel][c], streams.runCoders[channel][c], folded, topPlane);
    });
    assemble(streams, out);
}

template void Wavelet<short>::writeWavelet(ImageData<short>*, BitStreamer&);
template void Wavelet<long>::writeWavelet(ImageData<long>*, BitStreamer&);

} // namespace teko

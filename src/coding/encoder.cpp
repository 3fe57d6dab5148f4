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
#include "coding/planes/planeCoding.hpp"
#include "coding/runLengthParameter.hpp"
#include "coding/streamArrayManager.hpp"
#include "wavelet/wavelet.hpp"

#include <algorithm>
#include <iterator>
#include <new>

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

// Folds and counts at once. Folds also when there is no memory for that.
template <typename T>
Unsigned<T> foldInSlices(ImageData<T>& image, int levels, const PlaneCoding<T>& planes,
                         BitLengthHistogram<T>& histogram) {
    try {
        return planes.foldAndCount(image, levels, histogram);
    } catch (const std::bad_alloc&) {
        foldAll(image);
        throw;
    }
}

// An upper bound of the positions in class c: those of all coarser classes are counted with it.
template <typename T>
std::uint64_t classRegion(const ImageData<T>& image, int c) {
    const auto reduced = [c](int extent) { return ((1ULL << c) + static_cast<std::uint64_t>(extent) - 1) >> c; };
    return reduced(image.width) * reduced(image.height);
}

// Calls visit(channel, class, plane) for every segment pair in the order of the stream; ends when it returns false.
template <typename Visit>
void forEachSegmentPair(int channels, int levels, int topPlane, Visit visit) {
    for (int priority = topPlane + levels; priority >= 0; --priority) {
        for (int channel = 0; channel < channels; ++channel) {
            for (int c = 0; c <= levels; ++c) {
                const int b = priority - c;
                if (b >= 0 && b <= topPlane && !visit(channel, c, b)) {
                    return;
                }
            }
        }
    }
}

// Fewer bits than a run segment can take: its parameter, its events, and the units that the passes fill even if
// every run ends with the longest remainder.
std::uint64_t fewestRunBits(const PlaneCount& count) {
    const int k = runLengthParameter(count.events, count.candidates());
    const std::uint64_t remainders = (count.events + 1) * ((std::uint64_t{1} << k) - 1);
    const std::uint64_t units = count.passes > remainders ? (count.passes - remainders) >> k : 0;
    return 5 + count.events * static_cast<std::uint64_t>(k + 2) + units;
}

// Bits that the writer takes before it throws, at most.
std::uint64_t roomIn(const BitStreamer& out) {
    return out.file != nullptr ? ~std::uint64_t{0} : 32 * static_cast<std::uint64_t>(out.size - out.words() + 1);
}

// The planes that a writer with that much room can see the beginning of: coding the others would cost time and
// change nothing. Planes above the top plane mean that a class is not needed at all.
template <typename T>
void findLowestPlanes(const BitLengthHistogram<T>& histogram, int channels, int levels, int topPlane,
                      std::uint64_t room, LowestPlanes& lowest) {
    for (auto& channel : lowest) {
        std::fill(std::begin(channel), std::end(channel), topPlane + 1);
    }
    std::uint64_t bits = 0;
    forEachSegmentPair(channels, levels, topPlane, [&](int channel, int c, int b) {
        lowest[channel][c] = b;
        const PlaneCount count = histogram.plane(channel, c, b);
        bits += histogram.coefficients(channel, c) - count.candidates() + fewestRunBits(count);
        return bits <= room;
    });
}

template <typename T>
void setUpSubStreams(StreamArrayManager<T>& streams, const ImageData<T>& image, const BitLengthHistogram<T>& histogram,
                     const LowestPlanes& lowest) {
    for (int channel = 0; channel < streams.channels; ++channel) {
        for (int c = 0; c <= streams.levels; ++c) {
            for (int b = lowest[channel][c]; b <= streams.topPlane; ++b) {
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
void codeCoefficient(BitStreamer* refinements, RunCoder* coders, T folded, int lowestPlane, int topPlane) {
    const T magnitude = magnitudeOf(folded);
    const int length = bitLength(magnitude);
    for (int i = lowestPlane; i <= length - 2; ++i) {
        refinements[i].putBit(static_cast<std::uint32_t>(magnitude >> i & 1));
    }
    if (length > lowestPlane) {
        coders[length - 1].codeEvent(signBitOf(folded));
    }
    for (int plane = std::max(length, lowestPlane); plane <= topPlane; ++plane) {
        ++coders[plane].count;
    }
}

template <typename T>
void codeCoefficients(ImageData<T>& image, StreamArrayManager<T>& streams, const LowestPlanes& lowest) {
    forEachSample(image, streams.levels, [&](int channel, int c, T& folded) {
        codeCoefficient(streams.refinementStreams[channel][c], streams.runCoders[channel][c], folded,
                        lowest[channel][c], streams.topPlane);
    });
}

template <typename T>
void assemble(StreamArrayManager<T>& streams, const LowestPlanes& lowest, BitStreamer& out) {
    forEachSegmentPair(streams.channels, streams.levels, streams.topPlane, [&](int channel, int c, int b) {
        if (b < lowest[channel][c]) {
            return false;
        }
        out.append(streams.refinementStreams[channel][c][b]);
        RunCoder& coder = streams.runCoders[channel][c][b];
        coder.finish();
        out.append(*coder.stream);
        return true;
    });
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
    const PlaneCoding<T>* planes = planeCoding<T>(activeTarget());
    BitLengthHistogram<T> histogram;
    const Unsigned<T> magnitudes =
        planes != nullptr ? foldInSlices(*image, levels, *planes, histogram) : foldAll(*image);
    const int topPlane = topPlaneOf<T>(magnitudes);
    if (topPlane > highestPlane<T>) {
        throw 5;
    }
    if (planes == nullptr || topPlane > highestSlicedPlane<T>) {
        planes = nullptr;
        histogram = {};
        countBitLengths(*image, levels, histogram);
    }
    histogram.sum();
    out.putBits(static_cast<std::uint32_t>(topPlane), 8);
    LowestPlanes lowest;
    findLowestPlanes(histogram, image->channels, levels, topPlane, roomIn(out), lowest);
    StreamArrayManager<T> streams(image->channels, levels, topPlane);
    setUpSubStreams(streams, *image, histogram, lowest);
    if (planes != nullptr) {
        planes->codeCoefficients(*image, streams, lowest);
    } else {
        codeCoefficients(*image, streams, lowest);
    }
    assemble(streams, lowest, out);
}

template void Wavelet<short>::writeWavelet(ImageData<short>*, BitStreamer&);
template void Wavelet<long>::writeWavelet(ImageData<long>*, BitStreamer&);

} // namespace teko

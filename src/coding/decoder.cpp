// SPDX-License-Identifier: Apache-2.0
// The decoder: the encoder's order, read backwards into the planes. A partly decoded coefficient is a folded
// value in its place in the plane, 0 until it becomes significant, then in the middle of the interval that the
// bits read leave open; so a stream may end after any bit.
#include "coding/codedStream.hpp"

#include "coding/bitPlanes.hpp"
#include "coding/bitStreamer.hpp"
#include "coding/runLengthParameter.hpp"
#include "coding/subband.hpp"
#include "wavelet/wavelet.hpp"

#include <algorithm>
#include <cstdint>

namespace teko {

namespace {

constexpr int noPlanes = 255; // as the top plane: nothing is coded

// One class of one channel, in scan order.
template <typename T>
struct ClassSamples {
    T* plane;
    int width;
    int height;
    int stride;
    int c;
    int levels;
    bool stopsAfterRow;

    // Calls visit(sample) for every position. After a row, throws 5 if decoding shall stop there.
    template <typename Visit>
    void forEach(Visit visit) const {
        for (std::int64_t y = 0; y < height; y += classRowStep(c)) {
            const ClassColumns columns = classColumns(c, levels, static_cast<int>(y));
            for (std::int64_t x = columns.first; x < width; x += columns.step) {
                visit(plane[y * stride + x]);
            }
            if (stopsAfterRow) {
                throw 5;
            }
        }
    }
};

template <typename T, typename Word>
void readRefinements(const ClassSamples<T>& samples, const PlaneWeights<T>& weights, BasicBitStreamer<Word>& in) {
    samples.forEach([&](T& folded) {
        if (weights.isSignificant(folded)) {
            folded = weights.refined(folded, in.getBit());
        }
    });
}

// What the stream has said about the candidates to come.
template <typename Word>
class RunReader {
public:
    explicit RunReader(BasicBitStreamer<Word>& stream) : in(stream), k(static_cast<int>(in.getBits(5))) {}

    // Whether the next candidate is an event; its sign bit follows in the stream.
    bool nextIsEvent() {
        ++candidates;
        const bool isEvent = decideNext();
        events += isEvent ? 1 : 0;
        return isEvent;
    }

    // At the segment's end.
    bool hasUnusualParameter() const { return k != runLengthParameter(events, candidates); }

private:
    bool decideNext() {
        if (skip > 0) {
            --skip;
            return false;
        }
        if (pending) {
            pending = false;
            return true;
        }
        if (in.getBit() == 0) {
            skip = (1U << k) - 1; // this candidate is the first of the run
            return false;
        }
        const std::uint32_t remainder = in.getBits(k);
        if (remainder == 0) {
            return true;
        }
        pending = true;
        skip = remainder - 1;
        return false;
    }

    BasicBitStreamer<Word>& in;
    int k;
    std::uint32_t skip = 0; // candidates that are passes
    bool pending = false;   // the candidate after them is an event
    std::uint64_t candidates = 0;
    std::uint64_t events = 0;
};

// Returns whether the segment has the parameter that encoders choose.
template <typename T, typename Word>
bool readRuns(const ClassSamples<T>& samples, const PlaneWeights<T>& weights, BasicBitStreamer<Word>& in) {
    RunReader runs(in);
    samples.forEach([&](T& folded) {
        if (!weights.isSignificant(folded) && runs.nextIsEvent()) {
            folded = weights.atSignificance(in.getBit());
        }
    });
    return !runs.hasUnusualParameter();
}

template <typename T, typename Word>
void readSegments(ImageData<T>& image, int levels, int topPlane, bool stopsAfterRow, BasicBitStreamer<Word>& in,
                  StreamFindings& findings) {
    forEachSegmentPair(image.channels, levels, topPlane, [&](int channel, int c, int b) {
        const ClassSamples<T> samples{image.planes[channel], image.width, image.height, image.stride, c, levels,
                                      stopsAfterRow};
        const auto weights = PlaneWeights<T>::of(b);
        readRefinements(samples, weights, in);
        findings.contradictsItself |= !readRuns(samples, weights, in);
        return true;
    });
}

template <typename T, typename Change>
void changeEverySample(ImageData<T>& image, Change change) {
    for (int channel = 0; channel < image.channels; ++channel) {
        for (int y = 0; y < image.height; ++y) {
            T* row = image.planes[channel] + static_cast<std::int64_t>(y) * image.stride;
            std::transform(row, row + image.width, row, change);
        }
    }
}

} // namespace

template <typename Word>
int readTopPlane(BasicBitStreamer<Word>& in) {
    const auto topPlane = static_cast<int>(in.getBits(topPlaneBits));
    return topPlane == noPlanes ? -1 : topPlane;
}

template <typename T, typename Word>
StreamFindings readBelowTopPlane(const Wavelet<T>& wavelet, ImageData<T>& image, int topPlane,
                                 BasicBitStreamer<Word>& in) {
    const int levels = numberOfLevels(image.width, image.height);
    changeEverySample(image, [](T) { return T{0}; });
    StreamFindings findings;
    try {
        readSegments(image, levels, topPlane, wavelet.truncateDecode != 0, in, findings);
    } catch (int) {
        findings.endedEarly = true;
    }
    if (wavelet.skipTransform == 0) {
        changeEverySample(image, unfold<T>);
    }
    return findings;
}

using Words = BasicBitStreamer<std::uint32_t>;
using UnalignedWords = BasicBitStreamer<UnalignedWord>;
template int readTopPlane(Words&);
template int readTopPlane(UnalignedWords&);
template StreamFindings readBelowTopPlane(const Wavelet<std::int16_t>&, ImageData<std::int16_t>&, int, Words&);
template StreamFindings readBelowTopPlane(const Wavelet<std::int64_t>&, ImageData<std::int64_t>&, int, Words&);
template StreamFindings readBelowTopPlane(const Wavelet<std::int16_t>&, ImageData<std::int16_t>&, int, UnalignedWords&);
template StreamFindings readBelowTopPlane(const Wavelet<std::int64_t>&, ImageData<std::int64_t>&, int, UnalignedWords&);

template <typename T>
int Wavelet<T>::readWavelet(ImageData<T>* image, BitStreamer& in) {
    const int topPlane = readTopPlane(in);
    return readBelowTopPlane(*this, *image, topPlane, in).endedEarly ? 1 : 0;
}

template int Wavelet<std::int16_t>::readWavelet(ImageData<std::int16_t>*, BitStreamer&);
template int Wavelet<std::int64_t>::readWavelet(ImageData<std::int64_t>*, BitStreamer&);

} // namespace teko

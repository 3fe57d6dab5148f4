#include "coding/coefficientEncoder.hpp"

#include "coding/bitStreamer.hpp"
#include "coding/classSequences.hpp"
#include "coding/segmentPlan.hpp"

#include <algorithm>

namespace teko {

// Folds the coefficients of a channel on their way into memory, and counts their bit lengths a little later: a few
// thousand at a time, still in the cache.
template <typename T>
class CoefficientEncoder<T>::Folder final : public CoefficientSink<T> {
public:
    using Value = RowSample<T>;

    using Counts = std::uint64_t (*)[BitLengthHistogram<T>::buckets];

    Folder(const ImageShape& shape, const PlaneCoding<T>& itsCoding, Counts itsCounts)
        : sequences(shape), coding(itsCoding), counts(itsCounts) {
        for (int c = 0; c <= shape.levels; ++c) {
            classes[c].end = sequences.begin(c);
            classes[c].counted = classes[c].end;
        }
    }

    void take(int c, const Value* samples, int n) override {
        Class& to = classes[c];
        passed(c, coding.fold(samples, n, to.end), n);
    }
    void takePairs(int c, const Value* even, const Value* odd, int n) override {
        Class& to = classes[c];
        passed(c, coding.foldPairs(even, odd, n, to.end), n);
    }

    // Of all classes, with what is not counted yet.
    void finishCounts(int levels) {
        for (int c = 0; c <= levels; ++c) {
            count(c);
        }
    }

    ClassSequences<T> sequences;
    Unsigned<T> magnitudes = 0; // OR of all

private:
    static constexpr long countedAtOnce = 4096;

    struct Class {
        Value* end = nullptr;
        const Value* counted = nullptr; // up to here
        Unsigned<Value> uncountedMagnitudes = 0;
    };

    void passed(int c, Unsigned<Value> pieceMagnitudes, int n) {
        Class& to = classes[c];
        to.end += n;
        to.uncountedMagnitudes = static_cast<Unsigned<Value>>(to.uncountedMagnitudes | pieceMagnitudes);
        if (to.end - to.counted >= countedAtOnce) {
            count(c);
        }
    }

    void count(int c) {
        Class& of = classes[c];
        const int longest = std::min(bitLength(of.uncountedMagnitudes) + 1, 8 * static_cast<int>(sizeof(Value)) - 1);
        coding.countLengths(of.counted, static_cast<int>(of.end - of.counted), longest, counts[c]);
        magnitudes |= of.uncountedMagnitudes;
        of.counted = of.end;
        of.uncountedMagnitudes = 0;
    }

    const PlaneCoding<T>& coding;
    Counts counts; // [class][bit length]
    Class classes[maximumClasses];
};

template <typename T>
CoefficientEncoder<T>::CoefficientEncoder(const ImageShape& imageShape, const PlaneCoding<T>& planeCoding)
    : shape(imageShape), coding(planeCoding), histogram(std::make_unique<BitLengthHistogram<T>>()) {
    for (int c = 0; c < shape.channels; ++c) {
        folders.push_back(std::make_unique<Folder>(shape, coding, histogram->bitLengthCount[c]));
    }
}

template <typename T>
CoefficientEncoder<T>::~CoefficientEncoder() = default;

template <typename T>
CoefficientSink<T>& CoefficientEncoder<T>::channel(int c) {
    return *folders[static_cast<std::size_t>(c)];
}

template <typename T>
void CoefficientEncoder<T>::write(BitStreamer& out) {
    Unsigned<T> magnitudes = 0;
    for (const auto& folder : folders) {
        folder->finishCounts(shape.levels);
        magnitudes |= folder->magnitudes;
    }
    const int topPlane = topPlaneOf<T>(magnitudes);
    if (topPlane > highestSlicedPlane<T>) {
        throw 5;
    }
    histogram->sum();
    out.putBits(static_cast<std::uint32_t>(topPlane), 8);
    const SegmentPlan<T> plan(shape, topPlane, *histogram, out);
    StreamArrayManager<T> streams(shape.channels, shape.levels, topPlane);
    plan.setUp(streams);
    for (int channel = 0; channel < shape.channels; ++channel) {
        ClassSequences<T>& sequences = folders[static_cast<std::size_t>(channel)]->sequences;
        for (int c = 0; c <= shape.levels; ++c) {
            coding.codeClass(sequences.begin(c), sequences.count(c), streams, channel, c, plan.lowest[channel][c],
                             plan.lowestSparsePlane(channel, c));
        }
    }
    plan.assemble(streams, out);
}

template class CoefficientEncoder<short>;
template class CoefficientEncoder<long>;

} // namespace teko

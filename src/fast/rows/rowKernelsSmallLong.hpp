// SPDX-License-Identifier: Apache-2.0
// Row kernels for small long samples in 16-bit lanes. Included inside a target's region and namespace, after
// rowKernelsNarrow.hpp. No include guard, no includes.

// 9 near - far is 8 near + rest, where rest = near - far. That is too large for a lane, but it has the sign of near +
// floor(rest / 8), and rounding its sixteenth is halving near + floor((rest + 8) / 8), with 7 for negative ones.
inline Lanes predictionInParts(Lanes farLeft, Lanes left, Lanes right, Lanes farRight) {
    const Lanes near = left + right;
    const Lanes rest = near - (farLeft + farRight);
    const Lanes sign = isNegative(near + shiftRight<3>(rest));
    return shiftRight<1>(near + shiftRight<3>(rest + Lanes::all(8) + sign));
}

inline Lanes predictionInParts(const std::int16_t* farLeft, const std::int16_t* left, const std::int16_t* right,
                               const std::int16_t* farRight) {
    return predictionInParts(Lanes::load(farLeft), Lanes::load(left), Lanes::load(right), Lanes::load(farRight));
}

inline void predictInParts(std::int16_t* odd, const std::int16_t* farLeft, const std::int16_t* left,
                           const std::int16_t* right, const std::int16_t* farRight, int n) {
    forVectors(n, [=](int i) {
        (Lanes::load(odd + i) - predictionInParts(farLeft + i, left + i, right + i, farRight + i)).store(odd + i);
    });
}

inline void unpredictInParts(std::int16_t* odd, const std::int16_t* farLeft, const std::int16_t* left,
                             const std::int16_t* right, const std::int16_t* farRight, int n) {
    forVectors(n, [=](int i) {
        (Lanes::load(odd + i) + predictionInParts(farLeft + i, left + i, right + i, farRight + i)).store(odd + i);
    });
}

// The smallest and the largest sample of some vectors, lane by lane.
struct LaneRange {
    Lanes least;
    Lanes largest;

    LaneRange()
        : least(Lanes::all(std::numeric_limits<std::int16_t>::max())),
          largest(Lanes::all(std::numeric_limits<std::int16_t>::min())) {}

    void add(Lanes samples) {
        least = smaller(least, samples);
        largest = larger(largest, samples);
    }

    // After at least one vector.
    void extend(SampleRange& range) const {
        std::int16_t lanes[2 * Lanes::count];
        least.store(lanes);
        largest.store(lanes + Lanes::count);
        extendRange(lanes, 2 * Lanes::count, range);
    }
};

inline void extendRangeInLanes(const std::int16_t* x, int n, SampleRange& range) {
    if (n < Lanes::count) {
        extendRange(x, n, range);
        return;
    }
    LaneRange lanes;
    for (int i = 0; i + Lanes::count < n; i += Lanes::count) {
        lanes.add(Lanes::load(x + i));
    }
    lanes.add(Lanes::load(x + n - Lanes::count));
    lanes.extend(range);
}

// Two vectors at a time; the last two that the row has room for are taken whether they have been or not.
inline void splitExtendingInLanes(const std::int16_t* x, int n, std::int16_t* even, std::int16_t* odd,
                                  SampleRange& range) {
    constexpr int step = 2 * Lanes::count;
    if (n < step) {
        splitExtending(x, n, even, odd, range);
        return;
    }
    LaneRange lanes;
    const auto splitAt = [&](int i) {
        const Lanes low = Lanes::load(x + i);
        const Lanes high = Lanes::load(x + i + Lanes::count);
        lanes.add(low);
        lanes.add(high);
        const auto [e, o] = unzip(low, high);
        e.store(even + i / 2);
        o.store(odd + i / 2);
    };
    const int pairs = n / 2 * 2;
    for (int i = 0; i + step < pairs; i += step) {
        splitAt(i);
    }
    splitAt(pairs - step);
    if (pairs < n) {
        even[pairs / 2] = x[pairs];
        range.add(x[pairs]);
    }
    lanes.extend(range);
}

inline void mergeExtendingInLanes(std::int16_t* x, int n, const std::int16_t* even, const std::int16_t* odd,
                                  SampleRange& range) {
    constexpr int step = 2 * Lanes::count;
    if (n < step) {
        mergeExtending(x, n, even, odd, range);
        return;
    }
    LaneRange lanes;
    const auto mergeAt = [&](int i) {
        const Lanes e = Lanes::load(even + i / 2);
        const Lanes o = Lanes::load(odd + i / 2);
        lanes.add(e);
        lanes.add(o);
        const auto [low, high] = zip(e, o);
        low.store(x + i);
        high.store(x + i + Lanes::count);
    };
    const int pairs = n / 2 * 2;
    for (int i = 0; i + step < pairs; i += step) {
        mergeAt(i);
    }
    mergeAt(pairs - step);
    if (pairs < n) {
        x[pairs] = even[pairs / 2];
        range.add(x[pairs]);
    }
    lanes.extend(range);
}

constexpr RowKernels<SmallLong> smallLongRowKernels() {
    RowKernels<SmallLong> kernels = genericRowKernels<SmallLong>();
    kernels.split = splitNarrow;
    kernels.merge = mergeNarrow;
    kernels.extendRange = extendRangeInLanes;
    kernels.splitExtending = splitExtendingInLanes;
    kernels.mergeExtending = mergeExtendingInLanes;
    kernels.predict = predictInParts;
    kernels.predictExact = predictInParts;
    kernels.updateSmall = updateNarrow;
    kernels.update = updateNarrow;
    kernels.updateExact = updateNarrow;
    kernels.transformAlongSmall = transformInLanes<Lanes, predictionInParts, updated>;
    kernels.transformAlong = transformInLanes<Lanes, predictionInParts, updated>;
    kernels.transformAlongExact = transformInLanes<Lanes, predictionInParts, updated>;
    kernels.unpredict = unpredictInParts;
    kernels.unpredictExact = unpredictInParts;
    kernels.unupdate = unupdateNarrow;
    kernels.unupdateExact = unupdateNarrow;
    kernels.untransformAlong = untransformInLanes<Lanes, predictionInParts>;
    kernels.untransformAlongExact = untransformInLanes<Lanes, predictionInParts>;
    kernels.unscale = unscaleNarrow;
    return kernels;
}

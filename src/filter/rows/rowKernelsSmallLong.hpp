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

inline Lanes predictionInParts(const short* farLeft, const short* left, const short* right, const short* farRight) {
    return predictionInParts(Lanes::load(farLeft), Lanes::load(left), Lanes::load(right), Lanes::load(farRight));
}

inline void predictInParts(short* odd, const short* farLeft, const short* left, const short* right,
                           const short* farRight, int n) {
    forVectors(n, [=](int i) {
        (Lanes::load(odd + i) - predictionInParts(farLeft + i, left + i, right + i, farRight + i)).store(odd + i);
    });
}

inline void unpredictInParts(short* odd, const short* farLeft, const short* left, const short* right,
                             const short* farRight, int n) {
    forVectors(n, [=](int i) {
        (Lanes::load(odd + i) + predictionInParts(farLeft + i, left + i, right + i, farRight + i)).store(odd + i);
    });
}

inline void extendRangeInLanes(const short* x, int n, SampleRange& range) {
    Lanes least = Lanes::all(std::numeric_limits<short>::max());
    Lanes largest = Lanes::all(std::numeric_limits<short>::min());
    int i = 0;
    for (; i + Lanes::count <= n; i += Lanes::count) {
        least = smaller(least, Lanes::load(x + i));
        largest = larger(largest, Lanes::load(x + i));
    }
    extendRange(x + i, n - i, range);
    if (i > 0) {
        short lanes[2 * Lanes::count];
        least.store(lanes);
        largest.store(lanes + Lanes::count);
        extendRange(lanes, 2 * Lanes::count, range);
    }
}

constexpr RowKernels<SmallLong> smallLongRowKernels() {
    RowKernels<SmallLong> kernels = genericRowKernels<SmallLong>();
    kernels.split = splitNarrow;
    kernels.merge = mergeNarrow;
    kernels.extendRange = extendRangeInLanes;
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
    return kernels;
}

// SPDX-License-Identifier: Apache-2.0
// Row kernels for short samples in 16-bit lanes. Included inside a target's region and namespace, after a type
// Lanes with its vector operations. No include guard, no includes.
//
// Gain over the same steps in 32-bit lanes: 2.4 times on the whole transform (AVX2, 768 x 512, one core).

// rdiv(a, 2^shift) for any a: mulhrs(a, 2^(15 - shift)) is (a + 2^(shift-1)) >> shift without overflow, which
// rounds halves up; one less below zero makes that away from zero.
template <int shift>
Lanes divideRounded(Lanes a) {
    return mulhrs(addSaturated(a, isNegative(a)), Lanes::all(1 << (15 - shift)));
}

// From a sum wrapped to 16 bits, as the definition wants it.
inline Lanes prediction(Lanes farLeft, Lanes left, Lanes right, Lanes farRight) {
    const Lanes near = left + right;
    return divideRounded<4>(shiftLeft<3>(near) + near - (farLeft + farRight));
}
inline Lanes prediction(const std::int16_t* farLeft, const std::int16_t* left, const std::int16_t* right,
                        const std::int16_t* farRight) {
    return prediction(Lanes::load(farLeft), Lanes::load(left), Lanes::load(right), Lanes::load(farRight));
}

// v + rdiv(3 v, 16), which is rdiv(19 v, 16), for |v| up to 32767.
inline Lanes scaled(Lanes v) {
    return v + withSignOf(mulhrs(absolute(v), Lanes::all(3 << 11)), v);
}

// |y| - (3 |y| + 10) / 19, which is (16 |y| + 8) / 19, with the sign of y, for |y| up to 21841. The product with
// 55189 = (2^20 + 15) / 19 exceeds t / 19 by less than 1/19 for all 16-bit t, so its integer part is exact.
inline Lanes unscaled(Lanes y) {
    const Lanes a = absolute(y);
    const Lanes t = a + a + a + Lanes::all(10);
    return withSignOf(a - shiftRightUnsigned<4>(mulhiUnsigned(t, Lanes::all(static_cast<std::int16_t>(55189)))), y);
}

// Runs step(i) for every full vector of the row and once more for the last, partial one. Rows have room for
// that: the caller's rows are padded to a whole vector.
template <typename Step>
void forVectors(int n, Step step) {
    for (int i = 0; i < n; i += Lanes::count) {
        step(i);
    }
}

inline void predictNarrow(std::int16_t* odd, const std::int16_t* farLeft, const std::int16_t* left,
                          const std::int16_t* right, const std::int16_t* farRight, int n) {
    forVectors(n, [=](int i) {
        (Lanes::load(odd + i) - prediction(farLeft + i, left + i, right + i, farRight + i)).store(odd + i);
    });
}

inline void unpredictNarrow(std::int16_t* odd, const std::int16_t* farLeft, const std::int16_t* left,
                            const std::int16_t* right, const std::int16_t* farRight, int n) {
    forVectors(n, [=](int i) {
        (Lanes::load(odd + i) + prediction(farLeft + i, left + i, right + i, farRight + i)).store(odd + i);
    });
}

inline Lanes updated(Lanes even, Lanes before, Lanes after) {
    return scaled(even + divideRounded<2>(before + after));
}

inline void updateNarrow(std::int16_t* even, const std::int16_t* before, const std::int16_t* after, int n) {
    forVectors(n, [=](int i) {
        updated(Lanes::load(even + i), Lanes::load(before + i), Lanes::load(after + i)).store(even + i);
    });
}

// mulhrs(a, c) rounds halves up. With one more in the last bit of the factor, a negative product is smaller by |a| /
// 2^15: that takes exact halves down and, while |a| is less than the step of the exact product, nothing else across a
// limit. So rdiv(s, 4) = mulhrs(s, 2^13 + 1) for |s| < 2^13, and rdiv(3 v, 16) = mulhrs(v, 3 * 2^11 + 1) for |v| < 2^11
// (8-bit images: half the instructions of updateNarrow).
inline Lanes updatedSmall(Lanes even, Lanes before, Lanes after) {
    const Lanes sum = even + mulhrs(before + after, Lanes::all((1 << 13) + 1));
    return sum + mulhrs(sum, Lanes::all((3 << 11) + 1));
}

inline void updateSmallNarrow(std::int16_t* even, const std::int16_t* before, const std::int16_t* after, int n) {
    forVectors(n, [=](int i) {
        updatedSmall(Lanes::load(even + i), Lanes::load(before + i), Lanes::load(after + i)).store(even + i);
    });
}

inline Lanes unupdated(Lanes even, Lanes before, Lanes after) {
    return unscaled(even) - divideRounded<2>(before + after);
}

inline void unupdateNarrow(std::int16_t* even, const std::int16_t* before, const std::int16_t* after, int n) {
    forVectors(n, [=](int i) {
        unupdated(Lanes::load(even + i), Lanes::load(before + i), Lanes::load(after + i)).store(even + i);
    });
}

// Samples larger than what unscaled takes are rare: hardly any but damaged streams have them.
inline void unscaleNarrow(std::int16_t* x, int n, int times) {
    constexpr std::int64_t largestForUnscaled = 21841;
    int i = 0;
    if (largestInRow<std::int16_t>(x, n) <= largestForUnscaled) {
        for (; i + Lanes::count <= n; i += Lanes::count) {
            Lanes y = Lanes::load(x + i);
            for (int time = 0; time < times; ++time) {
                y = unscaled(y);
            }
            y.store(x + i);
        }
    }
    unscaleRow<std::int16_t>(x + i, n - i, times);
}

// Two vectors of neighbouring samples become one of the even and one of the odd places, and back.
inline std::int64_t splitNarrow(const std::int16_t* x, int n, std::int16_t* even, std::int16_t* odd) {
    Lanes bits = Lanes::all(0);
    int i = 0;
    for (; i + 2 * Lanes::count <= n; i += 2 * Lanes::count) {
        const Lanes low = Lanes::load(x + i);
        const Lanes high = Lanes::load(x + i + Lanes::count);
        bits = bits | (low ^ isNegative(low)) | (high ^ isNegative(high));
        const auto [e, o] = unzip(low, high);
        e.store(even + i / 2);
        o.store(odd + i / 2);
    }
    const std::int64_t rest = i < n ? splitRow<std::int16_t>(x + i, n - i, even + i / 2, odd + i / 2) : 1;
    std::int16_t lanes[Lanes::count];
    bits.store(lanes);
    int all = 0;
    for (const std::int16_t lane : lanes) {
        all |= lane;
    }
    return std::max<std::int64_t>(all + 1, rest);
}

inline std::int64_t mergeNarrow(std::int16_t* x, int n, const std::int16_t* even, const std::int16_t* odd) {
    int i = 0;
    for (; i + 2 * Lanes::count <= n; i += 2 * Lanes::count) {
        const auto [low, high] = zip(Lanes::load(even + i / 2), Lanes::load(odd + i / 2));
        low.store(x + i);
        high.store(x + i + Lanes::count);
    }
    if (i < n) {
        mergePairs<std::int16_t>(x + i, n - i, even + i / 2, odd + i / 2);
    }
    return largestInRow<std::int16_t>(x, n);
}

constexpr RowKernels<std::int16_t> narrowRowKernels() {
    RowKernels<std::int16_t> kernels = genericRowKernels<std::int16_t>();
    kernels.split = splitNarrow;
    kernels.merge = mergeNarrow;
    kernels.predict = predictNarrow;
    kernels.updateSmall = updateSmallNarrow;
    kernels.transformAlongSmall = transformInLanes<Lanes, prediction, updatedSmall>;
    kernels.transformAlong = transformInLanes<Lanes, prediction, updated>;
    kernels.untransformAlong = untransformInLanes<Lanes, prediction>;
    kernels.update = updateNarrow;
    kernels.unpredict = unpredictNarrow;
    kernels.unupdate = unupdateNarrow;
    kernels.unscale = unscaleNarrow;
    return kernels;
}

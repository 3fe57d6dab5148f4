// SPDX-License-Identifier: Apache-2.0
// Rows on lanes. Raw rows and rows of a level are taken apart into samples at even and at odd places and put together
// again, colours transformed on the way. The lifting steps are taken in 16 bits for rows of 16 bits (2.4 times as fast
// on the whole transform as in 32 bits; AVX2, 768 x 512, one core), in 32 bits along rows of int.
#pragma once

#include "fast/rows/portableRows.hpp"
#include "fast/simd/operations.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>

#if defined(TEKO_HAS_LANES)

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

// Two vectors of neighbouring samples become one of the even and one of the odd places, and back.
inline std::int64_t splitInLanes(const std::int16_t* x, int n, std::int16_t* even, std::int16_t* odd) {
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
    return std::max<std::int64_t>(std::int64_t{allOf(bits)} + 1, rest);
}

inline std::int64_t mergeInLanes(std::int16_t* x, int n, const std::int16_t* even, const std::int16_t* odd) {
    int i = 0;
    for (; i + 2 * Lanes::count <= n; i += 2 * Lanes::count) {
        const auto [low, high] = zip(Lanes::load(even + i / 2), Lanes::load(odd + i / 2));
        low.store(x + i);
        high.store(x + i + Lanes::count);
    }
    if (i < n) {
        mergePairs<std::int16_t>(x + i, n - i, even + i / 2, odd + i / 2);
    }
    return boundOfRow<std::int16_t>(x, n);
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

// Runs step(x) for groups of so many pixels of a raw row, from pixel x on. The last group ends with the last pair of
// pixels and may take again some that the group before it took. Returns how many pixels are done: none of a row that is
// shorter than a group.
template <int atOnce, typename Step>
int forGroups(int width, Step step) {
    if (width < atOnce) {
        return 0;
    }
    const int pairs = width / 2 * 2;
    for (int x = 0; x + atOnce < pairs; x += atOnce) {
        step(x);
    }
    step(pairs - atOnce);
    return pairs;
}

inline void splitBytesInLanes(const unsigned char* raw, int width, const PolyphaseRow<std::int16_t>& samples) {
    const int done = forGroups<2 * Lanes::count>(width, [&](int x) {
        const Lanes pairs = Lanes::loadBytes(raw + x);
        (pairs & Lanes::all(0xFF)).store(samples.even + x / 2);
        shiftRightUnsigned<8>(pairs).store(samples.odd + x / 2);
    });
    splitBytes(raw + done, width - done, samples.from(done));
}

inline void splitWordsInLanes(const unsigned char* raw, int width, const PolyphaseRow<int>& samples) {
    const int done = forGroups<2 * WideLanes::count>(width, [&](int x) {
        const WideLanes pairs = WideLanes::loadBytes(raw + std::int64_t{2} * x);
        (pairs & WideLanes::all(0xFFFF)).store(samples.even + x / 2);
        shiftRightUnsigned(pairs, 16).store(samples.odd + x / 2);
    });
    splitWords(raw + std::int64_t{2} * done, width - done, samples.from(done));
}

inline unsigned splitWordsTo16InLanes(const unsigned char* raw, int width, const PolyphaseRow<std::int16_t>& samples) {
    Lanes all = Lanes::all(0);
    const int done = forGroups<2 * Lanes::count>(width, [&](int x) {
        const Lanes low = Lanes::loadBytes(raw + std::int64_t{2} * x);
        const Lanes high = Lanes::loadBytes(raw + std::int64_t{2} * (x + Lanes::count));
        all = all | low | high;
        const auto [even, odd] = unzip(low, high);
        even.store(samples.even + x / 2);
        odd.store(samples.odd + x / 2);
    });
    return allOf(all) | splitWordsTo16(raw + std::int64_t{2} * done, width - done, samples.from(done));
}

inline void splitColoursInLanes(const unsigned char* raw, int width, const PolyphaseRow<std::int16_t>* channels) {
    const int done = forGroups<2 * Lanes::count>(width, [&](int x) {
        Lanes even[3];
        Lanes odd[3];
        loadRgb(raw + std::int64_t{3} * x, even, odd);
        const auto store = [&](const Lanes* rgb, std::int16_t* PolyphaseRow<std::int16_t>::*part) {
            const Lanes sum = rgb[0] + rgb[2] + rgb[1] + rgb[1];
            shiftRightUnsigned<2>(sum).store(channels[0].*part + x / 2);
            (rgb[0] - rgb[1]).store(channels[1].*part + x / 2);
            (rgb[2] - rgb[1]).store(channels[2].*part + x / 2);
        };
        store(even, &PolyphaseRow<std::int16_t>::even);
        store(odd, &PolyphaseRow<std::int16_t>::odd);
    });
    splitColoursFrom(done, raw, width, channels);
}

inline void joinBytesInLanes(const PolyphaseRow<std::int16_t>& samples, int width, unsigned char* raw) {
    const int done = forGroups<2 * Lanes::count>(width, [&](int x) {
        const Lanes even = Lanes::load(samples.even + x / 2);
        const Lanes odd = Lanes::load(samples.odd + x / 2);
        ((even & Lanes::all(0xFF)) | shiftLeft<8>(odd)).storeBytes(raw + x);
    });
    joinBytes(samples.from(done), width - done, raw + done);
}

inline void joinWordsInLanes(const PolyphaseRow<int>& samples, int width, unsigned char* raw) {
    const int done = forGroups<2 * WideLanes::count>(width, [&](int x) {
        const WideLanes even = WideLanes::load(samples.even + x / 2);
        const WideLanes odd = WideLanes::load(samples.odd + x / 2);
        ((even & WideLanes::all(0xFFFF)) | shiftLeft<16>(odd)).storeBytes(raw + std::int64_t{2} * x);
    });
    joinWords<int>(samples.from(done), width - done, raw + std::int64_t{2} * done);
}

inline void joinWordsFrom16InLanes(const PolyphaseRow<std::int16_t>& samples, int width, unsigned char* raw) {
    const int done = forGroups<2 * Lanes::count>(width, [&](int x) {
        const auto [low, high] = zip(Lanes::load(samples.even + x / 2), Lanes::load(samples.odd + x / 2));
        low.storeBytes(raw + std::int64_t{2} * x);
        high.storeBytes(raw + std::int64_t{2} * (x + Lanes::count));
    });
    joinWords<std::int16_t>(samples.from(done), width - done, raw + std::int64_t{2} * done);
}

// Samples clamped to 0 ... highest.
inline Lanes clampedLanes(Lanes samples, Lanes highest) {
    return smaller(larger(samples, Lanes::all(0)), highest);
}

// Channels to red, green and blue of which only the low bytes count. A sum that wraps at 16 bits is right in its bits 0
// to 13 after the shift, so in the low byte.
struct LowColours {
    void operator()(Lanes* yuv) const {
        const Lanes g = yuv[0] - shiftRight<2>(yuv[1] + yuv[2]);
        yuv[0] = yuv[1] + g;
        yuv[1] = g;
        yuv[2] = yuv[2] + g;
    }
};

// Channels to red, green and blue of which all 16 bits count, clamped below a limit that is not negative: the mean of
// two channels is taken without a sum that could wrap.
struct ClampedColours {
    int highest;

    explicit ClampedColours(int limit) : highest(ClampedInto<std::int16_t>(limit).highest) {}

    void operator()(Lanes* yuv) const {
        const Lanes mean = (yuv[1] & yuv[2]) + shiftRight<1>(yuv[1] ^ yuv[2]);
        const Lanes g = yuv[0] - shiftRight<1>(mean);
        yuv[0] = clampedLanes(yuv[1] + g, Lanes::all(highest));
        yuv[1] = clampedLanes(g, Lanes::all(highest));
        yuv[2] = clampedLanes(yuv[2] + g, Lanes::all(highest));
    }
};

// untransform(lanes) makes three lanes of the channels those of the colours. Returns how many pixels are done.
template <typename Untransform>
int joinColourLanes(const PolyphaseRow<std::int16_t>* channels, int width, Untransform untransform,
                    unsigned char* raw) {
    return forGroups<2 * Lanes::count>(width, [&](int x) {
        Lanes even[3];
        Lanes odd[3];
        for (int c = 0; c < 3; ++c) {
            even[c] = Lanes::load(channels[c].even + x / 2);
            odd[c] = Lanes::load(channels[c].odd + x / 2);
        }
        untransform(even);
        untransform(odd);
        storeRgb(raw + std::int64_t{3} * x, even, odd);
    });
}

inline void joinColoursInLanes(const PolyphaseRow<std::int16_t>* channels, int width, unsigned char* raw) {
    const int done = joinColourLanes(channels, width, LowColours{}, raw);
    joinColoursFrom(done, channels, width, Unclamped{}, raw);
}

inline void joinColoursBelowInLanes(const PolyphaseRow<std::int16_t>* channels, int width, int limit,
                                    unsigned char* raw) {
    const int done = limit < 0 ? 0 : joinColourLanes(channels, width, ClampedColours(limit), raw);
    joinColoursBelowFrom(done, channels, width, limit, raw);
}

// rdiv(a, 2^shift) for any a: mulhrs(a, 2^(15 - shift)) is (a + 2^(shift-1)) >> shift without overflow, which
// rounds halves up; one less below zero makes that away from zero.
template <int shift>
Lanes divideRounded(Lanes a) {
    return mulhrs(addSaturated(a, isNegative(a)), Lanes::all(1 << (15 - shift)));
}

// rdiv(a, 2^shift), as roundedShift.
template <int shift>
WideLanes divideRounded(WideLanes a) {
    return shiftRight<shift>(a + WideLanes::all(1 << (shift - 1)) + shiftRight<31>(a));
}

// A prediction; of 16 bits from a sum wrapped to 16 bits, as the definition wants it.
template <typename L>
L prediction(L farLeft, L left, L right, L farRight) {
    const L near = left + right;
    return divideRounded<4>(shiftLeft<3>(near) + near - (farLeft + farRight));
}

// A prediction of 16 bits from an exact sum. 9 near - far is 8 near + rest, where rest = near - far. That is too large
// for a lane, but it has the sign of near + floor(rest / 8), and rounding its sixteenth is halving near + floor((rest +
// 8) / 8), with 7 for negative ones.
inline Lanes predictionInParts(Lanes farLeft, Lanes left, Lanes right, Lanes farRight) {
    const Lanes near = left + right;
    const Lanes rest = near - (farLeft + farRight);
    const Lanes sign = isNegative(near + shiftRight<3>(rest));
    return shiftRight<1>(near + shiftRight<3>(rest + Lanes::all(8) + sign));
}

// v + rdiv(3 v, 16), which is rdiv(19 v, 16); of 16 bits for |v| up to 32767.
inline Lanes scaled(Lanes v) {
    return v + withSignOf(mulhrs(absolute(v), Lanes::all(3 << 11)), v);
}
inline WideLanes scaled(WideLanes v) {
    return v + divideRounded<4>(v + v + v);
}

template <typename L>
L updated(L even, L before, L after) {
    return scaled(even + divideRounded<2>(before + after));
}

// The same of small values. mulhrs(a, c) rounds halves up. With one more in the last bit of the factor, a negative
// product is smaller by |a| / 2^15: that takes exact halves down and, while |a| is less than the step of the exact
// product, nothing else across a limit. So rdiv(s, 4) = mulhrs(s, 2^13 + 1) for |s| < 2^13, and rdiv(3 v, 16) =
// mulhrs(v, 3 * 2^11 + 1) for |v| < 2^11 (8-bit images: half the instructions of updated).
inline Lanes updatedSmall(Lanes even, Lanes before, Lanes after) {
    const Lanes sum = even + mulhrs(before + after, Lanes::all((1 << 13) + 1));
    return sum + mulhrs(sum, Lanes::all((3 << 11) + 1));
}

// |y| - (3 |y| + 10) / 19, which is (16 |y| + 8) / 19, with the sign of y, for |y| up to largestUnscaled. The product
// with 55189 = (2^20 + 15) / 19 exceeds t / 19 by less than 1/19 for all 16-bit t, so its integer part is exact.
inline Lanes unscaled(Lanes y) {
    const Lanes a = absolute(y);
    const Lanes t = a + a + a + Lanes::all(10);
    return withSignOf(a - shiftRightUnsigned<4>(mulhiUnsigned(t, Lanes::all(static_cast<std::int16_t>(55189)))), y);
}

inline Lanes unupdated(Lanes even, Lanes before, Lanes after) {
    return unscaled(even) - divideRounded<2>(before + after);
}

// Steps on whole rows: all full vectors, and once more for the last, partial one. Rows have room for that.

using PredictLanes = Lanes (*)(Lanes, Lanes, Lanes, Lanes);
using UpdateLanes = Lanes (*)(Lanes, Lanes, Lanes);

template <PredictLanes predict>
void predictInLanes(std::int16_t* odd, const std::int16_t* farLeft, const std::int16_t* left, const std::int16_t* right,
                    const std::int16_t* farRight, int n) {
    for (int i = 0; i < n; i += Lanes::count) {
        const Lanes predicted =
            predict(Lanes::load(farLeft + i), Lanes::load(left + i), Lanes::load(right + i), Lanes::load(farRight + i));
        (Lanes::load(odd + i) - predicted).store(odd + i);
    }
}

template <PredictLanes predict>
void unpredictInLanes(std::int16_t* odd, const std::int16_t* farLeft, const std::int16_t* left,
                      const std::int16_t* right, const std::int16_t* farRight, int n) {
    for (int i = 0; i < n; i += Lanes::count) {
        const Lanes predicted =
            predict(Lanes::load(farLeft + i), Lanes::load(left + i), Lanes::load(right + i), Lanes::load(farRight + i));
        (Lanes::load(odd + i) + predicted).store(odd + i);
    }
}

template <UpdateLanes update>
void updateInLanes(std::int16_t* even, const std::int16_t* before, const std::int16_t* after, int n) {
    for (int i = 0; i < n; i += Lanes::count) {
        update(Lanes::load(even + i), Lanes::load(before + i), Lanes::load(after + i)).store(even + i);
    }
}

// Samples larger than what unscaled takes are rare: hardly any but damaged streams have them.
inline void unscaleInLanes(std::int16_t* x, int n, int times) {
    int i = 0;
    if (boundOfRow<std::int16_t>(x, n) <= largestUnscaled) {
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

// Both steps along a row at once. Neighbours come from registers: loads that cross cache lines take twice the time, and
// each sample is read and written once (encodes of photographs cut to 5 %: 1.06 times).

// For magnitudes that suit predict and update on vectors.
template <typename L, L (*predict)(L, L, L, L), L (*update)(L, L, L)>
void transformInLanes(typename L::Row* even, typename L::Row* odd, int n) {
    using Row = typename L::Row;
    const int evens = (n + 1) / 2;
    extendEvens(even, n);
    const Row lastEven = even[evens - 1];
    L here = L::load(even);
    L left = broadcastSecond(here);
    L oddLeft = here;
    for (int i = 0; i < evens; i += L::count) {
        const L right = L::load(even + i + L::count);
        const L predicted =
            L::load(odd + i) - predict(before(left, here), here, behind(here, right), twoBehind(here, right));
        const L oddBefore = before(i == 0 ? broadcastFirst(predicted) : oddLeft, predicted);
        predicted.store(odd + i);
        update(here, oddBefore, predicted).store(even + i);
        oddLeft = predicted;
        left = here;
        here = right;
    }
    if (n % 2 != 0) {
        even[evens - 1] = lastEven;
        updateRow<Row>(even + evens - 1, odd + n / 2 - 1, odd + n / 2 - 1, 1);
    }
}

template <PredictLanes predict>
void untransformInLanes(std::int16_t* even, std::int16_t* odd, int n) {
    using Row = std::int16_t;
    const ExactEnds ends(n);
    const Row oddEnds[] = {odd[ends.at[0]], odd[ends.at[1]], odd[ends.at[2]]};
    odd[n / 2] = odd[n / 2 - 1];
    Lanes oddHere = Lanes::load(odd);
    Lanes here = unupdated(Lanes::load(even), before(broadcastFirst(oddHere), oddHere), oddHere);
    Lanes left = here;
    for (int i = 0; i < (n + 1) / 2; i += Lanes::count) {
        const Lanes oddRight = Lanes::load(odd + i + Lanes::count);
        const Lanes right = unupdated(Lanes::load(even + i + Lanes::count), before(oddHere, oddRight), oddRight);
        here.store(even + i);
        (oddHere + predict(before(left, here), here, behind(here, right), twoBehind(here, right))).store(odd + i);
        left = here;
        here = right;
        oddHere = oddRight;
    }
    extendEvens(even, n);
    for (int i = 0; i < 3; ++i) {
        const Row* const leftEven = even + ends.at[i];
        odd[ends.at[i]] = oddEnds[i];
        unpredictRow<Row, Exact>(odd + ends.at[i], leftEven - 1, leftEven, leftEven + 1, leftEven + 2, 1);
    }
}

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END

#endif

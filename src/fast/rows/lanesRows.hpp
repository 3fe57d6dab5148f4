// SPDX-License-Identifier: Apache-2.0
// Rows taken apart into samples at even and at odd places and put together again, on lanes: those of a level, and raw
// ones with their colours.
#pragma once

#include "fast/rows/plainLifting.hpp"
#include "fast/rows/plainRawRows.hpp"
#include "fast/simd/lanes.hpp"

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
    return largestInRow<std::int16_t>(x, n);
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

// Raw rows. Runs step(x) for groups of so many pixels, the last one up to the last pair, whether some of its pixels
// have been taken or not. Returns how many pixels are done: none of a row that is shorter than a group.
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

// Samples kept to 0 ... highest.
inline Lanes clampedLanes(Lanes samples, Lanes highest) {
    return smaller(larger(samples, Lanes::all(0)), highest);
}

// Red, green and blue of which only the low bytes count: sums may wrap, for bits 0 to 9 of one are right.
struct LowColours {
    void operator()(Lanes* yuv) const {
        const Lanes g = yuv[0] - shiftRight<2>(yuv[1] + yuv[2]);
        yuv[0] = yuv[1] + g;
        yuv[1] = g;
        yuv[2] = yuv[2] + g;
    }
};

// Those of which 16 bits count, kept below a limit that is not negative.
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

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END

#endif

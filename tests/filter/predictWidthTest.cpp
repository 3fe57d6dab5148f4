// SPDX-License-Identifier: Apache-2.0
// 16-bit samples whose predict sums do not fit in 16 bits: every routine has its own rule of what is left.
#include "filterRoutines.hpp"
#include "support/plainLifting.hpp"
#include "support/signals.hpp"

namespace teko {

namespace {

using Signal = std::vector<short>;

struct RuledRoutine {
    Routine<short> routine;
    plain::PredictWidths widths;
    int longest = 1000; // signal that it takes
};

std::vector<RuledRoutine> kernelRuled() {
    std::vector<RuledRoutine> ruled;
    for (const auto& routine : copyRoutines<short>()) {
        ruled.push_back({routine, routine.direction == Direction::forward ? plain::forwardKernel : plain::inverseKernel,
                         Filter4_2<short>::maximumCopied});
    }
    ruled.push_back({{"transformInner", Direction::forward, 1,
                      [](Filter4_2<short>&, short* x, int n, unsigned long) {
                          const Signal result = kernelForward(Signal(x, x + n));
                          std::copy(result.begin(), result.end(), x);
                      }},
                     plain::forwardKernel});
    ruled.push_back({{"untransformInner", Direction::inverse, 1,
                      [](Filter4_2<short>&, short* x, int n, unsigned long) {
                          const Signal result = kernelInverse(Signal(x, x + n));
                          std::copy(result.begin(), result.end(), x);
                      }},
                     plain::inverseKernel});
    return ruled;
}

std::vector<RuledRoutine> strideRuled() {
    std::vector<RuledRoutine> ruled;
    for (const auto& routine : stridedRoutines<short>()) {
        ruled.push_back({routine, plain::strided});
    }
    for (const auto& routine : entryPoints<short>()) {
        ruled.push_back({routine, plain::strided});
    }
    return ruled;
}

Signal expectedOf(const RuledRoutine& ruled, const Signal& signal) {
    return ruled.routine.direction == Direction::forward ? plain::forward(signal, ruled.widths)
                                                         : plain::inverse(signal, ruled.widths);
}

// Whether any predict sum, or none, of those that a routine forms from a signal goes beyond 16 bits.
bool wrapsSomewhere(Direction direction, const Signal& signal) {
    const Signal evens = direction == Direction::forward ? signal : plain::withEvensRestored(signal);
    for (long i = 1; i < static_cast<long>(signal.size()); i += 2) {
        if (!plain::fitsSample<short>(plain::predictSum(evens, i))) {
            return true;
        }
    }
    return false;
}

// All zeros but for the two evens around one odd position: only its predict sum goes beyond 16 bits. For the
// inverse, the evens that are restored to these samples.
struct Beacon {
    Signal signal;
    long sum;
};

Beacon beaconAt(long i, int n, Direction direction) {
    constexpr short sample = 2000;
    Signal signal(static_cast<std::size_t>(n));
    for (const long neighbour : {i - 1, i + 1}) {
        signal[static_cast<std::size_t>(plain::mirrored(neighbour, n))] = sample;
    }
    const long sum = plain::predictSum(signal, i);
    if (direction == Direction::inverse) {
        for (short& even : signal) {
            even = static_cast<short>(plain::scaled(even));
        }
    }
    return {signal, sum};
}

} // namespace

TEST(PredictWidth, ofKernelsAndCopiesOnAnySamples) {
    std::mt19937_64 random{11};
    for (const auto& ruled : kernelRuled()) {
        for (int n = 2; n <= std::min(70, ruled.longest); ++n) {
            const Signal signal = randomSignal<short>(random, n, 32767);
            ASSERT_EQ(through(ruled.routine, signal), expectedOf(ruled, signal)) << ruled.routine << ", count " << n;
            ASSERT_TRUE(n < 12 || wrapsSomewhere(ruled.routine.direction, signal));
        }
    }
}

TEST(PredictWidth, ofStridedRoutinesOnAnySamples) {
    std::mt19937_64 random{12};
    for (const auto& ruled : strideRuled()) {
        for (int n = 6; n <= 70; ++n) {
            const Signal signal = randomSignal<short>(random, n, 32767);
            ASSERT_EQ(through(ruled.routine, signal), expectedOf(ruled, signal)) << ruled.routine << ", count " << n;
            ASSERT_TRUE(n < 12 || wrapsSomewhere(ruled.routine.direction, signal));
        }
    }
}

TEST(PredictWidth, ofShortSignalsIsTheKernelsThroughTheEntryPoints) {
    std::mt19937_64 random{13};
    for (const auto& routine : entryPoints<short>()) {
        const bool forward = routine.direction == Direction::forward;
        for (int n = 2; n <= 5; ++n) {
            const Signal signal = randomSignal<short>(random, n, 32767);
            ASSERT_EQ(through(routine, signal), forward ? plain::forward(signal, plain::forwardKernel)
                                                        : plain::inverse(signal, plain::inverseKernel))
                << routine << ", count " << n;
        }
    }
}

// Two evens of 2000 make a sum of 36000 in the interior and at the last of an even count, and of 34000 at the
// other boundaries. Wrapped they are -29536 and -31536.
TEST(PredictWidth, keepsOrLosesTheUpperBitsOfOneSumAtEveryPosition) {
    auto all = kernelRuled();
    const auto more = strideRuled();
    all.insert(all.end(), more.begin(), more.end());
    for (const auto& [routine, widths, longest] : all) {
        const long sign = routine.direction == Direction::forward ? -1 : 1;
        for (int n = 6; n <= std::min(24, longest); ++n) {
            for (long i = 1; i < n; i += 2) {
                const Beacon beacon = beaconAt(i, n, routine.direction);
                const auto width = plain::isBoundary(i, n) ? widths.boundary : widths.interior;
                const bool wrapped = width == plain::PredictWidth::wrapped;
                const bool isSmaller = beacon.sum == 34000;
                ASSERT_TRUE(isSmaller || beacon.sum == 36000);
                const long prediction = isSmaller ? (wrapped ? -1971 : 2125) : (wrapped ? -1846 : 2250);
                ASSERT_EQ(through(routine, beacon.signal)[static_cast<std::size_t>(i)], sign * prediction)
                    << routine << ", count " << n << ", position " << i;
            }
        }
    }
}

TEST(PredictWidth, wrapsFarNegativeSumsToo) {
    const Signal signal{0, 0, 0, 0, -32768, 0, -32768, 0, 0, 0, 0};
    // The sum at position 5 is -589824 = -9 * 65536, of which nothing is left.
    EXPECT_EQ(kernelForward(signal)[5], 0);
    EXPECT_EQ(plain::forward(signal, plain::inverseKernel)[5], static_cast<short>(36864));
    for (const auto& routine : stridedRoutines<short>()) {
        if (routine.direction == Direction::forward) {
            EXPECT_EQ(through(routine, signal)[5], 0) << routine;
        }
    }
}

TEST(PredictWidth, ofLongSamplesIsExactEverywhere) {
    const std::vector<long> signal{2000, 0, 2000, 0, 2000, 0, 2000, 0, 2000, 0, 2000, 0};
    for (const auto& routine : stridedRoutines<long>()) {
        if (routine.direction == Direction::forward) {
            EXPECT_EQ(through(routine, signal), kernelForward(signal)) << routine;
        }
    }
    EXPECT_EQ(kernelForward(signal)[5], -2000);
}

TEST(PredictWidth, doesNotNarrowUpdateAndScale) {
    // 32767 + 32767 in the update sums, 152 * 16384 in the scaling, and no prediction.
    Signal samples(13);
    Signal coefficients(13, 19456);
    for (std::size_t i = 1; i < samples.size(); i += 2) {
        samples[i] = coefficients[i] = 32767;
    }
    auto all = kernelRuled();
    const auto more = strideRuled();
    all.insert(all.end(), more.begin(), more.end());
    for (const auto& [routine, widths, longest] : all) {
        if (longest < static_cast<int>(samples.size())) {
            continue;
        }
        const bool forward = routine.direction == Direction::forward;
        EXPECT_EQ(through(routine, forward ? samples : coefficients), forward ? coefficients : samples) << routine;
    }
}

} // namespace teko

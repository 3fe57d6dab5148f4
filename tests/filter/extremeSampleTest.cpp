// SPDX-License-Identifier: Apache-2.0
// Contents that no image has but any damaged stream can bring: every routine still does one and the same thing.
#include "filterRoutines.hpp"
#include "reference/lifting.hpp"
#include "support/plainLifting.hpp"

#include <limits>
#include <random>

namespace teko {

namespace {

template <typename T>
std::vector<std::vector<T>> extremeSignals(int n) {
    constexpr T least = std::numeric_limits<T>::min();
    constexpr T most = std::numeric_limits<T>::max();
    const auto count = static_cast<std::size_t>(n);
    std::vector<std::vector<T>> signals{std::vector<T>(count, least), std::vector<T>(count, most)};
    std::vector<T> alternating(count, least);
    std::vector<T> pairs(count, most);
    std::vector<T> arbitrary(count);
    std::mt19937_64 random{static_cast<unsigned long>(n)};
    for (std::size_t i = 0; i < count; ++i) {
        alternating[i] = i % 2 == 0 ? least : most;
        pairs[i] = i % 4 < 2 ? least : most;
        arbitrary[i] = static_cast<T>(random());
    }
    signals.insert(signals.end(), {alternating, pairs, arbitrary});
    return signals;
}

constexpr auto sixtyFourBit = reference::Samples::sixtyFourBit;

std::vector<long> expectedInPlace(const Routine<long>& routine, const std::vector<long>& signal) {
    const auto count = signal.size();
    return routine.direction == Direction::forward
               ? reference::filtered(signal, reference::forwardDriverRule(sixtyFourBit, count))
               : reference::unfiltered(signal, reference::inverseDriverRule(sixtyFourBit, count));
}

} // namespace

TEST(ExtremeSamples, ofLongFollowTheFormulas) {
    for (int n = 2; n <= 30; ++n) {
        for (const auto& signal : extremeSignals<long>(n)) {
            ASSERT_EQ(kernelForward(signal), filtered(signal, forwardKernelRule(sixtyFourBit))) << n;
            ASSERT_EQ(kernelInverse(signal), unfiltered(signal, inverseKernelRule(sixtyFourBit))) << n;
            for (const auto& routine : n < 6 ? entryPoints<long>() : stridedRoutines<long>()) {
                ASSERT_EQ(through(routine, signal), expectedInPlace(routine, signal)) << routine << ", count " << n;
            }
        }
    }
}

// The last odd sample of an even count is rounded by the sign of half its sum, and the sum has another sign where it
// does not fit in 64 bits. The kernel, which has the whole sum, rounds by that of the sum.
TEST(ExtremeSamples, ofLongRoundTheLastSampleByHalfOfItsSum) {
    constexpr long wraps = (1L << 59) + 3;
    constexpr long quotient = -((1L << 59) - (1L << 56)); // 2 * 9 * wraps, without 54, wrapped and divided by 16
    for (const long sign : {1L, -1L}) {
        for (std::size_t n = 6; n <= 16; n += 2) {
            std::vector<long> samples(n);
            samples[n - 2] = sign * wraps;
            // Restored, the last even sample is the only one that is not zero, and as large as that.
            std::vector<long> coefficients(n);
            coefficients[n - 1] = -4 * sign * wraps;
            for (const auto& routine : stridedRoutines<long>()) {
                const bool forward = routine.direction == Direction::forward;
                const auto& signal = forward ? samples : coefficients;
                EXPECT_EQ((through(routine, signal).back() - signal.back()) * (forward ? -sign : sign), quotient + 4)
                    << routine << ", count " << n;
            }
            EXPECT_EQ(kernelForward(samples).back(), -sign * (quotient + 3));
            EXPECT_EQ(kernelInverse(coefficients).back() - coefficients.back(), sign * (quotient + 3));
        }
    }
}

TEST(ExtremeSamples, ofShortFollowTheFormulas) {
    for (int n = 2; n <= 30; ++n) {
        for (const auto& signal : extremeSignals<short>(n)) {
            ASSERT_EQ(kernelForward(signal), plain::forward(signal, plain::forwardKernel)) << n;
            ASSERT_EQ(kernelInverse(signal), plain::inverse(signal, plain::inverseKernel)) << n;
            if (n < 6) {
                continue;
            }
            for (const auto& routine : stridedRoutines<short>()) {
                ASSERT_EQ(through(routine, signal), routine.direction == Direction::forward
                                                        ? plain::forward(signal, plain::strided)
                                                        : plain::inverse(signal, plain::strided))
                    << routine << ", count " << n;
            }
        }
    }
}

} // namespace teko

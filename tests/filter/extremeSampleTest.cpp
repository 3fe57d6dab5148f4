// Contents that no image has but any damaged stream can bring: every routine still does one and the same thing.
#include "filterRoutines.hpp"
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

} // namespace

TEST(ExtremeSamples, ofLongGiveTheKernelsResultInEveryRoutine) {
    for (int n = 6; n <= 30; ++n) {
        for (const auto& signal : extremeSignals<long>(n)) {
            const auto forward = kernelForward(signal);
            const auto inverse = kernelInverse(signal);
            for (const auto& routine : stridedRoutines<long>()) {
                ASSERT_EQ(through(routine, signal), routine.direction == Direction::forward ? forward : inverse)
                    << routine << ", count " << n;
            }
        }
    }
}

TEST(ExtremeSamples, ofLongGiveTheKernelsResultThroughCopies) {
    for (int n = 2; n <= 5; ++n) {
        for (const auto& signal : extremeSignals<long>(n)) {
            for (const auto& routine : entryPoints<long>()) {
                ASSERT_EQ(through(routine, signal),
                          routine.direction == Direction::forward ? kernelForward(signal) : kernelInverse(signal))
                    << routine << ", count " << n;
            }
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

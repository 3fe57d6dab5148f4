// SPDX-License-Identifier: Apache-2.0
#include "reference/lifting.hpp"

namespace teko::reference {
namespace {

// Sums and products are kept modulo 2^64, and signed only when they are complete: unsigned numbers wrap without harm.
struct Wide {
    std::uint64_t bits;

    Wide(std::int64_t value) : bits(static_cast<std::uint64_t>(value)) {}

    friend Wide operator+(Wide a, Wide b) { return cut(a.bits + b.bits); }
    friend Wide operator-(Wide a, Wide b) { return cut(a.bits - b.bits); }
    friend Wide operator*(Wide a, Wide b) { return cut(a.bits * b.bits); }

    static std::int64_t cut(std::uint64_t bits) { return static_cast<std::int64_t>(bits); }
};

std::int64_t cut(Wide value) {
    return Wide::cut(value.bits);
}

// Division by m, halves away from zero.
std::int64_t rounded(std::int64_t a, std::int64_t m) {
    return cut(Wide{a} + (a >= 0 ? m / 2 : -(m / 2))) / m;
}

std::int64_t half(std::int64_t a) {
    return cut(Wide{a} + (a >= 0 ? 1 : -1)) / 2;
}

std::int64_t scaled(std::int64_t v) {
    return cut(Wide{v} * 152 + (v >= 0 ? 64 : -64)) / 128;
}

// The sample at any position of a signal that is mirrored about its first and its last sample for ever.
std::int64_t mirrored(const Signal& x, std::int64_t position) {
    const std::int64_t last = static_cast<std::int64_t>(x.size()) - 1;
    while (position < 0 || position > last) {
        position = position < 0 ? -position : 2 * last - position;
    }
    return x[static_cast<std::size_t>(position)];
}

bool isBoundary(std::int64_t i, std::int64_t count) {
    return i == 1 || i >= count - 3;
}

// What the predict step takes from (forward) or gives back to (inverse) the odd sample i.
std::int64_t prediction(const Signal& x, std::int64_t i, WidthRule rule) {
    const auto count = static_cast<std::int64_t>(x.size());
    if (i == count - 1 && rule.doublesLast) {
        const std::int64_t half = cut(9 * Wide{mirrored(x, i - 1)} - mirrored(x, i - 3));
        return cut(Wide{cut(2 * Wide{half})} + (half >= 0 ? 8 : -8)) / 16;
    }
    const Wide near = Wide{mirrored(x, i - 1)} + mirrored(x, i + 1);
    const Wide far = Wide{mirrored(x, i - 3)} + mirrored(x, i + 3);
    const std::int64_t sum = cut(9 * near - far);
    const bool wraps = isBoundary(i, count) ? rule.wrapsBoundary : rule.wrapsInterior;
    return rounded(wraps ? stored(sum, Samples::sixteenBit) : sum, 16);
}

// What the update step adds to (forward) or takes back from (inverse) the even sample i.
std::int64_t update(const Signal& x, std::size_t i) {
    if (i == 0) {
        return half(x[1]);
    }
    if (i == x.size() - 1) {
        return half(x[i - 1]);
    }
    return rounded(cut(Wide{x[i - 1]} + x[i + 1]), 4);
}

WidthRule inPlaceRule(Samples samples) {
    return {samples, samples == Samples::sixteenBit, false, true};
}

} // namespace

std::int64_t unscaled(std::int64_t y) {
    return cut(Wide{y} * 128 + (y >= 0 ? 64 : -64)) / 152;
}

WidthRule forwardKernelRule(Samples samples) {
    const bool wraps = samples == Samples::sixteenBit;
    return {samples, wraps, wraps, false};
}

WidthRule inverseKernelRule(Samples samples) {
    return {samples, false, false, false};
}

WidthRule forwardDriverRule(Samples samples, std::size_t count) {
    return count < 6 ? forwardKernelRule(samples) : inPlaceRule(samples);
}

WidthRule inverseDriverRule(Samples samples, std::size_t count) {
    return count < 6 ? inverseKernelRule(samples) : inPlaceRule(samples);
}

Signal filtered(const Signal& signal, WidthRule rule) {
    Signal x = signal;
    if (x.size() < 2) {
        return x;
    }
    for (std::size_t i = 1; i < x.size(); i += 2) {
        x[i] = stored(cut(Wide{x[i]} - prediction(x, static_cast<std::int64_t>(i), rule)), rule.samples);
    }
    for (std::size_t i = 0; i < x.size(); i += 2) {
        x[i] = stored(scaled(cut(Wide{x[i]} + update(x, i))), rule.samples);
    }
    return x;
}

Signal unfiltered(const Signal& signal, WidthRule rule) {
    Signal x = signal;
    if (x.size() < 2) {
        return x;
    }
    for (std::size_t i = 0; i < x.size(); i += 2) {
        x[i] = stored(cut(Wide{unscaled(x[i])} - update(x, i)), rule.samples);
    }
    for (std::size_t i = 1; i < x.size(); i += 2) {
        x[i] = stored(cut(Wide{x[i]} + prediction(x, static_cast<std::int64_t>(i), rule)), rule.samples);
    }
    return x;
}

} // namespace teko::reference

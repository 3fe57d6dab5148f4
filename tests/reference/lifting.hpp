// SPDX-License-Identifier: Apache-2.0
// The one-dimensional filter of the reference, for one signal at a time.
#pragma once

#include "reference/image.hpp"

namespace teko::reference {

using Signal = std::vector<std::int64_t>;

// Where the sum of a predict step keeps only its low 16 bits before it is rounded. The first odd position and
// those that reach beyond the end (the last for odd sizes, the last two for even ones) are the boundary. At the last
// position of an even count both halves of the sum are the same: either the sum is rounded by its own sign, or the half
// is doubled and rounded by the sign of the half, which is another one where doubling leaves 64 bits.
struct WidthRule {
    Samples samples;
    bool wrapsInterior;
    bool wrapsBoundary;
    bool doublesLast;
};

// The rules of the two kernels, and those of the routines that work in place on six or more samples. Shorter
// signals always follow the kernels. Sums of 64-bit samples never lose bits to a rule.
WidthRule forwardKernelRule(Samples samples);
WidthRule inverseKernelRule(Samples samples);
WidthRule forwardDriverRule(Samples samples, std::size_t count);
WidthRule inverseDriverRule(Samples samples, std::size_t count);

// A low-pass sample without the gain that the filter gives it; the product with 128 keeps its low 64 bits.
std::int64_t unscaled(std::int64_t y);

// Low-pass results at even positions, high-pass results at odd ones; signals of fewer than two samples come
// back as they are.
Signal filtered(const Signal& signal, WidthRule rule);
Signal unfiltered(const Signal& signal, WidthRule rule);

} // namespace teko::reference

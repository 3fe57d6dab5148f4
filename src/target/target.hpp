// SPDX-License-Identifier: Apache-2.0
// The instruction sets that the codec has code for, and which of them runs.
//
// Every target gives the same bits. The environment variable TEKO_TARGET (plain, portable, avx2, avx512, neon) forces
// one that the processor can run; anything else in it counts for nothing.
#pragma once

#include <array>

namespace teko {

enum class Target {
    plain,    // the readable procedures, one sample and one bit at a time: what all others are measured against
    portable, // bit planes and rows in standard C++
    avx2,     // AVX2 and BMI2, on processors whose pext and pdep are fast
    avx512,   // the same with AVX-512, including VBMI, VBMI2 and VPOPCNTDQ, and GFNI
    neon,     // NEON, on AArch64
};

constexpr std::array<Target, 5> allTargets{Target::plain, Target::portable, Target::avx2, Target::avx512, Target::neon};

const char* nameOf(Target target);

// Whether this processor has the instructions, be they fast or slow.
bool isRunnable(Target target);

// The best for this processor: by what it does well, not only by what it has.
Target bestTarget();

// What the codec uses: chosen at the first call, or by setActiveTarget since.
Target activeTarget();

// For tests and benchmarks, between two images: an encoder or a decoder asks for the active target more than once. The
// target must be runnable.
void setActiveTarget(Target target);

} // namespace teko

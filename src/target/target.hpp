// SPDX-License-Identifier: Apache-2.0
// The instruction sets that the codec has code for, which of them this processor does well, and which one the program
// uses. The driver and the library choose by this; the codec and src/fast are told.
//
// Every target gives the same bits. The environment variable TEKO_TARGET (plain, portable, avx2, avx512, neon) forces
// one that the processor can run; anything else in it counts for nothing.
#pragma once

#include <array>

// The machines whose every processor has NEON, with bytes in the order that the code for it takes for granted.
#if defined(__aarch64__) && defined(__ARM_NEON) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
#define TEKO_NEON_MACHINE
#endif

namespace teko {

enum class Target {
    plain,    // the readable procedures, one sample and one bit at a time: what all others are measured against
    portable, // bit planes and rows in standard C++
    avx2,     // AVX2 and BMI2, on processors whose pext and pdep are fast
    avx512,   // AVX2, BMI2 and AVX-512, including VBMI, VBMI2 and VPOPCNTDQ, and GFNI
    neon,     // NEON, on AArch64
};

// In the order of their numbers.
constexpr std::array<Target, 5> allTargets{Target::plain, Target::portable, Target::avx2, Target::avx512, Target::neon};

// The name that TEKO_TARGET, teko_options and teko_target have for it.
const char* nameOf(Target target);

// Whether this processor has the instructions of a target, be they fast or slow.
bool isRunnable(Target target);

// The best for this processor: by what it does well, not only by what it has.
Target bestTarget();

// The target that the program codes with: chosen at the first call, or by setActiveTarget since. The library does not
// ask for it: its callers name a target in each call, or get the best one.
Target activeTarget();

// Changes the active target, for tests and benchmarks; it must be runnable.
void setActiveTarget(Target target);

} // namespace teko

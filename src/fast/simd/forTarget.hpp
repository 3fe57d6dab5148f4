// SPDX-License-Identifier: Apache-2.0
// For which target a translation unit compiles its kernels.
//
// A source file that makes a target's kernels defines one of TEKO_FOR_PORTABLE, TEKO_FOR_AVX2, TEKO_FOR_AVX512 and
// TEKO_FOR_NEON, and includes the headers of kernels then. These are written once for all targets: each has its text in
// a region of the target and in the target's own namespace,
//
//   TEKO_TARGET_BEGIN
//   namespace teko::TEKO_TARGET_NAMESPACE {
//   namespace {
//   ...
//   }
//   }
//   TEKO_TARGET_END
//
// and includes what it needs outside of it. So nothing that other files share is compiled with instructions that a
// processor may not have, and each of these headers compiles alone: for a target of the compiler's machine, where none
// is named. One source file a target includes them: what has no name outside of it is inlined where it is called once
// (AVX2, against names that the linker sees: 1.04 times on encodes).
#pragma once

#include "target/target.hpp"

#if !defined(TEKO_FOR_PORTABLE) && !defined(TEKO_FOR_AVX2) && !defined(TEKO_FOR_AVX512) && !defined(TEKO_FOR_NEON)
#if defined(__x86_64__)
#define TEKO_FOR_AVX2
#elif defined(TEKO_NEON_MACHINE)
#define TEKO_FOR_NEON
#else
#define TEKO_FOR_PORTABLE
#endif
#endif

#if defined(TEKO_FOR_AVX512) || defined(TEKO_FOR_AVX2)
#if defined(__GNUC__) && !defined(__clang__)
// False alarms of GCC 12 from its own masked intrinsics.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif
#include <immintrin.h>
#endif

// Target regions: what stands between a BEGIN and TEKO_REGION_END is compiled for that instruction set, and
// nothing else is. (Flags per file would leak the instructions into inline functions that other files share.)
// Standard headers must be included before a region begins. Types that hold vectors write out their constructors: GCC
// compiles one that it defines itself, for members with initializers, outside of the region, where vectors are returned
// in another way. With TEKO_SIMULATED_AVX512, functions in standard C++ stand for the instructions of the avx512
// target.
#define TEKO_AVX2_FEATURES "avx2,bmi,bmi2,lzcnt,popcnt"

#if defined(TEKO_SIMULATED_AVX512)
#define TEKO_AVX512_FEATURES TEKO_AVX2_FEATURES
#else
#define TEKO_AVX512_FEATURES                                                                                           \
    "avx2,bmi,bmi2,lzcnt,popcnt,avx512f,avx512bw,avx512dq,avx512vl,avx512vbmi,avx512vbmi2,avx512vpopcntdq,gfni"
#endif

#define TEKO_PRAGMA(text) _Pragma(#text)

#if defined(__clang__)
#define TEKO_REGION_BEGIN(features)                                                                                    \
    TEKO_PRAGMA(clang attribute push(__attribute__((target(features))), apply_to = function))
#define TEKO_REGION_END TEKO_PRAGMA(clang attribute pop)
#else
#define TEKO_REGION_BEGIN(features) TEKO_PRAGMA(GCC push_options) TEKO_PRAGMA(GCC target(features))
#define TEKO_REGION_END TEKO_PRAGMA(GCC pop_options)
#endif

#if defined(TEKO_FOR_AVX512)
#define TEKO_TARGET_NAMESPACE avx512
#define TEKO_TARGET_BEGIN TEKO_REGION_BEGIN(TEKO_AVX512_FEATURES)
#define TEKO_TARGET_END TEKO_REGION_END
#define TEKO_HAS_LANES
#elif defined(TEKO_FOR_AVX2)
#define TEKO_TARGET_NAMESPACE avx2
#define TEKO_TARGET_BEGIN TEKO_REGION_BEGIN(TEKO_AVX2_FEATURES)
#define TEKO_TARGET_END TEKO_REGION_END
#define TEKO_HAS_LANES
#elif defined(TEKO_FOR_NEON)
#include <arm_neon.h>
#define TEKO_TARGET_NAMESPACE neon
#define TEKO_TARGET_BEGIN
#define TEKO_TARGET_END
#define TEKO_HAS_LANES
#else
#define TEKO_TARGET_NAMESPACE portable
#define TEKO_TARGET_BEGIN
#define TEKO_TARGET_END
#endif

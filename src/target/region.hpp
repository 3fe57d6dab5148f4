// SPDX-License-Identifier: Apache-2.0
// Target regions: what stands between a BEGIN and TEKO_REGION_END is compiled for that instruction set, and
// nothing else is. (Flags per file would leak the instructions into inline functions that other files share.)
// Standard headers must be included before a region begins. Types that hold vectors write out their constructors: GCC
// compiles one that it defines itself, for members with initializers, outside of the region, where vectors are returned
// in another way. With TEKO_SIMULATED_AVX512, functions in standard C++ stand for the instructions of the avx512
// target.
#pragma once

#define TEKO_AVX2_FEATURES "avx2,bmi,bmi2,lzcnt,popcnt"

#if defined(TEKO_SIMULATED_AVX512)
#define TEKO_AVX512_FEATURES TEKO_AVX2_FEATURES
#else
#define TEKO_AVX512_FEATURES                                                                                           \
    "avx2,bmi,bmi2,lzcnt,popcnt,avx512f,avx512bw,avx512dq,avx512vl,avx512vbmi,avx512vbmi2,avx512vpopcntdq,gfni"
#endif

// The machines whose every processor has NEON, with bytes in the order that the code for it takes for granted. It needs
// no region.
#if defined(__aarch64__) && defined(__ARM_NEON) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
#define TEKO_NEON_MACHINE
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

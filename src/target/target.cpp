// SPDX-License-Identifier: Apache-2.0
// What the code demands of every machine, and which instructions this processor has and does well.
#include "target/target.hpp"

#include <atomic>
#include <bit>
#include <cfloat>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace teko {

namespace {

// Where one of these demands does not hold, nothing is built. Neither the order of bytes nor the sign of a plain char
// is among them. Samples and the sums of the filter wrap at these widths, and the file holds bytes.
static_assert(CHAR_BIT == 8, "files are bytes of 8 bits");
static_assert(sizeof(std::int16_t) == 2, "coefficients of 8-bit samples wrap at 16 bits");
static_assert(sizeof(int) == 4, "sums over std::int16_t samples are taken in 32 bits");
static_assert(sizeof(std::int64_t) == 8, "coefficients of 16-bit samples have 64 bits, and files may pass 2 GB");

// The language promises both since C++20; compilers in earlier modes do not.
static_assert(-1 >> 1 == -1, "rounding shifts negative sums to the right");
static_assert(static_cast<std::int16_t>(0xFFFFU) == -1, "conversions to a narrower type keep the low bits");

static_assert(std::endian::native == std::endian::little || std::endian::native == std::endian::big,
              "words are stored in one of two orders");

// Budgets are products of single precision, rounded as such; errors are sums of double precision.
static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<float>::digits == 24,
              "rates are numbers of IEEE single precision");
static_assert(std::numeric_limits<double>::is_iec559 && std::numeric_limits<double>::digits == 53,
              "errors are numbers of IEEE double precision");
static_assert(FLT_EVAL_METHOD == 0, "a product of single precision is rounded to it");

#if defined(__x86_64__)
// What the instruction CPUID answers for a leaf that every x86-64 has. __get_cpuid would ask for the highest leaf
// first, and a CPUID takes 17 us on a virtual machine (Zen 3).
struct CpuidLeaf {
    unsigned eax;
    unsigned ebx;
    unsigned ecx;
    unsigned edx;

    explicit CpuidLeaf(unsigned leaf) { __cpuid(leaf, eax, ebx, ecx, edx); }
};

// Where LZCNT is missing, its code is that of another instruction: wrong results instead of a signal. It is not among
// the names that __builtin_cpu_supports of Clang 14 takes.
bool hasLzcnt() {
    return (CpuidLeaf(0x80000001U).ecx >> 5 & 1U) != 0;
}

bool hasAvx2() {
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") &&
           __builtin_cpu_supports("popcnt") && hasLzcnt();
}

bool hasAvx512() {
#if defined(TEKO_SIMULATED_AVX512)
    return hasAvx2();
#else
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl") &&
           __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2") &&
           __builtin_cpu_supports("avx512vpopcntdq") && __builtin_cpu_supports("gfni") && hasAvx2();
#endif
}

// Whether a processor is known to deposit and extract bits fast: Intel's all do, AMD's from family 19h (Zen 3) on.
// Those before, and what others build from them (Hygon), run pext and pdep in microcode, bit by bit.
bool hasFastBitDeposit() {
    if (__builtin_cpu_is("intel")) {
        return true;
    }
    const unsigned version = CpuidLeaf(1).eax;
    const unsigned family = (version >> 8 & 0xFU) + (version >> 20 & 0xFFU);
    return __builtin_cpu_is("amd") && family >= 0x19U;
}
#else
bool hasAvx2() {
    return false;
}
bool hasAvx512() {
    return false;
}
bool hasFastBitDeposit() {
    return false;
}
#endif

#if defined(TEKO_NEON_MACHINE)
constexpr bool hasNeon = true;
#else
constexpr bool hasNeon = false;
#endif

// What TEKO_TARGET names where that runs here, else the best target.
Target chosenAtStart() {
    if (const char* wanted = std::getenv("TEKO_TARGET")) {
        for (const Target target : allTargets) {
            if (std::strcmp(wanted, nameOf(target)) == 0 && isRunnable(target)) {
                return target;
            }
        }
    }
    return bestTarget();
}

std::atomic<Target>& active() {
    static std::atomic<Target> target{chosenAtStart()};
    return target;
}

} // namespace

const char* nameOf(Target target) {
    static constexpr std::array<const char*, allTargets.size()> names{"plain", "portable", "avx2", "avx512", "neon"};
    return names[static_cast<std::size_t>(target)];
}

bool isRunnable(Target target) {
    switch (target) {
    case Target::avx2:
        return hasAvx2();
    case Target::avx512:
        return hasAvx512();
    case Target::neon:
        return hasNeon;
    case Target::plain:
    case Target::portable:
        break;
    }
    return true;
}

Target bestTarget() {
    if (hasNeon) {
        return Target::neon;
    }
    if (!isRunnable(Target::avx2) || !hasFastBitDeposit()) {
        return Target::portable;
    }
    return isRunnable(Target::avx512) ? Target::avx512 : Target::avx2;
}

Target activeTarget() {
    return active().load(std::memory_order_relaxed);
}

void setActiveTarget(Target target) {
    active().store(target, std::memory_order_relaxed);
}

} // namespace teko

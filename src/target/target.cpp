// SPDX-License-Identifier: Apache-2.0
#include "target/target.hpp"

#include "target/region.hpp"

#include <atomic>
#include <cstdlib>
#include <cstring>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace teko {

namespace {

#if defined(__x86_64__)
// Of a leaf that every x86-64 has. __get_cpuid would ask for the highest leaf first, and a CPUID takes 17 us on a
// virtual machine (Zen 3).
struct CpuidLeaf {
    unsigned eax;
    unsigned ebx;
    unsigned ecx;
    unsigned edx;

    explicit CpuidLeaf(unsigned leaf) { __cpuid(leaf, eax, ebx, ecx, edx); }
};

// Where it is missing, its code is that of another instruction: wrong results instead of a signal. Not among the names
// that __builtin_cpu_supports of Clang 14 takes.
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
    default:
        return true;
    }
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

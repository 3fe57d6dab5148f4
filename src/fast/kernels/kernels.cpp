// SPDX-License-Identifier: Apache-2.0
// The table of the portable target, which every machine has, and the choice of a target's table.
#define TEKO_FOR_PORTABLE
#include "fast/kernels/kernelsOfTarget.hpp"

#include "target/target.hpp"

namespace teko {

const Kernels& kernelsOf(Target target) {
    switch (target) {
#if defined(__x86_64__)
    case Target::avx2:
        return avx2::kernels();
    case Target::avx512:
        return avx512::kernels();
#endif
#if defined(TEKO_NEON_MACHINE)
    case Target::neon:
        return neon::kernels();
#endif
    default:
        return portable::kernels();
    }
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// The table of the portable target, which every machine has, and the choice of a target's table.
#define TEKO_FOR_PORTABLE
#include "fast/kernels/kernelsOfTarget.hpp"

#include "target/target.hpp"

namespace teko {

const Kernels& kernelsOf(Target target) {
    switch (target) {
    case Target::avx2:
#if defined(__x86_64__)
        return avx2::kernels();
#else
        break;
#endif
    case Target::avx512:
#if defined(__x86_64__)
        return avx512::kernels();
#else
        break;
#endif
    case Target::neon:
#if defined(TEKO_NEON_MACHINE)
        return neon::kernels();
#else
        break;
#endif
    case Target::plain:
    case Target::portable:
        break;
    }
    return portable::kernels();
}

} // namespace teko

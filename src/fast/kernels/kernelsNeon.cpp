// SPDX-License-Identifier: Apache-2.0
#include "target/target.hpp"

#if defined(TEKO_NEON_MACHINE)
#define TEKO_FOR_NEON
#include "fast/kernels/kernelsOfTarget.hpp"
#endif

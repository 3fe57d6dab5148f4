// SPDX-License-Identifier: Apache-2.0
#if defined(__x86_64__)
#define TEKO_FOR_AVX512
#include "fast/kernels/kernelsOfTarget.hpp"
#endif

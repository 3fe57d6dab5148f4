// SPDX-License-Identifier: Apache-2.0
#define TEKO_FOR_PORTABLE
#include "fast/kernels/kernelsOfTarget.hpp"

// SPDX-License-Identifier: Apache-2.0
// Where each target keeps its row kernels.
#pragma once

#include "fast/rows/rowKernels.hpp"

namespace teko {

namespace portable {
template <typename T>
const RowKernels<T>& rowKernelSet();
}
namespace avx2 {
template <typename T>
const RowKernels<T>& rowKernelSet();
}
namespace avx512 {
template <typename T>
const RowKernels<T>& rowKernelSet();
}

} // namespace teko

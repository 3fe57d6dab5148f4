// SPDX-License-Identifier: Apache-2.0
#include "fast/rows/rowKernelSets.hpp"
#include "filter/lifting.hpp"

#include <algorithm>
#include <cstdint>

namespace teko::portable {

namespace {
#include "fast/rows/rowKernelsGeneric.hpp"
}

template <typename T>
const RowKernels<T>& rowKernelSet() {
    static constexpr RowKernels<T> kernels = genericRowKernels<T>();
    return kernels;
}

template const RowKernels<std::int16_t>& rowKernelSet();
template const RowKernels<SmallLong>& rowKernelSet();
template const RowKernels<std::int64_t>& rowKernelSet();

} // namespace teko::portable

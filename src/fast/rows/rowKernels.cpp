// SPDX-License-Identifier: Apache-2.0
#include "fast/rows/rowKernels.hpp"

#include "fast/rows/rowKernelSets.hpp"

namespace teko {

template <typename T>
const RowKernels<T>& rowKernels(Target target) {
#if defined(__x86_64__)
    if (target == Target::avx512) {
        return avx512::rowKernelSet<T>();
    }
    if (target == Target::avx2) {
        return avx2::rowKernelSet<T>();
    }
#endif
    static_cast<void>(target);
    return portable::rowKernelSet<T>();
}

template const RowKernels<std::int16_t>& rowKernels(Target);
template const RowKernels<SmallLong>& rowKernels(Target);
template const RowKernels<std::int64_t>& rowKernels(Target);

} // namespace teko

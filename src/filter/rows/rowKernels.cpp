#include "filter/rows/rowKernels.hpp"

#include "filter/rows/rowKernelSets.hpp"

namespace teko {

template <typename T>
const RowKernels<T>& rowKernels(Target target) {
#if defined(__x86_64__)
    // Rows of short samples gain nothing from wider vectors: less than a hundredth of a whole run.
    if constexpr (sizeof(T) > sizeof(short)) {
        if (target == Target::avx512) {
            return avx512::rowKernelSet<T>();
        }
    }
    if (includesAvx2(target)) {
        return avx2::rowKernelSet<T>();
    }
#endif
    static_cast<void>(target);
    return portable::rowKernelSet<T>();
}

template const RowKernels<short>& rowKernels(Target);
template const RowKernels<long>& rowKernels(Target);

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// What a target does for itself: the inner loops on rows and on bit planes, in one table.
#pragma once

#include "fast/planes/planeKernels.hpp"
#include "fast/rows/rowKernels.hpp"
#include "target/target.hpp"

#include <type_traits>

namespace teko {

struct Kernels {
    RawRowKernels rawRows;
    RowKernels<std::int16_t> rowsOf16;
    RowKernels<Int64In16> narrowRowsOf64;
    RowKernels<std::int64_t> rowsOf64;
    NarrowRowKernels narrowRows;
    PlaneKernels<std::int16_t> planesOf16;
    PlaneKernels<std::int64_t> planesOf64;
    // Whether rows of 16 bits are faster for images of 16 bits, where these fit: those that leave vectors to the
    // compiler are not (0.85 times on the transform).
    bool prefers16BitRows;

    template <typename T>
    const RowKernels<T>& rows() const {
        if constexpr (std::is_same_v<T, std::int16_t>) {
            return rowsOf16;
        } else if constexpr (std::is_same_v<T, Int64In16>) {
            return narrowRowsOf64;
        } else {
            return rowsOf64;
        }
    }
    template <typename T>
    const PlaneKernels<T>& planes() const {
        if constexpr (std::is_same_v<T, std::int16_t>) {
            return planesOf16;
        } else {
            return planesOf64;
        }
    }
};

// The kernels of a target; those of the plain target, which needs none, are those of the portable one.
const Kernels& kernelsOf(Target target);

namespace portable {
const Kernels& kernels();
}
namespace avx2 {
const Kernels& kernels();
}
namespace avx512 {
const Kernels& kernels();
}
namespace neon {
const Kernels& kernels();
}

} // namespace teko

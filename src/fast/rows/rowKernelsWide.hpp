// SPDX-License-Identifier: Apache-2.0
// Row kernels for int samples. Included inside a target's region and namespace, after a type WideLanes with its vector
// operations and rowKernelsAlong.hpp. No include guard, no includes.

// rdiv(a, 2^shift), as roundedShift.
template <int shift>
WideLanes divideRounded(WideLanes a) {
    return shiftRight<shift>(a + WideLanes::all(1 << (shift - 1)) + shiftRight<31>(a));
}

inline WideLanes prediction(WideLanes farLeft, WideLanes left, WideLanes right, WideLanes farRight) {
    const WideLanes near = left + right;
    return divideRounded<4>(shiftLeft<3>(near) + near - (farLeft + farRight));
}

// v + rdiv(3 v, 16), which is rdiv(19 v, 16).
inline WideLanes updated(WideLanes even, WideLanes before, WideLanes after) {
    const WideLanes sum = even + divideRounded<2>(before + after);
    return sum + divideRounded<4>(sum + sum + sum);
}

constexpr RowKernels<std::int64_t> wideRowKernels() {
    RowKernels<std::int64_t> kernels = genericRowKernels<std::int64_t>();
    kernels.transformAlongSmall = transformInLanes<WideLanes, prediction, updated>;
    kernels.transformAlong = transformInLanes<WideLanes, prediction, updated>;
    kernels.transformAlongExact = transformInLanes<WideLanes, prediction, updated>;
    return kernels;
}

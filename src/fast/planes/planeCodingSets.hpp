// SPDX-License-Identifier: Apache-2.0
// Where each target keeps its procedures for bit planes.
#pragma once

#include "fast/planes/planeCoding.hpp"

namespace teko {

namespace portable {
template <typename T>
const PlaneCoding<T>& planeCodingSet();
}
namespace avx2 {
template <typename T>
const PlaneCoding<T>& planeCodingSet();
}
namespace avx512 {
template <typename T>
const PlaneCoding<T>& planeCodingSet();
}

} // namespace teko

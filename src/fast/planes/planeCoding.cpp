// SPDX-License-Identifier: Apache-2.0
#include "fast/planes/planeCoding.hpp"

#include "fast/planes/planeCodingSets.hpp"

namespace teko {

template <typename T>
const PlaneCoding<T>* planeCoding(Target target) {
    switch (target) {
    case Target::plain:
        return nullptr;
#if defined(__x86_64__)
    case Target::avx2:
        return &avx2::planeCodingSet<T>();
    case Target::avx512:
        return &avx512::planeCodingSet<T>();
#endif
    default:
        return &portable::planeCodingSet<T>();
    }
}

template const PlaneCoding<std::int16_t>* planeCoding(Target);
template const PlaneCoding<std::int64_t>* planeCoding(Target);

} // namespace teko

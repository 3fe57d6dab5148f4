#include "coding/planes/planeCodingSets.hpp"
#include "coding/planes/runTables.hpp"
#include "coding/runLengthParameter.hpp"
#include "target/region.hpp"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

#if defined(__x86_64__)
#if !defined(__clang__)
// GCC 12's own header starts some results from an undefined vector and then warns of it.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>

TEKO_REGION_BEGIN(TEKO_AVX512_FEATURES)

namespace teko::avx512 {

namespace {

#include "coding/planes/bitOperationsAvx512.hpp"

#include "coding/planes/classRows.hpp"

#include "coding/planes/encoderPlanes.hpp"

#include "coding/planes/decoderPlanes.hpp"

} // namespace

template <typename T>
const PlaneCoding<T>& planeCodingSet() {
    static constexpr PlaneCoding<T> set{foldAndCount<T>, codeCoefficients<T>, readCoefficients<T>};
    return set;
}

template const PlaneCoding<short>& planeCodingSet();
template const PlaneCoding<long>& planeCodingSet();

} // namespace teko::avx512

TEKO_REGION_END

#endif

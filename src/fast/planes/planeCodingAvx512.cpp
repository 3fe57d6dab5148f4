// SPDX-License-Identifier: Apache-2.0
#include "fast/planes/planeCodingPrelude.hpp"

#if defined(__x86_64__)

// GCC 12 takes the undefined sources of its own masked intrinsics for a mistake.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif

TEKO_REGION_BEGIN(TEKO_AVX512_FEATURES)

namespace teko::avx512 {

namespace {

#include "fast/planes/bitOperationsAvx512.hpp"

#include "fast/planes/foldingAvx512.hpp"

#include "fast/planes/bitLengthsAvx512.hpp"

#include "fast/planes/encoderChunk.hpp"

#include "fast/planes/runCodes.hpp"

#include "fast/planes/sparseRunsAvx512.hpp"

#include "fast/planes/listedPlanesAvx512.hpp"

#include "fast/planes/planeProcedures.hpp"

} // namespace

template <typename T>
const PlaneCoding<T>& planeCodingSet() {
    return procedures<T>;
}

template const PlaneCoding<std::int16_t>& planeCodingSet();
template const PlaneCoding<std::int64_t>& planeCodingSet();

} // namespace teko::avx512

TEKO_REGION_END

#endif

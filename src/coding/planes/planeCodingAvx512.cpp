// SPDX-License-Identifier: Apache-2.0
#include "coding/planes/planeCodingPrelude.hpp"

#if defined(__x86_64__)

// GCC 12 takes the undefined sources of its own masked intrinsics for a mistake.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif

TEKO_REGION_BEGIN(TEKO_AVX512_FEATURES)

namespace teko::avx512 {

namespace {

#include "coding/planes/bitOperationsAvx512.hpp"

#include "coding/planes/encoding/foldingAvx512.hpp"

#include "coding/planes/encoding/bitLengthsAvx512.hpp"

#include "coding/planes/encoding/encoderChunk.hpp"

#include "coding/planes/encoding/runCodes.hpp"

#include "coding/planes/encoding/sparseRunsAvx512.hpp"

#include "coding/planes/encoding/listedPlanesAvx512.hpp"

#include "coding/planes/planeProcedures.hpp"

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

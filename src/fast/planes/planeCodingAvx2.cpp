// SPDX-License-Identifier: Apache-2.0
#include "fast/planes/planeCodingPrelude.hpp"

#if defined(__x86_64__)

TEKO_REGION_BEGIN(TEKO_AVX2_FEATURES)

namespace teko::avx2 {

namespace {

#include "fast/planes/bitOperationsAvx2.hpp"

#include "fast/planes/foldingGroupsAvx2.hpp"

#include "fast/planes/folding.hpp"

#include "fast/planes/bitLengthsAvx2.hpp"

#include "fast/planes/bitLengths.hpp"

#include "fast/planes/encoderChunk.hpp"

#include "fast/planes/eventPlaces.hpp"

#include "fast/planes/runCodes.hpp"

#include "fast/planes/sparseRunsAvx2.hpp"

#include "fast/planes/listedPlanes.hpp"

#include "fast/planes/planeProcedures.hpp"

} // namespace

template <typename T>
const PlaneCoding<T>& planeCodingSet() {
    return procedures<T>;
}

template const PlaneCoding<std::int16_t>& planeCodingSet();
template const PlaneCoding<std::int64_t>& planeCodingSet();

} // namespace teko::avx2

TEKO_REGION_END

#endif

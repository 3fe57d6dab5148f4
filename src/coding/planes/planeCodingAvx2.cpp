// SPDX-License-Identifier: Apache-2.0
#include "coding/planes/planeCodingPrelude.hpp"

#if defined(__x86_64__)

TEKO_REGION_BEGIN(TEKO_AVX2_FEATURES)

namespace teko::avx2 {

namespace {

#include "coding/planes/bitOperationsAvx2.hpp"

#include "coding/planes/encoding/foldingGroupsAvx2.hpp"

#include "coding/planes/encoding/folding.hpp"

#include "coding/planes/encoding/bitLengthsAvx2.hpp"

#include "coding/planes/encoding/bitLengths.hpp"

#include "coding/planes/encoding/encoderChunk.hpp"

#include "coding/planes/encoding/eventPlaces.hpp"

#include "coding/planes/encoding/runCodes.hpp"

#include "coding/planes/encoding/sparseRunsAvx2.hpp"

#include "coding/planes/encoding/listedPlanes.hpp"

#include "coding/planes/planeProcedures.hpp"

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

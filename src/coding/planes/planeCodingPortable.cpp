// SPDX-License-Identifier: Apache-2.0
#include "coding/planes/planeCodingPrelude.hpp"

namespace teko::portable {

namespace {

#include "coding/planes/bitOperationsPortable.hpp"

#include "coding/planes/encoding/foldingGroupsNone.hpp"

#include "coding/planes/encoding/folding.hpp"

#include "coding/planes/encoding/bitLengthsPortable.hpp"

#include "coding/planes/encoding/bitLengths.hpp"

#include "coding/planes/encoding/encoderChunk.hpp"

#include "coding/planes/encoding/eventPlaces.hpp"

#include "coding/planes/encoding/runCodes.hpp"

#include "coding/planes/encoding/sparseRuns.hpp"

#include "coding/planes/encoding/listedPlanes.hpp"

#include "coding/planes/planeProcedures.hpp"

} // namespace

template <typename T>
const PlaneCoding<T>& planeCodingSet() {
    return procedures<T>;
}

template const PlaneCoding<std::int16_t>& planeCodingSet();
template const PlaneCoding<std::int64_t>& planeCodingSet();

} // namespace teko::portable

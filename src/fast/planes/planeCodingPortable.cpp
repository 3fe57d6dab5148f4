// SPDX-License-Identifier: Apache-2.0
#include "fast/planes/planeCodingPrelude.hpp"

namespace teko::portable {

namespace {

#include "fast/planes/bitOperationsPortable.hpp"

#include "fast/planes/foldingGroupsNone.hpp"

#include "fast/planes/folding.hpp"

#include "fast/planes/bitLengthsPortable.hpp"

#include "fast/planes/bitLengths.hpp"

#include "fast/planes/encoderChunk.hpp"

#include "fast/planes/eventPlaces.hpp"

#include "fast/planes/runCodes.hpp"

#include "fast/planes/sparseRuns.hpp"

#include "fast/planes/listedPlanes.hpp"

#include "fast/planes/planeProcedures.hpp"

} // namespace

template <typename T>
const PlaneCoding<T>& planeCodingSet() {
    return procedures<T>;
}

template const PlaneCoding<std::int16_t>& planeCodingSet();
template const PlaneCoding<std::int64_t>& planeCodingSet();

} // namespace teko::portable

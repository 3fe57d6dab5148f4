#include "coding/planes/planeCodingPrelude.hpp"

namespace teko::portable {

namespace {

#include "coding/planes/bitOperationsPortable.hpp"

#include "coding/planes/bitLengthsPortable.hpp"

#include "coding/planes/encoderChunk.hpp"

#include "coding/planes/runCodes.hpp"

#include "coding/planes/sparseRuns.hpp"

#include "coding/planes/planeProcedures.hpp"

} // namespace

template <typename T>
const PlaneCoding<T>& planeCodingSet() {
    return procedures<T>;
}

template const PlaneCoding<short>& planeCodingSet();
template const PlaneCoding<long>& planeCodingSet();

} // namespace teko::portable

#include "coding/planes/planeCodingSets.hpp"
#include "coding/planes/runTables.hpp"
#include "coding/runLengthParameter.hpp"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

namespace teko::portable {

namespace {

#include "coding/planes/bitOperationsPortable.hpp"

#include "coding/planes/classRows.hpp"

#include "coding/planes/encoderPlanes.hpp"

#include "coding/planes/decoderState.hpp"

#include "coding/planes/decoderRuns.hpp"

#include "coding/planes/decoderPlanes.hpp"

} // namespace

template <typename T>
const PlaneCoding<T>& planeCodingSet() {
    static constexpr PlaneCoding<T> set{foldAndCount<T>, codeCoefficients<T>, readCoefficients<T>};
    return set;
}

template const PlaneCoding<short>& planeCodingSet();
template const PlaneCoding<long>& planeCodingSet();

} // namespace teko::portable

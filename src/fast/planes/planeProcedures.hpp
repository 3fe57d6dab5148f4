// SPDX-License-Identifier: Apache-2.0
// The procedures that are the same text for every target. Included once per target, inside its region and namespace,
// after its own parts. No include guard.

#include "fast/planes/encoderPlanes.hpp"

#include "fast/planes/decoderState.hpp"

#include "fast/planes/decoderRuns.hpp"

#include "fast/planes/decoderPlanes.hpp"

#include "fast/planes/slicedClasses.hpp"

template <typename T>
constexpr PlaneCoding<T> procedures{fold<RowSample<T>>,
                                    foldPairs<RowSample<T>>,
                                    fold<std::int16_t>,
                                    foldPairs<std::int16_t>,
                                    countLengths<RowSample<T>>,
                                    codeClass<T>,
                                    makeSliced<T>};

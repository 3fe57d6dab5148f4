// SPDX-License-Identifier: Apache-2.0
// The procedures that are the same text for every target. Included once per target, inside its region and namespace,
// after its own parts. No include guard.

#include "coding/planes/encoding/encoderPlanes.hpp"

#include "coding/planes/decoding/decoderState.hpp"

#include "coding/planes/decoding/decoderRuns.hpp"

#include "coding/planes/decoding/decoderPlanes.hpp"

#include "coding/planes/decoding/slicedClasses.hpp"

template <typename T>
constexpr PlaneCoding<T> procedures{fold<RowSample<T>>,
                                    foldPairs<RowSample<T>>,
                                    fold<std::int16_t>,
                                    foldPairs<std::int16_t>,
                                    countLengths<RowSample<T>>,
                                    codeClass<T>,
                                    makeSliced<T>};

// SPDX-License-Identifier: Apache-2.0
// The transform of narrow images, whose planes are there column by column: each level as a whole, all of its rows and
// then all of its columns.
#pragma once

#include "fast/transform/columnPlane.hpp"
#include "fast/transform/rowStream.hpp"

#include <cstdint>

namespace teko {

// Whether images of that shape are transformed so. No column of any level is shorter than six samples or goes through
// blocks.
//
// Against row streams: 8 columns are coded 3 to 4 times as fast, 20 columns 1.6 to 2.3 times.
bool suitsColumns(int width, int height);

// Passes all coefficients of a plane on. The magnitudes of its samples are at most `largest`: they are of 8 or 16 bits,
// or differences of two samples of 8 bits. What the plane holds afterwards is of no use. Throws std::bad_alloc: up to a
// third of the plane is needed beside it.
// Returns whether it is proved that the inverse gives the samples back.
template <typename T>
bool transformColumns(ColumnPlane<RowSample<T>>& plane, std::int64_t largest, Target target, CoefficientSink<T>& sink);

// Restores a plane from coefficients that are as those of an InverseStream. Throws std::bad_alloc.
template <typename T>
void untransformColumns(CoefficientSource<T>& source, Target target, ColumnPlane<RowSample<T>>& plane);

extern template bool transformColumns(ColumnPlane<std::int16_t>&, std::int64_t, Target, CoefficientSink<std::int16_t>&);
extern template bool transformColumns(ColumnPlane<int>&, std::int64_t, Target, CoefficientSink<std::int64_t>&);
extern template void untransformColumns(CoefficientSource<std::int16_t>&, Target, ColumnPlane<std::int16_t>&);
extern template void untransformColumns(CoefficientSource<std::int64_t>&, Target, ColumnPlane<int>&);

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// The fast way from the columns of a narrow image to its raw rows, colours and all.
#pragma once

#include "fast/transform/columnPlane.hpp"
#include "fast/ways/rowBand.hpp"
#include "image/rows.hpp"
#include "target/target.hpp"

#include <cstdint>

namespace teko {

// Hands the next `count` rows of an image on, clamped below a limit unless that is 0; those of a band that are not
// asked for yet wait in it. Returns whether they were taken.
bool writeColumns(Vector<ColumnPlane<std::int16_t>>& planes, int limit, Target target, RowBand<std::int16_t>& band,
                  RowSink& rows, int count);
bool writeColumns(Vector<ColumnPlane<int>>& planes, int limit, Target target, RowBand<int>& band, RowSink& rows,
                  int count);

} // namespace teko

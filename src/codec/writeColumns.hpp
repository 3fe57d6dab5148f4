// SPDX-License-Identifier: Apache-2.0
// The fast way from columns to the raw rows of a narrow image, colours and all.
#pragma once

#include "codec/rows.hpp"
#include "target/target.hpp"
#include "wavelet/columnPlane.hpp"

#include <cstdint>
#include <vector>

namespace teko {

// Hands all rows of an image on, from the planes of its channels, clamped below a limit unless that is 0. Returns
// whether they were taken. Throws std::bad_alloc.
bool writeColumns(std::vector<ColumnPlane<std::int16_t>>& planes, int limit, Target target, RowSink& rows);
bool writeColumns(std::vector<ColumnPlane<int>>& planes, int limit, Target target, RowSink& rows);

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// The fast way from the raw rows of a narrow image to columns, colours and all.
#pragma once

#include "codec/rows.hpp"
#include "target/target.hpp"
#include "wavelet/columnPlane.hpp"

#include <cstdint>
#include <vector>

namespace teko {

// Puts all rows of an image into the planes of its channels. Returns whether the source had them all. Throws
// std::bad_alloc.
bool readColumns(RowSource& rows, Target target, std::vector<ColumnPlane<std::int16_t>>& planes);
bool readColumns(RowSource& rows, Target target, std::vector<ColumnPlane<int>>& planes);

} // namespace teko

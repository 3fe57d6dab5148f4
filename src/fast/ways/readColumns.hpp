// SPDX-License-Identifier: Apache-2.0
// The fast way from the raw rows of a narrow image to columns, colours and all.
#pragma once

#include "fast/transform/columnPlane.hpp"
#include "fast/ways/rowBand.hpp"
#include "image/rows.hpp"
#include "target/target.hpp"

#include <cstdint>

namespace teko {

// Puts the next `count` rows of an image into the planes of its channels; those of a band that is not full wait in it
// for more, or for the image's end. Returns whether the source had them all.
bool readColumns(RowSource& rows, int count, Target target, RowBand<std::int16_t>& band,
                 Vector<ColumnPlane<std::int16_t>>& planes);
bool readColumns(RowSource& rows, int count, Target target, RowBand<int>& band, Vector<ColumnPlane<int>>& planes);

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// The fast way from raw rows to a row encoder, colours and all.
#pragma once

#include "fast/ways/rowEncoder.hpp"
#include "image/rows.hpp"

#include <cstdint>

namespace teko {

// Puts the next `count` rows of an image into its encoder. Returns whether the source had them all.
bool encodeRows(RowSource& rows, int width, int count, int channels, Target target, RowEncoder<std::int16_t>& encoder);
bool encodeRows(RowSource& rows, int width, int count, int channels, Target target, RowEncoder<std::int64_t>& encoder);

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// The fast way from a row decoder to raw rows, colours and all.
#pragma once

#include "codec/rows.hpp"
#include "coding/rowDecoder.hpp"

#include <cstdint>

namespace teko {

// Hands all rows of an image on, clamped below a limit unless that is 0. Returns whether they were taken.
bool decodeRows(RowDecoder<std::int16_t>& decoder, int width, int height, int channels, int limit, Target target,
                RowSink& rows);
bool decodeRows(RowDecoder<std::int64_t>& decoder, int width, int height, int channels, int limit, Target target,
                RowSink& rows);

} // namespace teko

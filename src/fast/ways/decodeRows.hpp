// SPDX-License-Identifier: Apache-2.0
// The fast way from a row decoder to raw rows, colours and all.
#pragma once

#include "fast/ways/rowDecoder.hpp"
#include "image/rows.hpp"

#include <cstdint>

namespace teko {

// How raw rows are made from decoded ones.
struct RawRowForm {
    int width;
    int channels;
    int halvings; // of the sides: as many levels have their gain in the samples still
    int limit;    // samples are clamped below it, unless it is 0
    Target target;
};

// Hands the next `count` rows of an image on. Returns whether they were taken.
bool decodeRows(RowDecoder<std::int16_t>& decoder, const RawRowForm& form, int count, RowSink& rows);
bool decodeRows(RowDecoder<std::int64_t>& decoder, const RawRowForm& form, int count, RowSink& rows);

} // namespace teko

// A raw file on its way into an encoder, row by row.
#pragma once

#include "coding/rowEncoder.hpp"

#include <cstdio>

namespace teko {

// Feeds an encoder a whole raw file of its shape: one channel of one or two bytes, or three channels of one byte, which
// go through the colour transform. Throws 3 when the file ends early.
void encodeRows(std::FILE* raw, int width, int height, int channels, RowEncoder<short>& encoder);
void encodeRows(std::FILE* raw, int width, int height, int channels, RowEncoder<long>& encoder);

} // namespace teko

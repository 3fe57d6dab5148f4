// A decoder's rows on their way into a raw file.
#pragma once

#include "coding/rowDecoder.hpp"

#include <cstdio>

namespace teko {

// Writes all rows of a decoder that has read its stream and hands them to the system: one channel of one or two bytes,
// or three channels of one byte, which go through the inverse colour transform. With limit 0 the low bits of each
// sample are written; with any other every sample is first clamped to 0 .. limit - 1. Throws 3 when the file takes
// less.
void decodeRows(RowDecoder<short>& decoder, int width, int height, int channels, int limit, std::FILE* raw);
void decodeRows(RowDecoder<long>& decoder, int width, int height, int channels, int limit, std::FILE* raw);

} // namespace teko

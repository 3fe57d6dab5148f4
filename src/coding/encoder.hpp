// SPDX-License-Identifier: Apache-2.0
// writeWavelet for any kind of memory.
#pragma once

#include "coding/bitStreamer.hpp"
#include "image/imageData.hpp"

namespace teko {

// Appends the coded stream of a transformed image and flushes it. The planes hold folded values afterwards. Throws 3
// when the writer takes no more, 5 for images that have no place in a stream, std::bad_alloc.
template <typename T, typename Word>
void writeStream(ImageData<T>& image, BasicBitStreamer<Word>& out);

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// The coded stream of an image: written whole, and read in two steps, for those who choose by the top plane how to go
// on.
#pragma once

#include "coding/bitStreamer.hpp"
#include "image/imageData.hpp"
#include "wavelet/wavelet.hpp"

namespace teko {

// Appends the coded stream of a transformed image and flushes it. The planes hold folded values afterwards. Throws 3
// when the writer takes no more, 5 for images that have no place in a stream, std::bad_alloc.
template <typename T, typename Word>
void writeStream(ImageData<T>& image, BasicBitStreamer<Word>& out);

// The highest plane of a stream, from its start; -1 when nothing is coded. Throws what the reader throws.
template <typename Word>
int readTopPlane(BasicBitStreamer<Word>& in);

// How a stream was found to be.
struct StreamFindings {
    bool endedEarly = false;
    bool contradictsItself = false; // a run segment that was read whole had another parameter than encoders choose
};

// The rest of a stream. The wavelet's switches are those of readWavelet.
template <typename T, typename Word>
StreamFindings readBelowTopPlane(const Wavelet<T>& wavelet, ImageData<T>& image, int topPlane,
                                 BasicBitStreamer<Word>& in);

} // namespace teko

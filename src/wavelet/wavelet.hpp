// SPDX-License-Identifier: Apache-2.0
// The two-dimensional multi-level wavelet decomposition of an image, and the coding of its coefficients.
#pragma once

#include "filter/filter.hpp"
#include "image/imageData.hpp"

#include <cstdint>

namespace teko {

struct BitStreamer;

// Works in place on an image's planes. With s = 2^k, after level k
//   x = s (mod 2s), y = 0 (mod 2s)   detail of level k, high-pass along rows
//   x = 0 (mod 2s), y = s (mod 2s)   detail of level k, high-pass along columns
//   x = s (mod 2s), y = s (mod 2s)   detail of level k, high-pass in both directions
//   x = 0 (mod 2s), y = 0 (mod 2s)   the approximation that level k + 1 splits
// An object keeps nothing between calls and serves any number of images.
template <typename T>
struct Wavelet {
    Filter<T>* filter = nullptr; // not owned
    int truncateDecode = 0;      // nonzero: readWavelet stops after the first row of the first segment
    int skipTransform = 0;       // nonzero: transform and untransform do nothing, readWavelet leaves folded values

    // Replaces every plane by its decomposition. Images with fewer than four samples in either direction
    // stay as they are. Throws std::bad_alloc when there is no memory for the column scratch.
    void transform(ImageData<T>* image);

    // Replaces every plane by its reconstruction. Images with fewer than four samples in either direction go
    // through one inverse level although transform left them alone: they do not survive a round trip.
    void untransform(ImageData<T>* image);

    // Appends the coded stream of a transformed image to a writer, most important bits first, and flushes it: for
    // whoever has an image in planes. The codec takes writeStream and the two steps of reading
    // (coding/codedStream.hpp). The planes hold folded values afterwards, also when it throws: 3 when the writer is
    // full (what it holds then is a prefix of the stream, and decodes), 5 for coefficients of 2^14 (short) or 2^62
    // (long) and beyond, which have no bit plane. Images that are one sample wide or high and not empty are refused
    // with 5 and stay as they are.
    void writeWavelet(ImageData<T>* image, BitStreamer& out);

    // Rebuilds the coefficients of an image, whose shape must be the stream's, from a reader that stands at
    // the start of a coded stream. Returns 0 when the stream was complete and 1 when it ended early: every
    // coefficient then has the middle of the interval that the bits read leave open. Throws what the reader
    // throws (3, or 5 when it is none) when the first 8 bits are missing; the planes are then untouched.
    int readWavelet(ImageData<T>* image, BitStreamer& in);
};

// The first levels of untransform alone, down to that of the number `lowest`: with lowest = 0 all of them. Where there
// are fewer than `lowest` levels nothing is done.
template <typename T>
void untransformDownTo(int lowest, const Wavelet<T>& wavelet, ImageData<T>& image);

extern template struct Wavelet<std::int16_t>;
extern template struct Wavelet<std::int64_t>;

} // namespace teko

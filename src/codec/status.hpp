// SPDX-License-Identifier: Apache-2.0
// How a step of the codec ends.
#pragma once

namespace teko {

enum class Status {
    ok,
    cut,         // encoding: the writer was full, or its file took less; decoding: the stream ended early. What is
                 // there is of use
    unknownKind, // neither 1, 2 nor 3 bytes a pixel
    tooThin,     // to encode: one sample wide or high, and not empty
    tooLarge,    // a channel of 2^31 samples or more
    sourceEnded, // there was no row where one was asked for
    sinkFull,    // a row was not taken
    noStream,    // to decode: not even the top plane is there
    outOfRange,  // coefficients that have no place in a stream
    outOfMemory,
};

} // namespace teko

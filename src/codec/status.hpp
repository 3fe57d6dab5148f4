// SPDX-License-Identifier: Apache-2.0
// How a step of the codec ends. ImageEncoder and ImageDecoder return it; the library makes teko_status of it, the
// driver an end of the run.
#pragma once

#include <new>

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

// Runs a step that returns its status, and returns that, or the status of what the step throws: thrown(number) of an
// integer, tooLarge or outOfMemory of what the language throws for memory. Other exceptions pass: they are a caller's.
template <typename Step, typename OfInteger>
Status endOf(Step step, OfInteger thrown) {
    try {
        return step();
    } catch (int number) {
        return thrown(number);
    } catch (const std::bad_array_new_length&) {
        return Status::tooLarge;
    } catch (const std::bad_alloc&) {
        return Status::outOfMemory;
    }
}

// Runs a step that throws no integer, as endOf does with two arguments. An integer would mean that the step was used in
// the wrong way.
template <typename Step>
Status endOf(Step step) {
    return endOf(step, [](int) { return Status::outOfRange; });
}

} // namespace teko

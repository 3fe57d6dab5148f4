// SPDX-License-Identifier: Apache-2.0
// What the rooms below throw, as the status of a step.
#pragma once

#include "codec/status.hpp"

#include <new>

namespace teko {

// Runs a step that returns its status. `thrown` is the status of an integer.
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

// Of a step that throws no integer: one would mean that it was used in the wrong way.
template <typename Step>
Status endOf(Step step) {
    return endOf(step, [](int) { return Status::outOfRange; });
}

} // namespace teko

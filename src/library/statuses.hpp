// SPDX-License-Identifier: Apache-2.0
// The library's word for how a step of the codec ends.
#pragma once

#include <teko/teko.h>

#include "codec/status.hpp"

namespace teko::library {

// A cut is no error: where one can come up, who asks tells it apart.
inline teko_status statusOf(Status status) {
    switch (status) {
    case Status::ok:
    case Status::cut:
        return TEKO_OK;
    case Status::tooThin:
    case Status::tooLarge:
        return TEKO_ERROR_SHAPE;
    case Status::noStream:
        return TEKO_ERROR_TOO_SHORT;
    case Status::outOfRange:
        return TEKO_ERROR_RANGE;
    case Status::outOfMemory:
        return TEKO_ERROR_OUT_OF_MEMORY;
    default:
        return TEKO_ERROR_ARGUMENT;
    }
}

} // namespace teko::library

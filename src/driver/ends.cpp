// SPDX-License-Identifier: Apache-2.0
#include "driver/ends.hpp"

#include <new>

namespace teko {

void endUnlessOk(Status status) {
    switch (status) {
    case Status::ok:
        break;
    case Status::cut:
    case Status::sourceEnded:
    case Status::sinkFull:
    case Status::noStream:
        throw 3;
    case Status::unknownKind:
    case Status::tooThin:
    case Status::outOfRange:
        throw 5;
    case Status::tooLarge:
        throw std::bad_array_new_length();
    case Status::outOfMemory:
        throw std::bad_alloc();
    }
}

} // namespace teko

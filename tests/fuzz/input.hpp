// SPDX-License-Identifier: Apache-2.0
// What a fuzzer is given, and how it says that a promise is broken.
#pragma once

#include "support/bytes.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace teko::fuzz {

// Ends the process where the promise does not hold.
inline void require(bool holds, const char* promise) {
    if (!holds) {
        std::fprintf(stderr, "Broken promise: %s\n", promise);
        std::abort();
    }
}

// Bytes that choose what happens. When they are used up, zeros follow.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : next(data), end(data + size) {}

    bool isUsedUp() const { return next == end; }

    unsigned byte() { return isUsedUp() ? 0 : *next++; }
    // The least significant byte first.
    std::uint64_t number(int bytes) {
        std::uint64_t value = 0;
        for (int i = 0; i < bytes; ++i) {
            value |= std::uint64_t{byte()} << (8 * i);
        }
        return value;
    }
    // 0 .. count - 1, from one byte up to 256 and from two beyond.
    unsigned below(unsigned count) { return static_cast<unsigned>(number(count > 256 ? 2 : 1)) % count; }
    // from .. to, both included.
    int within(int from, int to) { return from + static_cast<int>(below(static_cast<unsigned>(to - from + 1))); }

    Bytes rest() {
        Bytes bytes(next, end);
        next = end;
        return bytes;
    }

private:
    const std::uint8_t* next;
    const std::uint8_t* end;
};

} // namespace teko::fuzz

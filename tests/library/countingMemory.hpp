// SPDX-License-Identifier: Apache-2.0
// A program's own memory for the library: it counts, checks what comes back, and can refuse.
#pragma once

#include "calls.hpp"

#include <cstdlib>
#include <cstring>
#include <map>

namespace teko {

class CountingMemory {
public:
    CountingMemory() = default;
    CountingMemory(const CountingMemory&) = delete;
    CountingMemory& operator=(const CountingMemory&) = delete;

    teko_options with(teko_options given) {
        given.allocate = allocate;
        given.release = release;
        given.user = this;
        return given;
    }

    std::uint64_t live = 0;   // bytes
    std::uint64_t peak = 0;   // bytes
    long calls = 0;           // of allocate
    long untilRefusal = -1;   // calls that still succeed; negative: all of them
    bool isConsistent = true; // what was released had been allocated, with the same numbers

    std::size_t blocks() const { return sizes.size(); }
    void startAgain() {
        peak = live;
        calls = 0;
    }

private:
    struct Size {
        std::size_t bytes;
        std::size_t alignment;
    };

    static void* allocate(void* user, std::size_t bytes, std::size_t alignment) {
        auto& memory = *static_cast<CountingMemory*>(user);
        ++memory.calls;
        memory.isConsistent = memory.isConsistent && alignment != 0 && (alignment & (alignment - 1)) == 0;
        if (memory.untilRefusal == 0) {
            return nullptr;
        }
        memory.untilRefusal -= memory.untilRefusal > 0 ? 1 : 0;
        void* block = nullptr;
        if (posix_memalign(&block, std::max(alignment, sizeof(void*)), bytes) != 0) {
            return nullptr;
        }
        std::memset(block, 0xA5, std::min<std::size_t>(bytes, 1U << 16)); // not the zeros of fresh memory
        memory.sizes[block] = {bytes, alignment};
        memory.live += bytes;
        memory.peak = std::max(memory.peak, memory.live);
        return block;
    }

    static void release(void* user, void* block, std::size_t bytes, std::size_t alignment) {
        auto& memory = *static_cast<CountingMemory*>(user);
        const auto found = memory.sizes.find(block);
        if (found == memory.sizes.end() || found->second.bytes != bytes || found->second.alignment != alignment) {
            memory.isConsistent = false;
            return;
        }
        memory.live -= bytes;
        memory.sizes.erase(found);
        std::free(block);
    }

    std::map<void*, Size> sizes;
};

} // namespace teko

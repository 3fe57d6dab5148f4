// SPDX-License-Identifier: Apache-2.0
#include "memory/memory.hpp"

#include <limits>

namespace teko {

namespace {

thread_local MemoryProvider* current = nullptr;

// Stands in front of each piece of memory: where it came from, and how much of it.
struct alignas(std::max_align_t) Origin {
    MemoryProvider* provider;
    std::size_t bytes; // itself included
};
static_assert(sizeof(Origin) == bytesBesideTaken);

} // namespace

MemoryScope::MemoryScope(MemoryProvider* provider) : before(current) {
    current = provider;
}

MemoryScope::~MemoryScope() {
    current = before;
}

MemoryProvider* currentMemoryProvider() {
    return current;
}

void* takeMemory(std::size_t bytes) {
    if (bytes > std::numeric_limits<std::size_t>::max() - sizeof(Origin)) {
        throw std::bad_alloc();
    }
    const Origin origin{current, bytes + sizeof(Origin)};
    void* const memory =
        current != nullptr ? current->allocate(origin.bytes, alignof(std::max_align_t)) : ::operator new(origin.bytes);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return new (memory) Origin(origin) + 1;
}

void giveMemoryBack(void* memory) noexcept {
    if (memory == nullptr) {
        return;
    }
    Origin* const origin = static_cast<Origin*>(memory) - 1;
    if (origin->provider != nullptr) {
        origin->provider->release(origin, origin->bytes, alignof(std::max_align_t));
    } else {
        ::operator delete(origin);
    }
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// Options of a call, checked, and the memory of a call.
#pragma once

#include <teko/teko.h>

#include "memory/memory.hpp"
#include "target/target.hpp"

#include <cstddef>
#include <cstdint>
#include <new>

namespace teko::library {

// The caller's functions, if he has given any.
class CallerMemory final : public MemoryProvider {
public:
    CallerMemory() = default;
    explicit CallerMemory(const teko_options& options)
        : take(options.allocate), give(options.release), givePlace(options.place), user(options.user) {}

    // What a MemoryScope is to name.
    MemoryProvider* provider() { return take != nullptr ? this : nullptr; }

    void* allocate(std::size_t bytes, std::size_t alignment) noexcept override { return take(user, bytes, alignment); }
    void release(void* memory, std::size_t bytes, std::size_t alignment) noexcept override {
        give(user, memory, bytes, alignment);
    }

    bool hasPlaces() const { return givePlace != nullptr; }
    // For a file of that size, where the caller has places; null where he has none this time.
    void* place(std::size_t bytes) { return givePlace(user, bytes); }

private:
    void* (*take)(void*, std::size_t, std::size_t) = nullptr;
    void (*give)(void*, void*, std::size_t, std::size_t) = nullptr;
    void* (*givePlace)(void*, std::size_t) = nullptr;
    void* user = nullptr;
};

// Runs what returns a status, with the memory of its call.
template <typename Work>
teko_status inMemoryOf(CallerMemory& memory, Work work) noexcept {
    const MemoryScope scope(memory.provider());
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return TEKO_ERROR_OUT_OF_MEMORY;
    } catch (...) {
        return TEKO_ERROR_ARGUMENT;
    }
}

struct CallOptions {
    teko_goal goal;
    int halvings;
    std::size_t bytes;
    double rate;
    std::uint64_t maxSamples; // 0: any number
    std::uint64_t maxMemory;  // 0: not set
    Target target;
    CallerMemory memory;

    // TEKO_OK, or what is wrong with options; null is all zeros.
    static teko_status from(const teko_options* given, CallOptions& options);
};

// The best target of this processor, asked for once.
Target bestTargetHere();

} // namespace teko::library

// SPDX-License-Identifier: Apache-2.0
// One call of a function of teko.h: the structures and options that it is given, the memory that it runs in, and what
// it gives back. All other files of the room stand on this one.
#pragma once

#include <teko/teko.h>

#include "codec/status.hpp"
#include "memory/memory.hpp"
#include "target/target.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

namespace teko::library {

// The size that a caller's structure says it has. Structures of teko.h begin with it, so that callers of another
// version of the library can be told apart. The pointer must not be null, here and in the three functions that follow.
template <typename Structure>
std::size_t sizeOf(const Structure* structure) {
    std::size_t size = 0;
    std::memcpy(&size, structure, sizeof size);
    return size;
}

// Whether a caller's structure says how long it is.
template <typename Structure>
bool hasSize(const Structure* structure) {
    return sizeOf(structure) >= sizeof(std::size_t);
}

// Copies a caller's structure; fields that the caller's version has not are 0. Returns false where it says no size, or
// has fields that this library does not know and that are not 0.
template <typename Structure>
bool takeStructure(const Structure* from, Structure& to) {
    if (!hasSize(from)) {
        return false;
    }
    const std::size_t size = sizeOf(from);
    to = Structure{};
    std::memcpy(&to, from, std::min(size, sizeof to));
    const auto* const bytes = reinterpret_cast<const unsigned char*>(from);
    return std::all_of(bytes + std::min(size, sizeof to), bytes + size, [](unsigned char byte) { return byte == 0; });
}

// Copies a structure into that of a caller, who has set its size: as many bytes as the caller knows of, and the size
// stays.
template <typename Structure>
void giveStructure(Structure from, Structure* to) {
    const std::size_t size = sizeOf(to);
    std::memcpy(&from, &size, sizeof size);
    std::memcpy(to, &from, std::min(size, sizeof from));
}

// The functions for memory in a caller's options, or none. A copy does what the original does: it holds pointers alone.
class CallerMemory final : public MemoryProvider {
public:
    // Without functions.
    CallerMemory() = default;
    // `allocate` and `release` of the options are both null or both not.
    explicit CallerMemory(const teko_options& options)
        : take(options.allocate), give(options.release), givePlace(options.place), user(options.user) {}

    // What a MemoryScope is to name: this, or null for the language's memory where the caller has no functions.
    MemoryProvider* provider() { return take != nullptr ? this : nullptr; }

    void* allocate(std::size_t bytes, std::size_t alignment) noexcept override { return take(user, bytes, alignment); }
    void release(void* memory, std::size_t bytes, std::size_t alignment) noexcept override {
        give(user, memory, bytes, alignment);
    }

    // Whether files go to places of the caller's.
    bool hasPlaces() const { return givePlace != nullptr; }
    // The place for a file of that size, which stays the caller's; null where there is none this time.
    void* place(std::size_t bytes) { return givePlace(user, bytes); }

private:
    void* (*take)(void*, std::size_t, std::size_t) = nullptr;
    void (*give)(void*, void*, std::size_t, std::size_t) = nullptr;
    void* (*givePlace)(void*, std::size_t) = nullptr;
    void* user = nullptr;
};

// Runs work(), which returns a status, while this thread's memory comes from the caller's functions. Returns that
// status, TEKO_ERROR_OUT_OF_MEMORY for a std::bad_alloc, TEKO_ERROR_ARGUMENT for whatever else is thrown.
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

// teko_options, checked.
struct CallOptions {
    teko_goal goal;
    int halvings; // 0 to 5
    std::size_t bytes;
    double rate;
    std::uint64_t maxSamples; // 0: any number
    std::uint64_t maxMemory;  // bytes; 0: not set
    Target target;            // runs on this processor
    CallerMemory memory;

    // Sets all fields from a caller's options; null is all zeros. Returns TEKO_OK, or TEKO_ERROR_ARGUMENT, _REDUCE or
    // _TARGET for what is wrong with them.
    static teko_status from(const teko_options* given, CallOptions& options);
};

// The best target of this processor, which is asked once in a process.
Target bestTargetHere();

// The library's word for how a step of the codec ends. A cut is TEKO_OK here: where one can come up, whoever took the
// step tells it apart.
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

// Sets a caller's number, to the largest one where it has no room for `value`. Returns TEKO_OK, or TEKO_ERROR_ARGUMENT
// where `to` is null.
teko_status give(std::uint64_t value, std::size_t* to);

// Whether a caller's outcome can be given: it may be null, else it has to say its size.
bool isOutcome(const teko_outcome* outcome);
// Sets the used bytes of an outcome that isOutcome; of null, nothing.
void giveUsed(std::size_t used, teko_outcome* outcome);

// Runs work(own), which returns a status, on a copy of a caller's buffer whose size is 0, and gives the copy back,
// whatever the status is. Returns TEKO_ERROR_ARGUMENT, and touches nothing, for a buffer that is null, says no size or
// has unknown fields.
template <typename Work>
teko_status withBuffer(teko_buffer* file, Work work) {
    teko_buffer own;
    if (file == nullptr || !takeStructure(file, own)) {
        return TEKO_ERROR_ARGUMENT;
    }
    own.size = 0;
    const teko_status status = work(own);
    giveStructure(own, file);
    return status;
}

} // namespace teko::library

// SPDX-License-Identifier: Apache-2.0
// The memory of a file that the library makes.
#pragma once

#include <teko/teko.h>

#include "library/callOptions.hpp"

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace teko::library {

// A file that the library makes: what its owner gives back is capacity bytes. Or one that its caller has a place for.
class OwnedFile {
public:
    explicit OwnedFile(CallerMemory& callerMemory) : memory(callerMemory) {}
    // One that is there.
    OwnedFile(CallerMemory& callerMemory, void* file, std::size_t bytes)
        : memory(callerMemory), capacity(bytes), data(static_cast<unsigned char*>(file)) {}
    ~OwnedFile() { release(); }
    OwnedFile(const OwnedFile&) = delete;
    OwnedFile& operator=(const OwnedFile&) = delete;

    // Returns null where there is no memory.
    unsigned char* take(std::size_t bytes) {
        capacity = bytes;
        data = allocate(bytes);
        return data;
    }
    // The same where it is known that the file has that size.
    unsigned char* takeExactly(std::size_t bytes) {
        if (!memory.hasPlaces()) {
            return take(bytes);
        }
        isPlaced = true;
        capacity = bytes;
        data = static_cast<unsigned char*>(memory.place(bytes));
        return data;
    }

    // Hands it over, with no more than it holds. Returns false where the caller has no place.
    bool handTo(teko_buffer& file, std::size_t size) {
        if (memory.hasPlaces() && !isPlaced && !move(size)) {
            return false;
        }
        if (size != capacity) {
            shrink(size);
        }
        file.data = data;
        file.capacity = capacity;
        file.size = size;
        data = nullptr;
        return true;
    }

private:
    static constexpr std::size_t alignment = alignof(std::max_align_t);

    unsigned char* allocate(std::size_t bytes) {
        MemoryProvider* const provider = memory.provider();
        return static_cast<unsigned char*>(provider != nullptr ? provider->allocate(bytes, alignment)
                                                               : std::malloc(bytes));
    }
    void release() {
        if (isPlaced) {
            return;
        }
        if (MemoryProvider* const provider = memory.provider(); provider != nullptr && data != nullptr) {
            provider->release(data, capacity, alignment);
        } else {
            std::free(data);
        }
    }
    // To the caller's place. Returns false where there is none.
    bool move(std::size_t size) {
        void* const placed = memory.place(size);
        if (placed != nullptr) {
            std::memcpy(placed, data, size);
            release();
            isPlaced = true;
            capacity = size;
            data = static_cast<unsigned char*>(placed);
        }
        return placed != nullptr;
    }
    // It stays as it is where there is no memory for less of it.
    void shrink(std::size_t size) {
        unsigned char* smaller = nullptr;
        if (memory.provider() == nullptr) {
            smaller = static_cast<unsigned char*>(std::realloc(data, size));
        } else if (smaller = allocate(size); smaller != nullptr) {
            std::memcpy(smaller, data, size);
            release();
        }
        if (smaller != nullptr) {
            data = smaller;
            capacity = size;
        }
    }

    CallerMemory& memory;
    bool isPlaced = false;
    std::size_t capacity = 0;
    unsigned char* data = nullptr;
};

} // namespace teko::library

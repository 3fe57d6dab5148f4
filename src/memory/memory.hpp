// SPDX-License-Identifier: Apache-2.0
// Where the codec's memory comes from: the language's own, or what a caller has named for the time of a call.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <vector>

namespace teko {

class MemoryProvider {
public:
    // Memory of that alignment, a power of two; null when there is none. Both may be called on any thread that has
    // named the provider, or that frees what has come from it.
    virtual void* allocate(std::size_t bytes, std::size_t alignment) noexcept = 0;
    virtual void release(void* memory, std::size_t bytes, std::size_t alignment) noexcept = 0;

protected:
    ~MemoryProvider() = default;
};

// Names the provider of what this thread asks for, until the scope ends. Memory goes back to where it came
// from, which must be there still, whoever frees it and when. Null names the language's.
class MemoryScope {
public:
    explicit MemoryScope(MemoryProvider* provider);
    ~MemoryScope();
    MemoryScope(const MemoryScope&) = delete;
    MemoryScope& operator=(const MemoryScope&) = delete;

private:
    MemoryProvider* before;
};

// The one that this thread has named.
MemoryProvider* currentMemoryProvider();

// What a provider is asked for beside each piece.
constexpr std::size_t bytesBesideTaken = std::max(2 * sizeof(void*), alignof(std::max_align_t));

// Memory aligned for any type, from the current provider, and back to where it came from; null is nothing. Throws
// std::bad_alloc.
void* takeMemory(std::size_t bytes);
void giveMemoryBack(void* memory) noexcept;

// A base of classes whose objects lie in such memory.
struct InTakenMemory {
    static void* operator new(std::size_t bytes) { return takeMemory(bytes); }
    static void operator delete(void* memory) { giveMemoryBack(memory); }
};

template <typename T>
struct TakenMemoryAllocator {
    using value_type = T;

    TakenMemoryAllocator() = default;
    template <typename Other>
    TakenMemoryAllocator(const TakenMemoryAllocator<Other>&) {} // as the standard demands

    T* allocate(std::size_t n) {
        if (n > static_cast<std::size_t>(-1) / 2 / sizeof(T)) {
            throw std::bad_alloc();
        }
        return static_cast<T*>(takeMemory(n * sizeof(T)));
    }
    void deallocate(T* memory, std::size_t) { giveMemoryBack(memory); }

    friend bool operator==(const TakenMemoryAllocator&, const TakenMemoryAllocator&) { return true; }
};

template <typename T>
using Vector = std::vector<T, TakenMemoryAllocator<T>>;

// Samples, bytes and the like, uninitialised.
struct GiveMemoryBack {
    void operator()(void* memory) const { giveMemoryBack(memory); }
};
template <typename T>
using TakenArray = std::unique_ptr<T[], GiveMemoryBack>;

template <typename T>
TakenArray<T> takeArray(std::size_t n) {
    return TakenArray<T>(TakenMemoryAllocator<T>().allocate(n));
}

} // namespace teko

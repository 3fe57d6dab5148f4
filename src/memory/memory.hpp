// SPDX-License-Identifier: Apache-2.0
// Where the codec's memory comes from: the language's own, or what a caller has named for the time of a call. The
// library names it; the rooms that hold samples, coefficients or streams take theirs from it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <vector>

namespace teko {

// Who gives memory and takes it back. Both functions may be called on any thread that has named the provider, or that
// frees what has come from it. Providers are owned elsewhere: nobody destroys one by this class.
class MemoryProvider {
public:
    // Memory of at least that many bytes and that alignment, a power of two; null when there is none.
    virtual void* allocate(std::size_t bytes, std::size_t alignment) noexcept = 0;
    // Takes back what allocate gave for the same two numbers.
    virtual void release(void* memory, std::size_t bytes, std::size_t alignment) noexcept = 0;

protected:
    ~MemoryProvider() = default;
};

// Names the provider of what this thread asks for, until the scope ends; then the one before it counts again. Null
// names the language's memory. Memory goes back to where it came from, which must be there still, whoever frees it and
// when.
class MemoryScope {
public:
    explicit MemoryScope(MemoryProvider* provider);
    ~MemoryScope();
    MemoryScope(const MemoryScope&) = delete;
    MemoryScope& operator=(const MemoryScope&) = delete;

private:
    MemoryProvider* before;
};

// The provider that this thread has named; null for the language's memory.
MemoryProvider* currentMemoryProvider();

// Bytes that takeMemory asks for in front of each piece, to note where it came from.
constexpr std::size_t bytesBesideTaken = std::max(2 * sizeof(void*), alignof(std::max_align_t));

// Memory aligned for any type, from the provider that this thread has named. Throws std::bad_alloc.
void* takeMemory(std::size_t bytes);
// Gives back what takeMemory gave, to where it came from; null is nothing.
void giveMemoryBack(void* memory) noexcept;

// A base of classes whose objects, made by new, lie in memory of takeMemory.
struct InTakenMemory {
    static void* operator new(std::size_t bytes) { return takeMemory(bytes); }
    static void operator delete(void* memory) { giveMemoryBack(memory); }
};

// takeMemory as an allocator for containers.
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

// A std::vector whose elements lie in memory of takeMemory.
template <typename T>
using Vector = std::vector<T, TakenMemoryAllocator<T>>;

struct GiveMemoryBack {
    void operator()(void* memory) const { giveMemoryBack(memory); }
};
// An array of samples, bytes and the like in memory of takeMemory; null where there is none.
template <typename T>
using TakenArray = std::unique_ptr<T[], GiveMemoryBack>;

// An array of n elements, uninitialised. Throws std::bad_alloc.
template <typename T>
TakenArray<T> takeArray(std::size_t n) {
    return TakenArray<T>(TakenMemoryAllocator<T>().allocate(n));
}

} // namespace teko

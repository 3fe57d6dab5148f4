// Memory that is going to be filled from end to end, and what the system should know of it.
#pragma once

#include <cstddef>
#include <memory>

namespace teko {

// Frees what allocateFilling allocated.
struct FreeFilling {
    std::size_t alignment;

    void operator()(unsigned char* memory) const;
};
using FillingMemory = std::unique_ptr<unsigned char[], FreeFilling>;

// Uninitialised, for any type; from a quarter of a large page of the system on it starts with a whole one. Throws
// std::bad_alloc.
FillingMemory allocateFilling(std::size_t bytes);

// Says that the first bytes of some memory are going to be filled. Advice only: where it is not taken nothing changes.
// Takes pages for up to 4 MiB at once, large ones where the memory starts with one.
void adviseFilling(void* memory, std::size_t bytes);

} // namespace teko

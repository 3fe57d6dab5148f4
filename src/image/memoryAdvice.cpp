#include "image/memoryAdvice.hpp"

#include <algorithm>
#include <cstdint>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace teko {

namespace {

constexpr std::size_t page = 4096;
constexpr std::size_t largePage = std::size_t{2} << 20;

// Large pages, the last of them filled by half at least; an only one by a quarter. On decoding 0.4 megapixels that is
// 1.13 times in fresh memory, which is what a command has, and 0.92 in a process that decodes again and again, where
// the C library would hand the same memory out (Zen 3).
std::size_t inLargePages(std::size_t bytes) {
    const std::size_t fillsOne = bytes < largePage ? largePage / 4 : largePage / 2;
    return (bytes + largePage - fillsOne) / largePage * largePage;
}

std::size_t beyond(const void* memory, std::size_t unit) {
    return reinterpret_cast<std::uintptr_t>(memory) % unit;
}

#if defined(__linux__)
// Of the whole pages in some memory.
void adviseWholePages(void* memory, std::size_t bytes, int advice) {
    const std::size_t skipped = (page - beyond(memory, page)) % page;
    if (bytes >= skipped + page) {
        madvise(static_cast<char*>(memory) + skipped, (bytes - skipped) / page * page, advice);
    }
}

void adviseLargePages(void* memory, std::size_t bytes) {
    if (beyond(memory, largePage) == 0) {
        madvise(memory, inLargePages(bytes), MADV_HUGEPAGE);
    } else if (bytes >= largePage) {
        adviseWholePages(memory, bytes, MADV_HUGEPAGE);
    }
}
#endif

} // namespace

void FreeFilling::operator()(unsigned char* memory) const {
    ::operator delete[](memory, std::align_val_t{alignment});
}

FillingMemory allocateFilling(std::size_t bytes) {
    constexpr std::size_t line = 64;
    const std::size_t large = inLargePages(bytes);
    const std::size_t alignment = large > 0 ? largePage : line;
    auto* const memory =
        static_cast<unsigned char*>(::operator new[](std::max(large, bytes), std::align_val_t{alignment}));
    return {memory, FreeFilling{alignment}};
}

// Small memory gets its pages at once instead of a fault for each (0.4 megapixels: 1.05 times on encoding, 1.1 on
// decoding). For large memory, large pages: fewer faults, and fewer misses while it is walked (100 megapixels: 1.3
// times on decoding).
void adviseFilling(void* memory, std::size_t bytes) {
#if defined(__linux__)
    adviseLargePages(memory, bytes);
#if defined(MADV_POPULATE_WRITE)
    if (bytes < 2 * largePage) {
        adviseWholePages(memory, bytes, MADV_POPULATE_WRITE);
    }
#endif
#else
    static_cast<void>(memory);
    static_cast<void>(bytes);
#endif
}

} // namespace teko

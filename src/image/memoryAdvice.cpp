#include "image/memoryAdvice.hpp"

#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace teko {

// Small memory gets its pages at once instead of a fault for each (0.4 megapixels: 1.05 times on encoding, 1.1 on
// decoding). For large memory, large pages: fewer faults, and fewer misses while it is walked (100 megapixels: 1.3
// times on decoding). The limits overlap because 2 MiB may be laid across two large pages.
void adviseFilling(void* memory, std::size_t bytes) {
#if defined(__linux__)
    constexpr std::size_t page = 4096;
    constexpr std::size_t largePage = std::size_t{2} << 20;
    const std::size_t skipped = (page - reinterpret_cast<std::uintptr_t>(memory) % page) % page;
    if (bytes < skipped + page) {
        return;
    }
    char* const start = static_cast<char*>(memory) + skipped;
    const std::size_t length = (bytes - skipped) / page * page;
    if (bytes >= largePage) {
        madvise(start, length, MADV_HUGEPAGE);
    }
#if defined(MADV_POPULATE_WRITE)
    if (bytes < 2 * largePage) {
        madvise(start, length, MADV_POPULATE_WRITE);
    }
#endif
#endif
}

} // namespace teko

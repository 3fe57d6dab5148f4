// SPDX-License-Identifier: Apache-2.0
#include "memory/pageBuffer.hpp"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <limits>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace teko {

namespace {

constexpr std::size_t page = 4096;
constexpr std::size_t largePage = std::size_t{2} << 20;

// The bytes of the large pages that so many bytes are worth: the last of them is filled by half at least; an only one
// by an eighth, since it costs as much as some 80 pages (Zen 3, virtual machine).
std::size_t inLargePages(std::size_t bytes) {
    const std::size_t fillsOne = bytes < largePage ? largePage / 8 : largePage / 2;
    return (bytes + largePage - fillsOne) / largePage * largePage;
}

// Bytes from an address up to the next multiple of a unit.
std::size_t upTo(std::size_t unit, const void* memory) {
    return (unit - reinterpret_cast<std::uintptr_t>(memory) % unit) % unit;
}

#if defined(__linux__)
void adviseLargePages(void* memory, std::size_t bytes) {
    madvise(memory, bytes, MADV_HUGEPAGE);
}

// Takes pages for that memory now, in one call of the system.
void prefault([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t bytes) {
#if defined(MADV_POPULATE_WRITE)
    madvise(memory, bytes, MADV_POPULATE_WRITE);
#endif
}
#else
void adviseLargePages(void*, std::size_t) {}
void prefault(void*, std::size_t) {}
#endif

// Memory that starts with a large page, from the provider that the thread has named. Throws std::bad_alloc.
unsigned char* takeLargePages(std::size_t bytes) {
    MemoryProvider* const provider = currentMemoryProvider();
    void* const memory = provider != nullptr ? provider->allocate(bytes, largePage)
                                             : ::operator new[](bytes, std::align_val_t{largePage});
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return static_cast<unsigned char*>(memory);
}

} // namespace

// Only several large pages are aligned by the C library: what it has aligned it does not keep for the next image of a
// process (decoding 0.4 megapixels again and again: 1.05 to 1.15 times as fast with a page sought in twice as much).
PageBuffer::PageBuffer(std::size_t bytes) {
    const std::size_t large = inLargePages(bytes);
    bytesInAll = std::max(bytes, large);
    if (large > largePage) {
        aligned = {takeLargePages(bytesInAll), {currentMemoryProvider(), bytesInAll}};
        first = aligned.get();
    } else {
        around = takeArray<unsigned char>(bytesInAll + large);
        first = around.get() + (large > 0 ? upTo(largePage, around.get()) : 0);
    }
}

void PageBuffer::swap(PageBuffer& other) noexcept {
    std::swap(around, other.around);
    std::swap(aligned, other.aligned);
    std::swap(first, other.first);
    std::swap(bytesInAll, other.bytesInAll);
    std::swap(bytesOnLargePages, other.bytesOnLargePages);
}

void PageBuffer::adviseHugePages(std::size_t bytes) {
    assert(bytes <= bytesInAll);
    bytesOnLargePages = inLargePages(bytes);
    if (bytesOnLargePages > 0) {
        adviseLargePages(first, bytesOnLargePages);
    }
}

void PageBuffer::FreeLargePages::operator()(unsigned char* memory) const {
    if (provider != nullptr) {
        provider->release(memory, bytes, largePage);
    } else {
        ::operator delete[](memory, std::align_val_t{largePage});
    }
}

std::size_t addressable(std::uint64_t bytes) {
    if (bytes > static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max())) {
        throw std::bad_alloc();
    }
    return static_cast<std::size_t>(bytes);
}

void adviseHugePages(void* memory, std::size_t bytes) {
    const std::size_t skipped = upTo(page, memory);
    if (bytes < skipped + page) {
        return;
    }
    auto* const pages = static_cast<unsigned char*>(memory) + skipped;
    const std::size_t pageBytes = (bytes - skipped) / page * page;
    if (bytes >= largePage) {
        adviseLargePages(pages, pageBytes);
    }
    if (bytes < 2 * largePage) {
        prefault(pages, pageBytes);
    }
}

} // namespace teko

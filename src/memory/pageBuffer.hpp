// SPDX-License-Identifier: Apache-2.0
// Large pieces of memory that are going to be filled, on large pages where the system has them: the coefficients, the
// bitmaps and the streams of an image.
#pragma once

#include "memory/memory.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace teko {

// Uninitialised memory, from the provider that the thread has named, and back to it. From an eighth of a large page of
// the system on it starts with a whole one.
//
// Pages are dear, and an image's memory is new in every command: large pages make commands on 0.4 megapixels 1.2 to 1.3
// times as fast on encoding, 1.1 times on 6 and more (Zen 3, a virtual machine, where a page costs some 2
// microseconds).
class PageBuffer {
public:
    // Without memory: data is null.
    PageBuffer() = default;
    // At least that many bytes. Throws std::bad_alloc.
    explicit PageBuffer(std::size_t bytes);

    // Says that the first `bytes` bytes, at most size(), are going to be filled for the most part: they get large pages
    // where the system has some.
    void adviseHugePages(std::size_t bytes);

    PageBuffer(PageBuffer&& other) noexcept { swap(other); }
    PageBuffer& operator=(PageBuffer&& other) noexcept {
        PageBuffer taken(std::move(other)); // leaves the other one empty
        swap(taken);
        return *this;
    }
    void swap(PageBuffer& other) noexcept;

    // The first byte; stays where it is when the object is moved. Null without memory.
    unsigned char* data() const { return first; }
    // Bytes of use: what was asked for, and the rest of its last large page.
    std::size_t size() const { return bytesInAll; }
    // Bytes from data on that were last advised for large pages, in whole ones.
    std::size_t sizeOnLargePages() const { return bytesOnLargePages; }

private:
    // Frees memory that was aligned to a large page, to where it came from.
    struct FreeLargePages {
        MemoryProvider* provider;
        std::size_t bytes;

        void operator()(unsigned char* memory) const;
    };

    TakenArray<unsigned char> around;                         // either this, with a page somewhere in it
    std::unique_ptr<unsigned char[], FreeLargePages> aligned; // or this, which starts with a page
    unsigned char* first = nullptr;
    std::size_t bytesInAll = 0;
    std::size_t bytesOnLargePages = 0;
};

// A number of bytes that is going to be asked for, as std::size_t. Throws std::bad_alloc where the machine cannot
// address so many.
std::size_t addressable(std::uint64_t bytes);

// Says that `bytes` bytes of any memory are going to be filled: from 2 MiB on they get large pages where the system has
// some, and those below 4 MiB get their pages at once (1.1 times as fast on comparing 0.4 megapixels). Advice only:
// where it is not taken nothing changes.
void adviseHugePages(void* memory, std::size_t bytes);

} // namespace teko

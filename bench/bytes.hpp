// SPDX-License-Identifier: Apache-2.0
// Bytes whose number is not known before they are made.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <span>
#include <stdexcept>

namespace teko::bench {

using ByteView = std::span<const unsigned char>;

// Room for `capacity` bytes, not cleared: what is never written takes no memory.
struct Bytes {
    std::unique_ptr<unsigned char[]> memory;
    std::size_t capacity = 0;
    std::size_t start = 0;
    std::size_t size = 0;

    Bytes() = default;
    explicit Bytes(std::size_t room) : memory(new unsigned char[room]), capacity(room) {}

    ByteView view() const { return {memory.get() + start, size}; }

    void append(const void* data, std::size_t count) {
        if (count > capacity - start - size) {
            throw std::runtime_error("coded image larger than its buffer");
        }
        std::memcpy(memory.get() + start + size, data, count);
        size += count;
    }
};

// Enough for the lossless form of any image in any of the formats.
constexpr std::size_t codedCapacity(std::size_t rawBytes) {
    return 2 * rawBytes + 65536;
}

} // namespace teko::bench

// SPDX-License-Identifier: Apache-2.0
// Bit streams to write into and to look into.
#pragma once

#include "coding/bitStreamer.hpp"
#include "support/bytes.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <random>
#include <vector>

namespace teko {

using Bits = std::vector<bool>;

inline Bits randomBits(std::mt19937_64& random, std::size_t count) {
    Bits bits(count);
    std::generate(bits.begin(), bits.end(), [&] { return (random() & 1) != 0; });
    return bits;
}

inline void putAll(BitStreamer& stream, const Bits& bits) {
    for (const bool bit : bits) {
        stream.putBit(bit ? 1 : 0);
    }
}

inline Bits getAll(BitStreamer& stream, std::size_t count) {
    Bits bits;
    for (std::size_t i = 0; i < count; ++i) {
        bits.push_back(stream.getBit() != 0);
    }
    return bits;
}

// Bits in the order of the stream: bytes fill up from their least significant bit. The last byte is padded
// with zeros.
inline Bytes packed(const Bits& bits) {
    Bytes bytes((bits.size() + 7) / 8);
    for (std::size_t i = 0; i < bits.size(); ++i) {
        if (bits[i]) {
            bytes[i / 8] = static_cast<std::uint8_t>(bytes[i / 8] | 1 << (i % 8));
        }
    }
    return bytes;
}

inline Bits unpacked(const Bytes& bytes) {
    Bits bits;
    for (const std::uint8_t byte : bytes) {
        for (int i = 0; i < 8; ++i) {
            bits.push_back((byte >> i & 1) != 0);
        }
    }
    return bits;
}

inline Bits operator+(Bits left, const Bits& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// Zeros up to the next whole word.
inline Bits paddedToWords(Bits bits) {
    bits.resize((bits.size() + 31) / 32 * 32);
    return bits;
}

// What a writer will do next follows from these alone.
struct WriterState {
    std::uint32_t mask;
    std::int64_t words;
    std::uint32_t current;
    std::int64_t wordsDone;

    bool operator==(const WriterState&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, const WriterState& state) {
    return stream << "mask " << state.mask << ", " << state.words << " words, current " << state.current << ", "
                  << state.wordsDone << " words done";
}

inline WriterState stateOf(const BitStreamer& stream) {
    return {stream.mask, stream.words(), stream.current, stream.wordsDone};
}

// A memory writer over so many bytes, with bytes behind them that nobody may touch.
class MemoryWriter {
public:
    static constexpr std::uint8_t untouchedByte = 0xEE;

    explicit MemoryWriter(std::size_t capacity) : limit(capacity), memory(capacity / 4 + 3, 0xEEEEEEEE) {
        stream.setUpMemoryWriter(memory.data(), static_cast<std::int64_t>(capacity));
    }
    MemoryWriter(std::size_t capacity, const Bits& bits) : MemoryWriter(capacity) { putAll(stream, bits); }

    BitStreamer stream;

    std::size_t capacity() const { return limit; }
    // Every byte of the buffer, written or not.
    Bytes content() const { return prefix(everything(), limit); }
    Bytes content(std::size_t count) const { return prefix(everything(), count); }
    bool fenceIsIntact() const {
        const Bytes all = everything();
        const auto fence = all.begin() + static_cast<std::ptrdiff_t>(limit);
        return std::all_of(fence, all.end(), [](std::uint8_t byte) { return byte == untouchedByte; });
    }

private:
    Bytes everything() const {
        const auto* first = reinterpret_cast<const std::uint8_t*>(memory.data());
        return {first, first + memory.size() * 4};
    }

    std::size_t limit;
    std::vector<std::uint32_t> memory;
};

// A memory reader over these bytes.
class MemoryReader {
public:
    explicit MemoryReader(const Bytes& bytes) : memory(bytes.size() / 4 + 1) {
        std::copy(bytes.begin(), bytes.end(), reinterpret_cast<std::uint8_t*>(memory.data()));
        stream.setUpMemoryReader(memory.data(), static_cast<std::int64_t>(bytes.size()));
    }

    BitStreamer stream;

private:
    std::vector<std::uint32_t> memory;
};

} // namespace teko

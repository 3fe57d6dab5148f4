// SPDX-License-Identifier: Apache-2.0
// Folded values by themselves: the memory of one sequence.
#pragma once

#include "fast/planes/subbandBytes.hpp"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace teko {

// Room for so many values, filled with what must not matter and fenced on both sides.
template <typename Value>
class FoldedValues {
public:
    explicit FoldedValues(std::size_t most)
        : blocks(static_cast<std::size_t>(SubbandBytes<Value>::blocks(static_cast<long>(most)))),
          rowBytes(static_cast<std::size_t>(SubbandBytes<Value>::rowBytes(static_cast<long>(most)))),
          memory(2 * fence + SubbandBytes<Value>::bytePlanesOfValue * rowBytes, filling), bytePlanesUsed(blocks, 1),
          longest(blocks) {
        for (int row = 0; row < SubbandBytes<Value>::bytePlanesOfValue; ++row) {
            sequence.rows[row] = memory.data() + fence + static_cast<std::size_t>(row) * rowBytes;
        }
        sequence.bytePlanesUsed = bytePlanesUsed.data();
        sequence.longest = longest.data();
    }
    FoldedValues(const FoldedValues&) = delete;
    FoldedValues& operator=(const FoldedValues&) = delete;

    // One by one, as the sequence says.
    void append(const std::vector<Value>& values) {
        for (const Value value : values) {
            *sequence.lowestBytes() = byteOf(value, 0);
            for (int row = 1; row < SubbandBytes<Value>::bytePlanesOfValue; ++row) {
                if (byteOf(value, row) != 0) {
                    *sequence.higherBytes(row, 1) = byteOf(value, row);
                }
            }
            unsigned char& longestHere = longest[static_cast<std::size_t>(sequence.count++ / blockSamples)];
            longestHere = std::max(longestHere, static_cast<unsigned char>(bitLength(value)));
        }
    }

    std::vector<Value> values() const {
        std::vector<Value> result;
        for (long i = 0; i < sequence.count; ++i) {
            std::uint32_t value = 0;
            for (int row = 0; row < bytePlanesUsed[static_cast<std::size_t>(i / blockSamples)]; ++row) {
                value |= std::uint32_t{sequence.rows[row][i]} << (8 * row);
            }
            result.push_back(static_cast<Value>(value));
        }
        return result;
    }

    // Whether each block has as many rows in use as its largest value needs, or its neighbours' where values lie across
    // their limit, and nothing else was touched.
    bool usesNoMoreThanItNeeds() const {
        for (std::size_t block = 0; block < blocks; ++block) {
            const int before = block > 0 ? bytePlanesNeeded(block - 1) : 1;
            const int behind = block + 1 < blocks ? bytePlanesNeeded(block + 1) : 1;
            const int here = bytePlanesNeeded(block);
            const int used = bytePlanesUsed[block];
            if (used < here || used > std::max({before, here, behind})) {
                return false;
            }
            for (int row = used; row < SubbandBytes<Value>::bytePlanesOfValue; ++row) {
                const unsigned char* const bytes = sequence.bytes(row, static_cast<long>(block));
                if (std::count(bytes, bytes + blockSamples, filling) != blockSamples) {
                    return false;
                }
            }
        }
        return fencesAreIntact();
    }

    SubbandBytes<Value> sequence;

private:
    static constexpr unsigned char filling = 0xA5;
    static constexpr std::size_t fence = 256;

    static unsigned char byteOf(Value value, int row) {
        return static_cast<unsigned char>(static_cast<std::uint32_t>(value) >> (8 * row));
    }

    // The largest negative number needs all rows, though its folded value is 1.
    int bytePlanesNeeded(std::size_t block) const {
        const std::vector<Value> all = values();
        int length = 8;
        for (std::size_t i = block * blockSamples; i < std::min(all.size(), (block + 1) * blockSamples); ++i) {
            length = std::max(length, all[i] == 1 ? 8 * SubbandBytes<Value>::bytePlanesOfValue : bitLength(all[i]));
        }
        return (length + 7) / 8;
    }

    bool fencesAreIntact() const {
        const auto areIntact = [](auto from, auto to) { return std::count(from, to, filling) == to - from; };
        return areIntact(memory.begin(), memory.begin() + fence) && areIntact(memory.end() - fence, memory.end());
    }

    std::size_t blocks;
    std::size_t rowBytes;
    std::vector<unsigned char> memory;
    std::vector<unsigned char> bytePlanesUsed;
    std::vector<unsigned char> longest;
};

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// Rows for the row kernels: anywhere in memory, with samples around them that have no part in the lifting.
#pragma once

#include "fast/rows/rowKernels.hpp"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

namespace teko {

using Random = std::mt19937_64;

inline long between(Random& random, long least, long most) {
    return least +
           static_cast<long>(random() % (static_cast<unsigned long>(most) - static_cast<unsigned long>(least) + 1));
}

// Numbers up to a magnitude, the extreme ones often.
struct Magnitudes {
    long bound;

    template <typename Row>
    Row pick(Random& random) const {
        const long least = std::max<long>(-bound, std::numeric_limits<Row>::min());
        const long most = std::min<long>(bound, std::numeric_limits<Row>::max());
        switch (random() % 8) {
        case 0:
            return static_cast<Row>(least + between(random, 0, 1));
        case 1:
            return static_cast<Row>(most - between(random, 0, 1));
        case 2:
            return static_cast<Row>(between(random, -3, 3));
        default:
            return static_cast<Row>(between(random, least, most));
        }
    }
};

// Beyond every number of the row's type, and for int rows what kernels take at most.
template <typename T>
constexpr Magnitudes anyMagnitude{sizeof(T) == sizeof(short) ? 32768L : long{largestForIntRows}};

// Rows are padded to this many samples; kernels may write up to there.
constexpr std::size_t rowPadding = 32;

constexpr std::size_t paddedLength(std::size_t n) {
    return (n + rowPadding - 1) / rowPadding * rowPadding;
}

// A row of n samples that starts anywhere.
template <typename Row>
class RowBuffer {
public:
    RowBuffer(Random& random, std::size_t n, Magnitudes range)
        : start(room + random() % 19), length(n), memory(start + paddedLength(n) + room) {
        std::generate(memory.begin(), memory.end(), [&] { return range.pick<Row>(random); });
    }

    Row* row() { return memory.data() + start; }
    const Row* row() const { return memory.data() + start; }
    Row& operator[](std::size_t i) { return memory[start + i]; }
    Row operator[](std::size_t i) const { return memory[start + i]; }

    // Whether this row is like another in its samples, and around them except for `padding` samples at its end.
    bool agreesWith(const RowBuffer& other, std::size_t padding) const {
        const auto end = static_cast<std::ptrdiff_t>(start + length);
        const auto behind = end + static_cast<std::ptrdiff_t>(padding);
        return std::equal(memory.begin(), memory.begin() + end, other.memory.begin()) &&
               std::equal(memory.begin() + behind, memory.end(), other.memory.begin() + behind);
    }
    std::size_t paddingSize() const { return paddedLength(length) - length; }

private:
    static constexpr std::size_t room = 40;

    std::size_t start;
    std::size_t length;
    std::vector<Row> memory;
};

// Every length around several vectors, and some longer ones.
inline std::vector<int> rowLengths() {
    std::vector<int> lengths;
    for (int n = 1; n <= 200; ++n) {
        lengths.push_back(n);
    }
    for (const int n : {256, 512, 1024, 2048}) {
        lengths.insert(lengths.end(), {n - 1, n, n + 1});
    }
    return lengths;
}

} // namespace teko

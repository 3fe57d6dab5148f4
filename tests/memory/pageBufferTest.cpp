// SPDX-License-Identifier: Apache-2.0
#include "memory/pageBuffer.hpp"

#include "support/bytes.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace teko {

namespace {

constexpr std::size_t largePage = std::size_t{2} << 20;

// Around every size where the way to it changes.
class FillingMemoryOf : public testing::TestWithParam<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(Bytes, FillingMemoryOf,
                         testing::Values(0, 1, 63, 4096, largePage / 8 - 1, largePage / 8, largePage - 1, largePage,
                                         3 * largePage / 2 - 1, 3 * largePage / 2, 2 * largePage + 1,
                                         4 * largePage + largePage / 3));

std::size_t behindMultiple(const PageBuffer& memory, std::size_t unit) {
    return reinterpret_cast<std::uintptr_t>(memory.data()) % unit;
}

} // namespace

TEST_P(FillingMemoryOf, holdsAllOfItsBytesWhateverIsSaidOfThem) {
    for (const std::size_t dense : {std::size_t{0}, GetParam() / 2, GetParam()}) {
        PageBuffer memory(GetParam());
        memory.adviseHugePages(dense);
        ASSERT_GE(memory.size(), GetParam());
        ASSERT_LE(memory.sizeOnLargePages(), memory.size());
        EXPECT_EQ(memory.sizeOnLargePages() > 0, dense >= largePage / 8);
        std::fill_n(memory.data(), memory.size(), static_cast<unsigned char>(0xA5));
        EXPECT_EQ(std::count(memory.data(), memory.data() + memory.size(), 0xA5),
                  static_cast<std::ptrdiff_t>(memory.size()));
    }
}

TEST_P(FillingMemoryOf, startsWithALargePageFromAnEighthOfOneOn) {
    const PageBuffer memory(GetParam());
    if (GetParam() >= largePage / 8) {
        EXPECT_EQ(behindMultiple(memory, largePage), 0U);
        EXPECT_GE(memory.size(), largePage);
    } else {
        EXPECT_EQ(behindMultiple(memory, alignof(std::max_align_t)), 0U);
        EXPECT_EQ(memory.size(), GetParam());
    }
}

TEST_P(FillingMemoryOf, isTheSameAfterAMove) {
    PageBuffer memory(GetParam());
    unsigned char* const data = memory.data();
    const std::size_t size = memory.size();
    PageBuffer moved;
    EXPECT_EQ(moved.size(), 0U);
    moved = std::move(memory);
    EXPECT_EQ(moved.data(), data);
    EXPECT_EQ(moved.size(), size);
    EXPECT_EQ(moved.sizeOnLargePages(), 0U);
    std::fill_n(moved.data(), moved.size(), static_cast<unsigned char>(1));
    EXPECT_EQ(memory.data(), nullptr);
    EXPECT_EQ(memory.size(), 0U);
}

TEST(AdviceOnFilling, changesNoByte) {
    for (const std::size_t size : {std::size_t{1}, std::size_t{5000}, largePage, 2 * largePage, 3 * largePage}) {
        Bytes memory(size + 3);
        for (std::size_t i = 0; i < memory.size(); ++i) {
            memory[i] = static_cast<std::uint8_t>(i * 7);
        }
        const Bytes before = memory;
        adviseHugePages(memory.data() + 1, size);
        EXPECT_EQ(memory, before) << size;
    }
}

} // namespace teko

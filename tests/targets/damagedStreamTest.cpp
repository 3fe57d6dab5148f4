// SPDX-License-Identifier: Apache-2.0
// Streams that nobody wrote: every target makes of them what the plain one makes.
#include "support/coefficients.hpp"
#include "targets/reading.hpp"
#include "targets/writing.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace teko {

namespace {

template <typename T>
class TargetDamagedStreams : public testing::Test {
protected:
    // With a one in so many bits.
    Bytes garbage(std::size_t bytes, unsigned oneIn) {
        Bits bits(8 * bytes);
        std::generate(bits.begin(), bits.end(), [&] { return random() % oneIn == 0; });
        return packed(bits);
    }

    void check(const LaidOutImage<T>& image, const Bytes& bytes) {
        const Source sources[] = {fromMemory, fromMemory, fromFile, {7, 3}};
        expectPlainReading(image, bytes, sources[random() % 4]);
    }

    std::mt19937_64 random{11};
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetDamagedStreams, SampleTypes);

constexpr unsigned densities[] = {1, 2, 3, 5, 9, 30, 200, 2000};

} // namespace

TYPED_TEST(TargetDamagedStreams, WithEveryTopPlaneAreReadAlike) {
    for (int top = 0; top < 256; ++top) {
        for (const unsigned oneIn : densities) {
            Bytes bytes = this->garbage(60 + this->random() % 900, oneIn);
            bytes[0] = static_cast<std::uint8_t>(top);
            this->check(LaidOutImage<TypeParam>(37, 31, 1 + top % 3), bytes);
        }
    }
}

TYPED_TEST(TargetDamagedStreams, OfGarbageAreReadAlike) {
    for (int round = 0; round < 300; ++round) {
        for (const unsigned oneIn : densities) {
            Bytes bytes = this->garbage(1 + this->random() % 600, oneIn);
            bytes[0] = static_cast<std::uint8_t>(this->random() % 30);
            const int width = 2 + static_cast<int>(this->random() % 60);
            const int height = 2 + static_cast<int>(this->random() % 60);
            this->check(LaidOutImage<TypeParam>(width, height, 1), bytes);
        }
    }
}

TYPED_TEST(TargetDamagedStreams, OfGarbageForManyBlocksAreReadAlike) {
    for (int round = 0; round < 12; ++round) {
        for (const unsigned oneIn : densities) {
            Bytes bytes = this->garbage(20 + this->random() % 30000, oneIn);
            bytes[0] = static_cast<std::uint8_t>(this->random() % 14);
            this->check(LaidOutImage<TypeParam>(201 + round, 190 - round, 1), bytes);
        }
    }
}

TYPED_TEST(TargetDamagedStreams, WithEveryFirstParameterAreReadAlike) {
    for (int k = 0; k < 32; ++k) {
        for (const unsigned oneIn : densities) {
            for (const int rows : {2, 40, 1500}) {
                Bytes bytes = this->garbage(2000, oneIn);
                bytes[0] = static_cast<std::uint8_t>(this->random() % 12);
                bytes[1] = static_cast<std::uint8_t>((bytes[1] & 0xE0) | k);
                this->check(LaidOutImage<TypeParam>(3 + k % 2 * 30, rows, 1), bytes);
            }
        }
    }
}

TYPED_TEST(TargetDamagedStreams, WithChangedBytesAreReadAlike) {
    for (const unsigned oneIn : {1U, 3U, 6U, 12U, 80U}) {
        for (const auto& [shape, top] : {std::pair{Shape2d{40, 33}, 9}, {{97, 90, 2}, 12}, {{2, 400}, 6}}) {
            const auto image = scattered<TypeParam>(shape, top, oneIn, this->random);
            const Bytes stream = plainStream(image);
            for (int round = 0; round < 60; ++round) {
                Bytes bytes = prefix(stream, round % 3 == 0 ? this->random() % stream.size() + 1 : stream.size());
                for (int i = 0; i <= round / 10; ++i) {
                    bytes[this->random() % bytes.size()] = static_cast<std::uint8_t>(this->random() & 0xFF);
                }
                this->check(image, bytes);
            }
        }
    }
}

// Bits that are missing or too many move all that follows.
TYPED_TEST(TargetDamagedStreams, WithMovedBitsAreReadAlike) {
    for (const unsigned oneIn : {1U, 3U, 6U, 12U, 80U}) {
        const auto image = scattered<TypeParam>({60, 51}, 10, oneIn, this->random);
        const Bits stream = unpacked(plainStream(image));
        for (int round = 0; round < 120; ++round) {
            Bits bits = stream;
            const auto place = static_cast<std::ptrdiff_t>(8 + this->random() % (bits.size() - 16));
            if (round % 2 == 0) {
                bits.erase(bits.begin() + place, bits.begin() + place + 1 + round % 6);
            } else {
                bits.insert(bits.begin() + place, static_cast<std::size_t>(1 + round % 6), round % 4 == 1);
            }
            this->check(image, packed(bits));
        }
    }
}

} // namespace teko

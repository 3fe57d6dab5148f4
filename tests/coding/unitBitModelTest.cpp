// SPDX-License-Identifier: Apache-2.0
// Random operations against a model of the stream: the list of its bits.
#include "support/bitStreams.hpp"
#include "support/scratchFile.hpp"
#include "support/thrownInteger.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

// What a memory writer of so many bytes holds, and when it must throw.
class ModelWriter {
public:
    explicit ModelWriter(std::size_t capacity) : wholeWords(capacity / 4), tailBytes(capacity % 4) {}

    // False when this bit completes a word that finds no room.
    bool put(bool bit) {
        bits.push_back(bit);
        overflown = bits.size() % 32 == 0 && bits.size() / 32 > wholeWords;
        return !overflown;
    }
    // False when pending bits find no room.
    bool flush() {
        overflown = bits.size() % 32 != 0 && bits.size() / 32 >= wholeWords;
        return !overflown;
    }

    // Bits that the writer must count: all of them, or what the buffer holds of a word that overflew.
    std::size_t bitCount() const {
        const bool isCut = overflown && (tailBytes > 0 || bits.size() % 32 == 0);
        return isCut ? 32 * wholeWords + 8 * tailBytes : bits.size();
    }
    Bytes content() const {
        const std::size_t capacity = 4 * wholeWords + tailBytes;
        return prefix(packed(paddedToWords(bits)), std::min(capacity, (bitCount() + 7) / 8));
    }

    Bits bits;

private:
    std::size_t wholeWords;
    std::size_t tailBytes;
    bool overflown = false;
};

// One random operation on a stream; the bits that it is to add come back.
Bits randomOperation(std::mt19937_64& random, BitStreamer& stream, int& thrown) {
    const auto choice = random() % 8;
    if (choice < 3) {
        const bool bit = (random() & 1) != 0;
        thrown = thrownBy([&] { stream.putBit(bit ? 1 : 0); });
        return {bit};
    }
    if (choice < 6) {
        const auto value = static_cast<std::uint32_t>(random());
        const int n = static_cast<int>(random() % 33);
        thrown = thrownBy([&] { stream.putBits(value, n); });
        Bits bits;
        for (int i = 0; i < n; ++i) {
            bits.push_back((value >> i & 1) != 0);
        }
        return bits;
    }
    if (choice < 7) {
        const Bits bits = randomBits(random, random() % 130);
        MemoryWriter source(32, bits);
        thrown = thrownBy([&] { stream.append(source.stream); });
        return bits;
    }
    thrown = thrownBy([&] { stream.flush(); });
    return {};
}

bool putInto(ModelWriter& model, const Bits& bits) {
    for (const bool bit : bits) {
        if (!model.put(bit)) {
            return false;
        }
    }
    return true;
}

} // namespace

TEST(BitStreamModel, holdsForMemoryWritersUntilTheyAreFull) {
    for (std::size_t seed = 0; seed < 3000; ++seed) {
        std::mt19937_64 random{seed};
        const std::size_t capacity = random() % 80;
        MemoryWriter writer(capacity);
        ModelWriter model(capacity);
        int thrown = 0;
        while (thrown == 0) {
            const Bits bits = randomOperation(random, writer.stream, thrown);
            // A put of no bits changes nothing, whether it was meant as a flush or not, unless it throws.
            const bool fits = bits.empty() ? thrown == 0 || model.flush() : putInto(model, bits);
            ASSERT_EQ(thrown, fits ? 0 : 3) << seed;
        }
        ASSERT_EQ(writer.stream.bitCount(), static_cast<std::int64_t>(model.bitCount())) << seed;
        ASSERT_EQ(writer.content(model.content().size()), model.content()) << seed;
        ASSERT_TRUE(writer.fenceIsIntact()) << seed;
    }
}

TEST(BitStreamModel, holdsForMemoryWritersThatDoNotFill) {
    for (std::size_t seed = 0; seed < 500; ++seed) {
        std::mt19937_64 random{seed};
        MemoryWriter writer(4000);
        Bits bits;
        for (int i = 0; i < 200; ++i) {
            int thrown = 0;
            const Bits more = randomOperation(random, writer.stream, thrown);
            ASSERT_EQ(thrown, 0);
            bits.insert(bits.end(), more.begin(), more.end());
        }
        writer.stream.flush();
        ASSERT_EQ(writer.stream.bitCount(), static_cast<std::int64_t>(bits.size())) << seed;
        ASSERT_EQ(writer.content((bits.size() + 7) / 8), packed(bits)) << seed;
    }
}

TEST(BitStreamModel, holdsForFileWriters) {
    for (std::size_t seed = 0; seed < 100; ++seed) {
        std::mt19937_64 random{seed};
        const ScratchFile file;
        BitStreamer writer;
        writer.setUpFileWriter(file.get());
        Bits bits;
        for (int i = 0; i < 300; ++i) {
            int thrown = 0;
            const Bits more = randomOperation(random, writer, thrown);
            ASSERT_EQ(thrown, 0);
            bits.insert(bits.end(), more.begin(), more.end());
            if (writer.mask == 1 && bits.size() % 32 != 0) {
                bits = paddedToWords(bits); // that was a flush
            }
        }
        writer.flush();
        ASSERT_EQ(file.contents(), packed(paddedToWords(bits))) << seed;
        ASSERT_EQ(writer.bitCount(), static_cast<std::int64_t>(paddedToWords(bits).size())) << seed;
    }
}

TEST(BitStreamModel, holdsForReaders) {
    for (std::size_t seed = 0; seed < 200; ++seed) {
        std::mt19937_64 random{seed};
        const Bits bits = randomBits(random, 32 * (1 + random() % 40));
        const ScratchFile file(packed(bits));
        BitStreamer fileReader;
        fileReader.setUpFileReader(file.get());
        MemoryReader memoryReader(packed(bits));
        std::size_t position = 0;
        for (auto n = random() % 33; position + n <= bits.size(); n = random() % 33) {
            std::uint32_t expected = 0;
            for (std::size_t i = 0; i < n; ++i) {
                expected |= bits[position + i] ? 1U << i : 0;
            }
            position += n;
            const int count = static_cast<int>(n);
            ASSERT_EQ(count == 1 ? fileReader.getBit() : fileReader.getBits(count), expected) << seed;
            ASSERT_EQ(count == 1 ? memoryReader.stream.getBit() : memoryReader.stream.getBits(count), expected) << seed;
        }
        EXPECT_EQ(getAll(fileReader, bits.size() - position), getAll(memoryReader.stream, bits.size() - position));
        EXPECT_EQ(thrownBy([&] { fileReader.getBit(); }), 3);
        EXPECT_EQ(thrownBy([&] { memoryReader.stream.getBit(); }), 3);
    }
}

} // namespace teko

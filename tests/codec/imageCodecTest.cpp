// SPDX-License-Identifier: Apache-2.0
// The codec room alone: from the caller's memory to the caller's memory, with every target, on a small stack, on
// several threads.
#include "codec/fileHeader.hpp"
#include "codec/imageDecoder.hpp"
#include "codec/imageEncoder.hpp"
#include "smallStack.hpp"
#include "support/bytes.hpp"
#include "support/targets.hpp"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <sys/mman.h>
#include <thread>

namespace teko {

namespace {

struct Subject {
    int bytesPerPixel;
    int width;
    int height;

    FileHeader header() const { return FileHeader::forImage(bytesPerPixel, 8 * sampleBytes(), width, height); }
    int sampleBytes() const { return imageKindOf(bytesPerPixel)->bytesPerSample; }
    std::ptrdiff_t rowBytes() const { return static_cast<std::ptrdiff_t>(bytesPerPixel) * width; }
    std::size_t rawBytes() const { return static_cast<std::size_t>(rowBytes() * height); }
    bool comesBack() const { return width >= 4 && height >= 4; }
};

std::ostream& operator<<(std::ostream& stream, const Subject& subject) {
    return stream << subject.bytesPerPixel << " bytes a pixel, " << subject.width << " x " << subject.height;
}

// Every way through the codec: rows, a coarsest level in planes, planes, columns in blocks, no levels, nothing.
std::vector<Subject> subjects() {
    std::vector<Subject> all;
    for (const ImageKind& kind : imageKinds) {
        for (const auto& [width, height] : {std::pair{64, 64},
                                            {67, 61},
                                            {9, 8},
                                            {8, 700},
                                            {700, 9},
                                            {40, 41},
                                            {5, 4},
                                            {2, 3},
                                            {0, 5},
                                            {130, 517},
                                            {520, 516}}) {
            all.push_back({kind.bytesPerPixel, width, height});
        }
    }
    return all;
}

// Slopes and some noise, with 16 bits a sample where there is room for them.
Bytes rawOf(const Subject& subject) {
    std::mt19937 random(static_cast<unsigned>(subject.width + subject.height));
    Bytes raw(subject.rawBytes());
    for (std::size_t i = 0; i < raw.size(); ++i) {
        const std::size_t x = i % static_cast<std::size_t>(subject.rowBytes());
        raw[i] = static_cast<std::uint8_t>(x + i / 97 + random() % 8);
    }
    return raw;
}

// Memory from malloc, at an address that is odd and behind that no byte may be touched (for sanitizers to see).
class OddMemory {
public:
    explicit OddMemory(std::size_t bytes) : memory(static_cast<unsigned char*>(std::malloc(bytes + 1))) {}
    explicit OddMemory(const Bytes& content) : OddMemory(content.size()) {
        std::copy(content.begin(), content.end(), data());
    }
    OddMemory(const OddMemory&) = delete;
    OddMemory& operator=(const OddMemory&) = delete;
    ~OddMemory() { std::free(memory); }

    unsigned char* data() const { return memory + 1; }

private:
    unsigned char* memory;
};

// Memory that cannot be written to.
class ReadOnlyMemory {
public:
    explicit ReadOnlyMemory(const Bytes& content)
        : bytes(content.size() + 1),
          memory(mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
        std::copy(content.begin(), content.end(), static_cast<unsigned char*>(memory) + 1);
        mprotect(memory, bytes, PROT_READ);
    }
    ReadOnlyMemory(const ReadOnlyMemory&) = delete;
    ReadOnlyMemory& operator=(const ReadOnlyMemory&) = delete;
    ~ReadOnlyMemory() { munmap(memory, bytes); }

    const unsigned char* data() const { return static_cast<const unsigned char*>(memory) + 1; }

private:
    std::size_t bytes;
    void* memory;
};

struct Coded {
    Status status;
    Bytes payload;

    bool operator==(const Coded&) const = default;
};

Coded encoded(const Subject& subject, const Bytes& raw, Target target, std::size_t capacity) {
    const OddMemory from(raw);
    const OddMemory to(capacity);
    ByteStreamer out;
    out.setUpMemoryWriter(to.data(), static_cast<std::int64_t>(capacity));
    MemorySource rows(from.data(), subject.rowBytes());
    const Status status = encodeImage(subject.header(), target, rows, out);
    return {status, Bytes(to.data(), to.data() + payloadBytes(out, capacity))};
}

// The same into words that are aligned, as a program's own stream has them.
Coded encodedToWords(const Subject& subject, const Bytes& raw, Target target, std::size_t capacity) {
    std::vector<std::uint32_t> memory(capacity / 4 + 1);
    BitStreamer out;
    out.setUpMemoryWriter(memory.data(), static_cast<std::int64_t>(capacity));
    MemorySource rows(raw.data(), subject.rowBytes());
    const Status status = encodeImage(subject.header(), target, rows, out);
    const auto* bytes = reinterpret_cast<const unsigned char*>(memory.data());
    return {status, Bytes(bytes, bytes + payloadBytes(out, capacity))};
}

struct DecodedImage {
    Status status;
    Bytes raw;

    bool operator==(const DecodedImage&) const = default;
};

// From memory that cannot be written to, into rows that stand on their heads and lie apart.
DecodedImage decoded(const Subject& subject, const Bytes& payload, Target target) {
    const ReadOnlyMemory from(payload);
    ByteStreamer in;
    in.setUpMemoryReader(from.data(), static_cast<std::int64_t>(payload.size()));
    const std::ptrdiff_t pitch = subject.rowBytes() + 3;
    const OddMemory to(static_cast<std::size_t>(pitch * (subject.height + 1)));
    MemorySink rows(to.data() + pitch * std::max(subject.height - 1, 0), -pitch);
    DecodedImage result{decodeImage(subject.header(), target, in, rows), {}};
    for (int y = subject.height - 1; y >= 0 && result.status <= Status::cut; --y) {
        const unsigned char* row = to.data() + pitch * y;
        result.raw.insert(result.raw.end(), row, row + subject.rowBytes());
    }
    return result;
}

std::vector<Target> targetsBesidePlain() {
    return fastTargets();
}

std::size_t ampleRoomFor(const Subject& subject) {
    return 8 * subject.rawBytes() + 4096;
}

class ImageCodec : public testing::TestWithParam<Subject> {};

} // namespace

TEST_P(ImageCodec, GoesFromMemoryToMemoryOnASmallStack) {
    const Subject& subject = GetParam();
    const Bytes raw = rawOf(subject);
    const std::size_t room = ampleRoomFor(subject);
    const Coded whole = encodedToWords(subject, raw, Target::plain, room);
    ASSERT_EQ(whole.status, Status::ok);
    const std::size_t budget = whole.payload.size() / 3;
    const Coded cut = encodedToWords(subject, raw, Target::plain, budget);
    EXPECT_EQ(cut.status, budget >= 4 ? Status::cut : cut.status);
    const Bytes wholeWords = whole.payload + Bytes((4 - whole.payload.size() % 4) % 4, 0);
    const DecodedImage wholeDecoded = decoded(subject, wholeWords, Target::plain);
    const DecodedImage cutDecoded = decoded(subject, cut.payload, Target::plain);
    EXPECT_EQ(wholeDecoded.status, Status::ok);
    EXPECT_EQ(wholeDecoded.raw == raw, subject.comesBack() || raw.empty());
    onSmallStack([&] {
        for (const Target target : allTargets) {
            if (!isRunnable(target)) {
                continue;
            }
            EXPECT_TRUE(encoded(subject, raw, target, room) == whole) << target;
            EXPECT_TRUE(encodedToWords(subject, raw, target, room) == whole) << target;
            EXPECT_TRUE(encoded(subject, raw, target, budget) == cut) << target;
            EXPECT_TRUE(decoded(subject, wholeWords, target) == wholeDecoded) << target;
            EXPECT_TRUE(decoded(subject, cut.payload, target) == cutDecoded) << target;
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Of, ImageCodec, testing::ValuesIn(subjects()), [](const auto& one) {
    return std::to_string(one.param.bytesPerPixel) + "_" + std::to_string(one.param.width) + "x" +
           std::to_string(one.param.height);
});

// What the thread sanitizer looks at: different images at once, every target, both ways.
TEST(ImageCodecs, RunAtOnceOnDifferentImages) {
    const auto roundTrips = [](int first) {
        for (const Subject& subject : {Subject{1, 70 + first, 61}, {2, 67, 60 + first}, {3, 41 + first, 50}}) {
            const Bytes raw = rawOf(subject);
            for (const Target target : targetsBesidePlain()) {
                const Coded coded = encoded(subject, raw, target, ampleRoomFor(subject));
                const Bytes words = coded.payload + Bytes((4 - coded.payload.size() % 4) % 4, 0);
                EXPECT_TRUE(decoded(subject, words, target).raw == raw) << subject << ", " << target;
                EXPECT_EQ(decoded(subject, prefix(words, words.size() / 2), target).status, Status::cut);
            }
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back(roundTrips, i);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// Narrow images, tall ones and low ones, with every target against the plain one: the whole stream, budgets, and what
// is made of streams that are complete, cut or damaged.
#include "codec/fileHeader.hpp"
#include "codec/imageDecoder.hpp"
#include "codec/imageEncoder.hpp"
#include "support/bytes.hpp"
#include "support/targets.hpp"

#include <gtest/gtest.h>

#include <random>

namespace teko {

namespace {

struct Coded {
    Status status;
    Bytes bytes;

    bool operator==(const Coded&) const = default;
};

class NarrowImage : public testing::Test {
protected:
    void check(int bytesPerPixel, int width, int height) {
        const int bits = bytesPerPixel == 2 ? 9 + static_cast<int>(random() % 8) : 8;
        const FileHeader header = FileHeader::forImage(bytesPerPixel, bits, width, height);
        const Bytes raw = rawOf(header);
        const Coded whole = encoded(header, raw, Target::plain, 2 * raw.size() + 1000);
        ASSERT_EQ(whole.status, Status::ok);
        const std::size_t budgets[] = {whole.bytes.size(), 4 + random() % whole.bytes.size(), 4 + random() % 40};
        Bytes damaged = whole.bytes;
        damaged[1 + random() % (damaged.size() - 1)] ^= static_cast<std::uint8_t>(1 + random() % 255);
        for (const Target target : sampledTargets()) {
            SCOPED_TRACE(testing::Message()
                         << target << ", " << bytesPerPixel << " bytes a pixel, " << width << " x " << height);
            EXPECT_TRUE(encoded(header, raw, target, 2 * raw.size() + 1000) == whole);
            for (const std::size_t budget : budgets) {
                EXPECT_TRUE(encoded(header, raw, target, budget) == encoded(header, raw, Target::plain, budget));
                const Bytes cut = prefix(whole.bytes, budget);
                EXPECT_TRUE(decoded(header, cut, target) == decoded(header, cut, Target::plain));
            }
            EXPECT_TRUE(decoded(header, whole.bytes, target) == (Coded{Status::ok, raw}));
            EXPECT_TRUE(decoded(header, damaged, target) == decoded(header, damaged, Target::plain));
            EXPECT_EQ(endOfSource(header, raw, target), Status::sourceEnded);
            EXPECT_EQ(endOfSink(header, whole.bytes, target), Status::sinkFull);
        }
    }

    std::mt19937 random{6};

private:
    // A source that has one row less, and a sink that takes one row less.
    struct ShortSource final : RowSource {
        const unsigned char* row;
        int left;

        ShortSource(const Bytes& raw, const FileHeader& header) : row(raw.data()), left(header.ysize - 1) {}
        const unsigned char* next() override { return left-- > 0 ? row : nullptr; }
    };
    struct ShortSink final : RowSink {
        Bytes row;
        int left;

        explicit ShortSink(const FileHeader& header)
            : row(static_cast<std::size_t>(pitchOf(header))), left(header.ysize - 1) {}
        unsigned char* next() override { return left-- > 0 ? row.data() : nullptr; }
        bool finish() override { return true; }
    };

    static std::ptrdiff_t pitchOf(const FileHeader& header) {
        return static_cast<std::ptrdiff_t>(header.xsize) * header.bytesPerPixel;
    }

    // A slope and some noise, more in one image than in the other.
    Bytes rawOf(const FileHeader& header) {
        Bytes raw(static_cast<std::size_t>(pitchOf(header) * header.ysize));
        const unsigned noise = (1U << random() % 9) - 1;
        const unsigned highNoise = header.bitsPerPixel > 8 ? (1U << random() % (header.bitsPerPixel - 7)) - 1 : 0;
        const std::size_t sampleBytes = header.bytesPerPixel == 2 ? 2 : 1;
        for (std::size_t i = 0; i < raw.size(); ++i) {
            const bool isHigh = sampleBytes == 2 && i % 2 != 0;
            raw[i] = static_cast<std::uint8_t>(isHigh ? random() & highNoise
                                                      : (i / sampleBytes / 31 + (random() & noise)) & 0xFF);
        }
        return raw;
    }

    static Coded encoded(const FileHeader& header, const Bytes& raw, Target target, std::size_t capacity) {
        Bytes bytes(capacity);
        ByteStreamer out;
        out.setUpMemoryWriter(bytes.data(), static_cast<std::int64_t>(capacity));
        MemorySource rows(raw.data(), pitchOf(header));
        const Status status = encodeImage(header, target, rows, out);
        if (status == Status::ok) {
            bytes.resize(std::min(capacity, static_cast<std::size_t>((out.bitCount() + 31) / 32 * 4)));
        }
        return {status, bytes};
    }

    static Coded decoded(const FileHeader& header, const Bytes& bytes, Target target) {
        Bytes raw(static_cast<std::size_t>(pitchOf(header) * header.ysize));
        ByteStreamer in;
        in.setUpMemoryReader(bytes.data(), static_cast<std::int64_t>(bytes.size()));
        MemorySink rows(raw.data(), pitchOf(header));
        const Status status = decodeImage(header, target, in, rows);
        return {status, raw};
    }

    static Status endOfSource(const FileHeader& header, const Bytes& raw, Target target) {
        Bytes bytes(1000);
        ByteStreamer out;
        out.setUpMemoryWriter(bytes.data(), static_cast<std::int64_t>(bytes.size()));
        ShortSource rows(raw, header);
        return encodeImage(header, target, rows, out);
    }

    static Status endOfSink(const FileHeader& header, const Bytes& bytes, Target target) {
        ByteStreamer in;
        in.setUpMemoryReader(bytes.data(), static_cast<std::int64_t>(bytes.size()));
        ShortSink rows(header);
        return decodeImage(header, target, in, rows);
    }
};

} // namespace

TEST_F(NarrowImage, thatIsTallIsCodedAsThePlainWayDoes) {
    for (int width = 6; width < 66; ++width) {
        for (const ImageKind& kind : imageKinds) {
            check(kind.bytesPerPixel, width, 4 * width + static_cast<int>(random() % 100));
            ASSERT_FALSE(HasFailure());
        }
    }
}

TEST_F(NarrowImage, thatIsLowIsCodedAsThePlainWayDoes) {
    for (int height = 6; height < 50; ++height) {
        for (const ImageKind& kind : imageKinds) {
            check(kind.bytesPerPixel, 4 * height + static_cast<int>(random() % 100), height);
            ASSERT_FALSE(HasFailure());
        }
    }
}

// Of four or five samples in blocks, and of many bands.
TEST_F(NarrowImage, thatIsLongIsCodedAsThePlainWayDoes) {
    for (const ImageKind& kind : imageKinds) {
        for (const auto& [width, height] : {std::pair{8, 6001}, {9, 6000}, {6001, 8}, {6000, 9}, {4003, 19}}) {
            check(kind.bytesPerPixel, width, height);
            ASSERT_FALSE(HasFailure());
        }
    }
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// How the steps of the codec end where the image is none, or its rows do: nothing is thrown.
#include "codec/imageDecoder.hpp"
#include "codec/imageEncoder.hpp"

#include <array>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <utility>

namespace teko {

namespace {

constexpr int side = 12;

// So many rows, all of them one.
class RowsUpTo {
public:
    explicit RowsUpTo(int count) : left(count) {}

    unsigned char* another() { return left-- > 0 ? row.data() : nullptr; }

private:
    int left;
    std::array<unsigned char, std::size_t{3} * side> row{};
};

class EndingSource final : public RowSource, RowsUpTo {
public:
    using RowsUpTo::RowsUpTo;

    const unsigned char* next() override { return another(); }
};

class EndingSink final : public RowSink, RowsUpTo {
public:
    using RowsUpTo::RowsUpTo;

    unsigned char* next() override { return another(); }
    bool finish() override { return true; }
};

struct Way {
    int bytesPerPixel;
    Target target; // the plain one goes by planes
};

class CodecStatus : public testing::TestWithParam<Way> {
protected:
    std::array<std::uint32_t, 1024> words{};
    FileHeader header = FileHeader::forImage(GetParam().bytesPerPixel, 8, side, side);

    Status encodeRows(int count) {
        EndingSource rows(count);
        BitStreamer out;
        out.setUpMemoryWriter(words.data(), sizeof words);
        return encodeImage(header, GetParam().target, rows, out);
    }
    Status decodeRows(int count) {
        EndingSink rows(count);
        BitStreamer in;
        in.setUpMemoryReader(words.data(), sizeof words);
        return decodeImage(header, GetParam().target, in, rows);
    }
};

} // namespace

TEST_P(CodecStatus, SaysThatTheSourceEnded) {
    EXPECT_EQ(encodeRows(side - 1), Status::sourceEnded);
    EXPECT_EQ(encodeRows(side), Status::ok);
}

TEST_P(CodecStatus, SaysThatTheSinkIsFull) {
    ASSERT_EQ(encodeRows(side), Status::ok);
    EXPECT_EQ(decodeRows(side - 1), Status::sinkFull);
    EXPECT_EQ(decodeRows(side), Status::ok);
}

INSTANTIATE_TEST_SUITE_P(Of, CodecStatus,
                         testing::Values(Way{1, Target::portable}, Way{2, Target::portable}, Way{3, Target::portable},
                                         Way{1, Target::plain}, Way{2, Target::plain}, Way{3, Target::plain}),
                         [](const auto& one) {
                             const Way& way = one.param;
                             return std::string(way.target == Target::plain ? "planes" : "rows") +
                                    std::to_string(way.bytesPerPixel);
                         });

TEST(CodecStatuses, SayWhatIsNoImage) {
    std::array<std::uint32_t, 64> words{};
    const auto encoded = [&](int bytesPerPixel, int width, int height) {
        EndingSource rows(side);
        BitStreamer out;
        out.setUpMemoryWriter(words.data(), sizeof words);
        return encodeImage(FileHeader::forImage(bytesPerPixel, 8, width, height), Target::portable, rows, out);
    };
    EXPECT_EQ(encoded(4, side, side), Status::unknownKind);
    EXPECT_EQ(encoded(1, 1, side), Status::tooThin);
    EXPECT_EQ(encoded(1, side, 1), Status::tooThin);
    EndingSink rows(side);
    BitStreamer in;
    in.setUpMemoryReader(words.data(), sizeof words);
    EXPECT_EQ(decodeImage(FileHeader::forImage(4, 8, side, side), Target::portable, in, rows), Status::unknownKind);
}

TEST(CodecStatuses, MoveWithTheImage) {
    const FileHeader header = FileHeader::forImage(1, 8, side, side);
    std::array<std::uint32_t, 64> words{};
    EndingSource source(side);
    ImageEncoder first(header, Target::portable);
    ASSERT_EQ(first.prepare(), Status::ok);
    ImageEncoder encoder(std::move(first));
    ASSERT_EQ(encoder.read(source), Status::ok);
    first = std::move(encoder);
    ASSERT_EQ(first.transform(), Status::ok);
    BitStreamer out;
    out.setUpMemoryWriter(words.data(), sizeof words);
    EXPECT_EQ(first.write(out), Status::ok);
    BitStreamer in;
    in.setUpMemoryReader(words.data(), sizeof words);
    ImageDecoder begun(header, Target::portable);
    ASSERT_EQ(begun.prepare(), Status::ok);
    ImageDecoder decoder(std::move(begun));
    ASSERT_EQ(decoder.read(in), Status::ok);
    begun = std::move(decoder);
    ASSERT_EQ(begun.transform(), Status::ok);
    EndingSink sink(side);
    EXPECT_EQ(begun.write(sink), Status::ok);
}

} // namespace teko

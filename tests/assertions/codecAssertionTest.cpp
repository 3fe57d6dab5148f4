// SPDX-License-Identifier: Apache-2.0
#include "assertions.hpp"
#include "codec/imageDecoder.hpp"
#include "codec/imageEncoder.hpp"

#include <array>

namespace teko {

namespace {

using CodecAssertions = Assertions;

const FileHeader header = FileHeader::forImage(1, 8, 8, 8);

struct Streams {
    std::array<std::uint32_t, 64> words{};
    BitStreamer writer;
    BitStreamer reader;
    ByteStreamer byteWriter;

    Streams() {
        writer.setUpMemoryWriter(words.data(), sizeof words);
        reader.setUpMemoryReader(words.data(), sizeof words);
        byteWriter.setUpMemoryWriter(words.data(), sizeof words);
    }
};

} // namespace

TEST_F(CodecAssertions, AnEncoderIsPreparedFirst) {
    ImageEncoder encoder(header, Target::portable);
    Streams streams;
    unsigned char raw[64] = {};
    MemorySource rows(raw, 8);
    EXPECT_DEATH(encoder.read(rows), "way != nullptr");
    EXPECT_DEATH(encoder.transform(), "way != nullptr");
    EXPECT_DEATH(encoder.write(streams.writer), "way != nullptr");
    EXPECT_DEATH(encoder.write(streams.byteWriter), "way != nullptr");
}

TEST_F(CodecAssertions, ADecoderIsPreparedFirst) {
    ImageDecoder decoder(header, Target::portable);
    Streams streams;
    unsigned char raw[64] = {};
    MemorySink rows(raw, 8);
    EXPECT_DEATH(decoder.read(streams.reader), "way != nullptr");
    EXPECT_DEATH(decoder.transform(), "way != nullptr");
    EXPECT_DEATH(decoder.write(rows), "way != nullptr");
}

TEST_F(CodecAssertions, StreamsGoInTheDirectionOfTheirUse) {
    Streams streams;
    ImageEncoder encoder(header, Target::portable);
    ASSERT_EQ(encoder.prepare(), Status::ok);
    EXPECT_DEATH(encoder.write(streams.reader), "out.mode == 'w'");
    ImageDecoder decoder(header, Target::portable);
    ASSERT_EQ(decoder.prepare(), Status::ok);
    EXPECT_DEATH(decoder.read(streams.writer), "in.mode == 'r'");
}

} // namespace teko

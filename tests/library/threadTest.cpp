// SPDX-License-Identifier: Apache-2.0
// Calls on different threads share nothing: what the thread sanitizer looks at.
#include "countingMemory.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace teko {

namespace {

void roundTrips(std::uint32_t first) {
    for (const std::uint32_t kind : {TEKO_GREY8, TEKO_GREY16, TEKO_RGB8}) {
        for (const std::uint32_t side : {5U, 3U, 64U, 130U}) {
            const Picture shape = picture(Look::photograph, kind, side + first, side);
            CountingMemory memory;
            const teko_options given = memory.with(options());
            const Encoded encoded = encode(shape, given);
            EXPECT_TRUE(encoded.status == TEKO_OK || (side == 3 && encoded.status == TEKO_INEXACT));
            const DecodedPicture decoded = decode(encoded.file, given);
            EXPECT_EQ(decoded.status, TEKO_OK);
            EXPECT_EQ(decoded.samples == shape.samples, encoded.status == TEKO_OK);
            EXPECT_EQ(decode(prefix(encoded.file, encoded.file.size() / 2), given).status,
                      encoded.file.size() / 2 < 14 ? TEKO_ERROR_TOO_SHORT : TEKO_CUT);
            EXPECT_EQ(memory.blocks(), 0U);
        }
    }
}

// Rows go into one encoder and come out of one decoder, a portion at a time.
void pushAndPull(std::uint32_t first) {
    const Picture shape = picture(Look::noise, TEKO_RGB8, 70 + first, 90);
    const teko_image image = shape.description();
    teko_encoder* encoder = nullptr;
    ASSERT_EQ(teko_encoder_create(&image, nullptr, &encoder), TEKO_OK);
    const std::size_t rowBytes = shape.rawBytes() / shape.height;
    for (std::size_t y = 0; y < shape.height; ++y) {
        EXPECT_EQ(teko_encoder_push(encoder, shape.samples.data() + y * rowBytes, 1), TEKO_OK);
    }
    teko_buffer buffer = noBuffer();
    EXPECT_EQ(teko_encoder_finish(encoder, &buffer), TEKO_OK);
    teko_encoder_destroy(encoder);
    teko_decoder* decoder = nullptr;
    ASSERT_EQ(teko_decoder_create(buffer.data, buffer.size, &image, nullptr, &decoder, nullptr), TEKO_OK);
    Bytes samples(shape.rawBytes());
    EXPECT_EQ(teko_decoder_pull(decoder, samples.data(), shape.height), TEKO_OK);
    teko_decoder_destroy(decoder);
    teko_release(&buffer, nullptr);
    EXPECT_TRUE(samples == shape.samples);
}

} // namespace

TEST(LibraryThreads, EncodeAndDecodeAtOnce) {
    std::vector<std::thread> threads;
    for (std::uint32_t i = 0; i < 2; ++i) {
        threads.emplace_back([i] {
            for (int round = 0; round < 3; ++round) {
                roundTrips(i);
                pushAndPull(i);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace teko

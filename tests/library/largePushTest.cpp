// SPDX-License-Identifier: Apache-2.0
// The widest rows there are, one at a time: the file of the program, and back.
#include "calls.hpp"
#include "support/program.hpp"
#include "support/temporaryDirectory.hpp"

#include <gtest/gtest.h>

namespace teko {

TEST(LibraryLargePush, OfTheWidestRowsIsTheFileOfTheProgram) {
    const Picture shape = picture(Look::photograph, TEKO_GREY8, 65535, 2000);
    const TemporaryDirectory files;
    files.write("raw", shape.samples);
    const Outcome outcome = runProgram({"c", "raw", "1", "8", "65535", "2000", "coded"}, {.directory = files.path()});
    ASSERT_EQ(outcome.exitStatus, 0) << outcome;
    const teko_image image = shape.description();
    teko_encoder* encoder = nullptr;
    ASSERT_EQ(teko_encoder_create(&image, nullptr, &encoder), TEKO_OK);
    for (std::size_t y = 0; y < shape.height; ++y) {
        ASSERT_EQ(teko_encoder_push(encoder, shape.samples.data() + y * shape.width, 1), TEKO_OK);
    }
    teko_buffer buffer = noBuffer();
    ASSERT_EQ(teko_encoder_finish(encoder, &buffer), TEKO_OK);
    teko_encoder_destroy(encoder);
    const Bytes file = taken(buffer, options());
    EXPECT_TRUE(file == files.read("coded"));

    teko_decoder* decoder = nullptr;
    ASSERT_EQ(teko_decoder_create(file.data(), file.size(), &image, nullptr, &decoder, nullptr), TEKO_OK);
    Bytes row(shape.width);
    for (std::size_t y = 0; y < shape.height; ++y) {
        ASSERT_EQ(teko_decoder_pull(decoder, row.data(), 1), TEKO_OK);
        const auto expected = shape.samples.begin() + static_cast<std::ptrdiff_t>(y * shape.width);
        ASSERT_TRUE(std::equal(row.begin(), row.end(), expected)) << y;
    }
    teko_decoder_destroy(decoder);
}

} // namespace teko

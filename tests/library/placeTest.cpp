// SPDX-License-Identifier: Apache-2.0
// Files go where the caller has a place for them, and ask for their very size.
#include "calls.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

// Places that a caller has given.
struct Places {
    std::vector<Bytes> given;
    bool refuses = false;

    static void* place(void* user, std::size_t bytes) {
        auto& self = *static_cast<Places*>(user);
        self.given.emplace_back(bytes);
        return self.refuses ? nullptr : self.given.back().data();
    }

    teko_options with(teko_options options) {
        options.place = place;
        options.user = this;
        return options;
    }
};

std::vector<teko_options> goals(const Picture& picture) {
    std::vector<teko_options> all = {options()};
    const std::size_t whole = encode(picture).file.size();
    for (std::size_t bytes = 14; bytes < whole + 8; bytes += 1 + bytes / 20) {
        all.push_back(toBytes(bytes));
        all.push_back(toRate(static_cast<double>(bytes) / static_cast<double>(whole + 8)));
    }
    return all;
}

} // namespace

TEST(LibraryPlace, OfAFileIsAskedForOnceAndAsLargeAsTheFile) {
    for (const Picture& shape : telltaleShapes()) {
        const Picture image = picture(Look::photograph, shape.kind, shape.width, shape.height);
        SCOPED_TRACE(testing::PrintToString(image));
        for (const char* const target : {"plain", "portable", static_cast<const char*>(nullptr)}) {
            for (teko_options goal : goals(image)) {
                goal.target = target;
                const Encoded expected = encode(image, goal);
                Places places;
                const teko_options given = places.with(goal);
                const teko_image description = image.description();
                teko_buffer file = noBuffer();
                const teko_status status = teko_encode(&description, addressOf(image.samples), &file, &given);
                ASSERT_EQ(status, expected.status);
                if (status < 0) {
                    continue;
                }
                ASSERT_EQ(places.given.size(), 1U);
                ASSERT_EQ(file.data, places.given[0].data());
                ASSERT_EQ(file.size, places.given[0].size());
                ASSERT_TRUE(places.given[0] == expected.file);
                teko_release(&file, &given);
                ASSERT_EQ(file.data, nullptr);
            }
        }
    }
}

TEST(LibraryPlace, IsAskedForByPushedImagesToo) {
    const Picture image = picture(Look::photograph, TEKO_RGB8, 40, 30);
    Places places;
    const teko_options given = places.with(options());
    const teko_image description = image.description();
    teko_encoder* encoder = nullptr;
    ASSERT_EQ(teko_encoder_create(&description, &given, &encoder), TEKO_OK);
    ASSERT_EQ(teko_encoder_push(encoder, addressOf(image.samples), 30), TEKO_OK);
    teko_buffer file = noBuffer();
    EXPECT_EQ(teko_encoder_finish(encoder, &file), TEKO_OK);
    teko_encoder_destroy(encoder);
    ASSERT_EQ(places.given.size(), 1U);
    EXPECT_TRUE(places.given[0] == encode(image).file);
}

TEST(LibraryPlace, ThatIsRefusedIsMissingMemory) {
    const Picture image = picture(Look::photograph, TEKO_GREY16, 40, 30);
    for (const char* const target : {"plain", static_cast<const char*>(nullptr)}) {
        Places places;
        places.refuses = true;
        teko_options given = places.with(options());
        given.target = target;
        const teko_image description = image.description();
        teko_buffer file = noBuffer();
        EXPECT_EQ(teko_encode(&description, addressOf(image.samples), &file, &given), TEKO_ERROR_OUT_OF_MEMORY);
        EXPECT_EQ(file.data, nullptr);
        EXPECT_EQ(file.size, 0U);
        EXPECT_EQ(places.given.size(), 1U);
    }
}

TEST(LibraryPlace, IsNotAskedForWhereTheCallerHasABuffer) {
    const Picture image = picture(Look::photograph, TEKO_GREY8, 40, 30);
    Places places;
    const teko_options given = places.with(options());
    const teko_image description = image.description();
    Bytes room(4000);
    teko_buffer file = noBuffer();
    file.data = room.data();
    file.capacity = room.size();
    EXPECT_EQ(teko_encode(&description, addressOf(image.samples), &file, &given), TEKO_OK);
    EXPECT_EQ(file.data, room.data());
    EXPECT_TRUE(places.given.empty());
}

} // namespace teko

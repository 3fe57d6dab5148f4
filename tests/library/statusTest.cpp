// SPDX-License-Identifier: Apache-2.0
// The library's words for the ends of the codec's steps, one by one: some come up for no image that there is.
#include "library/call.hpp"

#include <gtest/gtest.h>

#include <new>

namespace teko::library {

TEST(LibraryStatus, OfAnImageThatIsThereOrCutIsOk) {
    EXPECT_EQ(statusOf(Status::ok), TEKO_OK);
    EXPECT_EQ(statusOf(Status::cut), TEKO_OK);
}

TEST(LibraryStatus, OfEveryOtherEndSaysWhatIsWrong) {
    EXPECT_EQ(statusOf(Status::tooThin), TEKO_ERROR_SHAPE);
    EXPECT_EQ(statusOf(Status::tooLarge), TEKO_ERROR_SHAPE);
    EXPECT_EQ(statusOf(Status::noStream), TEKO_ERROR_TOO_SHORT);
    EXPECT_EQ(statusOf(Status::outOfRange), TEKO_ERROR_RANGE);
    EXPECT_EQ(statusOf(Status::outOfMemory), TEKO_ERROR_OUT_OF_MEMORY);
    EXPECT_EQ(statusOf(Status::unknownKind), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(statusOf(Status::sourceEnded), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(statusOf(Status::sinkFull), TEKO_ERROR_ARGUMENT);
}

TEST(LibraryStatus, OfACallThatThrowsIsThatOfMemoryOrOfAnArgument) {
    CallerMemory memory;
    EXPECT_EQ(inMemoryOf(memory, []() -> teko_status { throw std::bad_alloc(); }), TEKO_ERROR_OUT_OF_MEMORY);
    EXPECT_EQ(inMemoryOf(memory, []() -> teko_status { throw 5; }), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(inMemoryOf(memory, [] { return TEKO_CUT; }), TEKO_CUT);
}

} // namespace teko::library

// SPDX-License-Identifier: Apache-2.0
// What an encoder leaves behind, wherever it writes to.
#pragma once

#include "support/bitStreams.hpp"
#include "support/codedStreams.hpp"
#include "support/fastCoding.hpp"
#include "support/laidOutImage.hpp"
#include "support/targets.hpp"

namespace teko {

template <typename T>
struct Written {
    LaidOutImage<T> image; // with folded values
    Bytes bytes;           // all of the writer's memory, or of its file
    int thrown;
    WriterState state;
};

template <typename T>
testing::AssertionResult sameWriting(const Written<T>& actual, const Written<T>& expected) {
    if (actual.thrown != expected.thrown) {
        return testing::AssertionFailure() << actual.thrown << " is thrown instead of " << expected.thrown;
    }
    if (!(actual.state == expected.state)) {
        return testing::AssertionFailure() << actual.state << " instead of " << expected.state;
    }
    if (actual.bytes != expected.bytes) {
        const auto [there, here] = std::mismatch(expected.bytes.begin(), expected.bytes.end(), actual.bytes.begin());
        static_cast<void>(here);
        return testing::AssertionFailure()
               << "other bytes from " << there - expected.bytes.begin() << " on, of " << expected.bytes.size();
    }
    return sameMemory(actual.image, expected.image);
}

// With a fast target for images that suit it.
template <typename T>
int writeWith(Target target, LaidOutImage<T>& image, BitStreamer& out) {
    if (target == Target::plain) {
        return thrownBy([&] { Wavelet<T>().writeWavelet(&*image, out); });
    }
    EXPECT_TRUE(suitsFastEncoder(*image));
    return thrownBy([&] { writeFast(*image, target, out); });
}

// Into a memory writer that holds so many bytes and has taken some bits already.
template <typename T>
Written<T> writtenToMemory(const LaidOutImage<T>& image, Target target, std::size_t capacity, const Bits& before = {}) {
    Written<T> result{image, {}, 0, {}};
    MemoryWriter writer(capacity, before);
    result.thrown = writeWith(target, result.image, writer.stream);
    result.bytes = writer.content();
    result.state = stateOf(writer.stream);
    EXPECT_TRUE(writer.fenceIsIntact()) << capacity << " bytes";
    return result;
}

// Into a file, through a buffer of so many words.
template <typename T>
Written<T> writtenToFile(const LaidOutImage<T>& image, Target target, std::int64_t turn) {
    Written<T> result{image, {}, 0, {}};
    const ScratchFile file;
    BitStreamer stream;
    stream.setUpFileWriter(file.get());
    stream.size = turn;
    result.thrown = writeWith(target, result.image, stream);
    result.bytes = file.contents();
    result.state = stateOf(stream);
    return result;
}

// The stream that the plain procedures write, with so many bits before it.
template <typename T>
Bytes plainStream(const LaidOutImage<T>& image, const Bits& before = {}) {
    const std::size_t room = ampleRoom(*image) + before.size() / 8 + 1;
    const Written<T> written = writtenToMemory(image, Target::plain, room, before);
    const auto bits = static_cast<std::size_t>(32 * written.state.words) +
                      static_cast<std::size_t>(std::countr_zero(written.state.mask));
    return prefix(written.bytes, (bits + 7) / 8);
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// What a decoder makes of a stream, wherever it reads from.
#pragma once

#include "support/bitStreams.hpp"
#include "support/codedStreams.hpp"
#include "support/fastCoding.hpp"
#include "support/laidOutImage.hpp"
#include "support/targets.hpp"

#include <optional>

namespace teko {

// Where a stream is read from: memory, or a file through a buffer of so many words.
struct Source {
    std::optional<std::int64_t> turn = {};
    int bitsBefore = 0; // read by others
};

constexpr Source fromMemory{};
constexpr Source fromFile{BitStreamer::fileBufferWords};

inline std::ostream& operator<<(std::ostream& stream, const Source& source) {
    if (source.turn) {
        stream << "file, " << *source.turn << " words at a time";
    } else {
        stream << "memory";
    }
    return stream << ", " << source.bitsBefore << " bits before";
}

template <typename T>
struct Decoded {
    LaidOutImage<T> image;
    int result = -1; // -1 when it threw
    int thrown = 0;
    std::vector<int> following = {}; // the bits behind a complete stream; -1 when there are no more
};

template <typename T>
testing::AssertionResult sameReading(const Decoded<T>& actual, const Decoded<T>& expected) {
    if (actual.result != expected.result || actual.thrown != expected.thrown) {
        return testing::AssertionFailure() << "result " << actual.result << ", thrown " << actual.thrown
                                           << " instead of " << expected.result << ", " << expected.thrown;
    }
    if (actual.following != expected.following) {
        return testing::AssertionFailure() << "the reader stands elsewhere";
    }
    return sameMemory(actual.image, expected.image);
}

// Reads into an image like this one.
template <typename T>
Decoded<T> decoded(const LaidOutImage<T>& like, Target target, const Bytes& payload, const Source& source) {
    Decoded<T> result{like};
    MemoryReader memory(payload);
    const ScratchFile file(source.turn ? payload : Bytes{});
    BitStreamer fileReader;
    if (source.turn) {
        fileReader.setUpFileReader(file.get());
        fileReader.size = *source.turn;
    }
    BitStreamer& in = source.turn ? fileReader : memory.stream;
    result.thrown = thrownBy([&] {
        in.getBits(source.bitsBefore);
        result.result = target == Target::plain ? Wavelet<T>().readWavelet(&*result.image, in)
                                                : readFast(*result.image, target, in);
    });
    for (int i = 0; i < 70 && result.result == 0; ++i) {
        int bit = -1;
        thrownBy([&] { bit = static_cast<int>(in.getBit()); });
        result.following.push_back(bit);
    }
    return result;
}

// Reads with every target what the plain one reads, and compares.
template <typename T>
Decoded<T> expectPlainReading(const LaidOutImage<T>& like, const Bytes& payload, const Source& source = fromMemory) {
    const Decoded<T> expected = decoded(like, Target::plain, payload, source);
    for (const Target target : sampledTargets()) {
        EXPECT_TRUE(sameReading(decoded(like, target, payload, source), expected))
            << target << ", " << payload.size() << " bytes from " << source;
    }
    return expected;
}

} // namespace teko

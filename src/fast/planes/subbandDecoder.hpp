// SPDX-License-Identifier: Apache-2.0
// The decoder's work on the bit planes of classes, which stay sliced until their values are asked for.
#pragma once

#include "coding/subband.hpp"
#include "fast/planes/decoderRuns.hpp"
#include "memory/memory.hpp"
#include "memory/pageBuffer.hpp"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <type_traits>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

// The refinement bits of one word near the end of what the reader holds, one by one. When the stream ends among them,
// the rest of the plane is clear.
template <typename T>
void readCarefully(SubbandState<T>& state, int b, std::int64_t i, int w, StreamView& in) {
    PlaneWord& plane = state.block(i).plane(b)[w];
    plane = 0;
    state.refinedInWord = 0;
    try {
        for (Word left = state.block(i).significant()[w]; left != 0; left &= left - 1) {
            const Word target = left & (0 - left);
            plane |= in.read(1) != 0 ? target : 0;
            state.refinedInWord |= target;
        }
    } catch (int) {
        state.stoppedIn = i * state.rowWords + w;
        std::fill(&plane + 1, &state.block(i).plane(b)[state.rowWords], Word{0});
        for (std::int64_t rest = i + 1; rest < state.blocks(); ++rest) {
            std::fill_n(state.block(rest).plane(b), state.rowWords, Word{0});
        }
        throw;
    }
}

// Words of a plane from the stream, which has enough for all of them. The view is a copy: every store to the plane
// could change the stream's own, for all the compiler knows (1.02 times on decoding grey photographs).
inline StreamView readRefinements(StreamView in, const PlaneWord* significant, PlaneWord* plane, int words) {
    for (int w = 0; w < words; ++w) {
        const Word targets = significant[w];
        plane[w] = depositBits(in.peek(), targets);
        in.skip(static_cast<std::uint64_t>(countBits(targets)));
    }
    return in;
}

// Fills plane b, which holds nothing yet.
template <typename T>
void readRefinements(SubbandState<T>& state, int b, StreamView& in) {
    if (state.significantCount == 0) {
        state.clearPlane(b);
        return;
    }
    for (std::int64_t i = 0; i < state.blocks(); ++i) {
        const Block block = state.block(i);
        PlaneWord* plane = block.plane(b);
        const PlaneWord* significant = block.significant();
        const int words = state.words(i);
        if (in.has(64 * static_cast<std::uint64_t>(words))) {
            in = readRefinements(in, significant, plane, words);
            continue;
        }
        for (int w = 0; w < words; ++w) {
            const auto n = static_cast<std::uint64_t>(countBits(significant[w]));
            if (in.has(n)) {
                in = readRefinements(in, significant + w, plane + w, 1);
            } else {
                readCarefully(state, b, i, w, in);
            }
        }
    }
}

// Everything that the loop needs is local: a store to a plane could change a member, for all the compiler knows.
template <typename T>
void markSignificant(SubbandState<T>& state, int b, std::int64_t i, const CandidateBits& found) {
    PlaneWord* significant = state.block(i).significant();
    PlaneWord* signs = state.block(i).signs();
    PlaneWord* plane = state.block(i).plane(b);
    const int words = state.words(i);
    const Word lastValid = ~Word{0} >> (std::int64_t{64} * words - state.samples(i));
    std::uint64_t candidate = 0;
    std::uint64_t placed = 0;
    for (int w = 0; w < words; ++w) {
        const Word candidates = ~significant[w] & (w == words - 1 ? lastValid : ~Word{0});
        const Word events = depositBits(found.events.at(candidate), candidates);
        if (isDepositFast || events != 0) { // a test that nobody can predict
            const int count = countBits(events);
            signs[w] |= depositBits(found.signs.at(placed, count), events);
            plane[w] |= events;
            significant[w] |= events;
            placed += static_cast<std::uint64_t>(count);
        }
        candidate += static_cast<std::uint64_t>(countBits(candidates));
    }
    assert(placed <= state.candidates[i]);
    state.significantCount += static_cast<std::int64_t>(placed);
    state.highestPlane = std::max(state.highestPlane, placed > 0 ? b : -1);
    state.candidates[i] -= static_cast<std::uint32_t>(placed);
}

template <typename T, typename Runs>
void readRunsOf(SubbandState<T>& state, int b, Runs& runs) {
    CandidateBits found;
    for (std::int64_t i = 0; i < state.blocks(); ++i) {
        try {
            if (runs.next(state.candidates[i], found)) {
                markSignificant(state, b, i, found);
            }
        } catch (int) {
            markSignificant(state, b, i, found);
            throw;
        }
    }
    runs.finish();
}

template <typename T>
void readRuns(SubbandState<T>& state, int b, StreamView& in) {
    const int k = static_cast<int>(in.read(5));
    const auto candidates = static_cast<std::uint64_t>(state.count - state.significantCount);
    if (k == 0) {
        BitmapRunDecoder runs(in);
        readRunsOf(state, b, runs);
    } else if (k == 2) {
        TableRunDecoder<2> runs(in, candidates);
        readRunsOf(state, b, runs);
    } else if (k == 3) {
        TableRunDecoder<3> runs(in, candidates);
        readRunsOf(state, b, runs);
    } else {
        LongRunDecoder runs(in, k, candidates);
        readRunsOf(state, b, runs);
    }
    const std::uint64_t events = candidates - static_cast<std::uint64_t>(state.count - state.significantCount);
    state.contradictsItself |= k != runLengthParameter(events, candidates);
}

// Gives every significant coefficient the middle of the interval that the decoded planes leave open.
template <typename T>
void setMidpoints(SubbandState<T>& state) {
    const int b = state.lowestPlane;
    if (b > highestSlicedPlane<T>) {
        return;
    }
    for (std::int64_t i = 0; i < state.blocks(); ++i) {
        const Block block = state.block(i);
        for (int w = 0; w < state.words(i); ++w) {
            const std::int64_t word = i * state.rowWords + w;
            const bool stoppedBefore = state.stoppedIn >= 0 && word > state.stoppedIn;
            Word refined = stoppedBefore ? 0 : block.significant()[w];
            if (word == state.stoppedIn) {
                refined = state.refinedInWord;
            }
            block.plane(b)[w] |= block.significant()[w] & ~refined;
            if (b > 0) {
                block.plane(b - 1)[w] = refined;
            }
        }
    }
    state.lowestPlane = std::max(0, b - 1);
}

inline constexpr Word emptyRow[mostRowWords] = {};

// The rows of a block from which its values are made: an empty one for each that the stream did not fill, or only with
// zeros.
template <typename T>
struct FilledRows {
    const PlaneWord* rows[8 * sizeof(RowSample<T>)]; // of the bits of values

    FilledRows(const Block& block, int lowestPlane, int highestPlane) {
        std::fill(std::begin(rows), std::end(rows), emptyRow);
        rows[0] = block.signs();
        for (int b = lowestPlane; b <= highestPlane; ++b) {
            rows[b + 1] = block.plane(b);
        }
    }

    // Of the values.
    bool isByteEmpty(int byte) const {
        return std::all_of(rows + 8 * byte, rows + 8 * byte + 8, [](const PlaneWord* row) { return row == emptyRow; });
    }
    // The lowest bytes of the values: all others are empty.
    int bytesUsed() const {
        int bytes = static_cast<int>(sizeof(RowSample<T>));
        while (bytes > 1 && isByteEmpty(bytes - 1)) {
            --bytes;
        }
        return bytes;
    }
};

constexpr int valuesAtOnce = 64 * unslicedAtOnce;

// Values from their folded forms, whose bytes lie apart.
template <int bytes, typename V>
void unfold(const unsigned char (*parts)[valuesAtOnce], V* values) {
    using Narrow = std::conditional_t<bytes <= 2, std::int16_t, V>;
    for (int j = 0; j < valuesAtOnce; ++j) {
        Unsigned<Narrow> folded = 0;
        for (int i = 0; i < bytes; ++i) {
            folded = static_cast<Unsigned<Narrow>>(folded | Unsigned<Narrow>{parts[i][j]} << (8 * i));
        }
        const auto sign = static_cast<Narrow>(-(folded & 1));
        const auto magnitude = static_cast<Narrow>(folded >> 1);
        values[j] = static_cast<Narrow>((magnitude ^ sign) - sign);
    }
}

// The values of `words` words of a block, and of up to seven words more.
template <int bytes, typename T, typename V>
void unslice(const FilledRows<T>& filled, int words, V* values) {
    unsigned char parts[bytes][valuesAtOnce] = {};
    for (int w = 0; w < words; w += unslicedAtOnce) {
        for (int i = 0; i < bytes; ++i) {
            if (!filled.isByteEmpty(i)) {
                unsliceRows(filled.rows + 8 * i, w, parts[i]);
            }
        }
        unfold<bytes>(parts, values + 64 * w);
    }
}

// As many bytes as the block needs (1.06 to 1.09 times on whole decodes of 16 bits).
template <typename T, typename V>
void unslice(const FilledRows<T>& filled, int words, V* values) {
    const int bytes = filled.bytesUsed();
    if (bytes == 1) {
        unslice<1>(filled, words, values);
    } else if (bytes == 2) {
        unslice<2>(filled, words, values);
    } else {
        unslice<static_cast<int>(sizeof(V))>(filled, words, values);
    }
}

// Makes the values of a class, in order, when they are asked for: as numbers V that can hold them.
template <typename T, typename V>
class SubbandReader {
public:
    explicit SubbandReader(const SubbandState<T>& classState) : state(classState) {}

    // The next n values; they stay until the next call. Most lie in one block and are used where they were made: copies
    // of all took one part in a hundred of a decode.
    const V* take(std::int64_t n) {
        if (made - next < n) {
            makeMore(n);
        }
        next += n;
        return values.data() + next - n;
    }

private:
    void makeMore(std::int64_t n) {
        std::copy(values.data() + next, values.data() + made, values.data());
        made -= next;
        next = 0;
        values.resize(std::max(values.size(), static_cast<std::size_t>(n + state.samplesInBlock())));
        while (made < n) {
            makeBlock(values.data() + made);
            made += state.samples(block++);
        }
    }

    void makeBlock(V* to) {
        assert(block < state.blocks());
        const FilledRows<T> filled(state.block(block), state.lowestPlane, state.highestPlane);
        unslice(filled, state.words(block), to);
    }

    const SubbandState<T>& state;
    Vector<V> values;
    std::int64_t block = 0;
    std::int64_t made = 0; // of the values
    std::int64_t next = 0;
};

// Reads all segments into channels with their classes. Returns 1 when the stream ended early, else 0.
template <typename Channel>
int readSegments(Vector<Channel>& channels, int levels, int topPlane, ByteStreamer& stream) {
    StreamView in(stream);
    try {
        forEachSegmentPair(static_cast<int>(channels.size()), levels, topPlane, [&](int channel, int c, int b) {
            auto& state = channels[static_cast<std::size_t>(channel)].classes[c];
            if (state.significantCount > 0) {
                state.lowestPlane = b;
            }
            readRefinements(state, b, in);
            state.lowestPlane = b;
            readRuns(state, b, in);
            return true;
        });
        in.detach();
        return 0;
    } catch (int) {
        for (Channel& channel : channels) {
            for (int c = 0; c <= levels; ++c) {
                setMidpoints(channel.classes[c]);
            }
        }
        return 1;
    }
}

// The classes of all channels, one behind the other in memory.
template <typename T>
class SlicedChannels {
public:
    // What images with planes up to topPlane take.
    static std::size_t bytesFor(const ImageShape& shape, int topPlane) {
        std::int64_t words = 0;
        for (int c = 0; c <= shape.levels; ++c) {
            words += wordsFor(classSamples(shape, c), rowsUpTo(topPlane));
        }
        return static_cast<std::size_t>(shape.channels) * static_cast<std::size_t>(words) * sizeof(Word);
    }

    // In memory of bytesFor(shape, topPlane) bytes, all of which it writes to. The memory is not owned.
    SlicedChannels(const ImageShape& shape, int topPlane, unsigned char* memory)
        : rows(rowsUpTo(topPlane)), channels(static_cast<std::size_t>(shape.channels)) {
        std::int64_t blocks = 0;
        for (int c = 0; c <= shape.levels; ++c) {
            blocks += blocksFor(classSamples(shape, c));
        }
        counts.resize(channels.size() * static_cast<std::size_t>(blocks));
        place(shape, reinterpret_cast<PlaneWord*>(memory));
    }

    struct Channel {
        SubbandState<T> classes[maximumClasses];
    };

    Vector<Channel>& all() { return channels; }
    const Vector<Channel>& all() const { return channels; }
    const Channel& of(int channel) const { return channels[static_cast<std::size_t>(channel)]; }

private:
    static std::int64_t blocksFor(std::int64_t samples) {
        const std::int64_t samplesInBlock = std::int64_t{64} * rowWordsFor(samples);
        return (samples + samplesInBlock - 1) / samplesInBlock;
    }
    static std::int64_t wordsFor(std::int64_t samples, int rows) {
        return blocksFor(samples) * rows * rowWordsFor(samples);
    }

    void place(const ImageShape& shape, PlaneWord* next) {
        std::uint32_t* nextCount = counts.data();
        for (Channel& channel : channels) {
            for (int c = 0; c <= shape.levels; ++c) {
                const std::int64_t samples = classSamples(shape, c);
                channel.classes[c].place(next, rows, samples, nextCount);
                next += wordsFor(samples, rows);
                nextCount += blocksFor(samples);
            }
        }
    }

    int rows;
    Vector<std::uint32_t> counts;
    Vector<Channel> channels;
};

template <typename T>
class SlicedClasses final : public SlicedImage<T> {
public:
    explicit SlicedClasses(const ImageShape& imageShape)
        : shape(imageShape), memory(SlicedChannels<T>::bytesFor(shape, highestSlicedPlane<T>)) {}

    int read(int topPlane, ByteStreamer& stream) override {
        assert(topPlane <= highestSlicedPlane<T> && !sliced);
        memory.adviseHugePages(SlicedChannels<T>::bytesFor(shape, topPlane));
        SlicedChannels<T>& channels = sliced.emplace(shape, topPlane, memory.data());
        const int endedEarly = readSegments(channels.all(), shape.levels, topPlane, stream);
        for (auto& channel : channels.all()) {
            Vector<Readers>& ofChannel = readers.emplace_back();
            for (int c = 0; c <= shape.levels; ++c) {
                ofChannel.emplace_back(channel.classes[c]);
            }
        }
        return endedEarly;
    }

    bool contradictsItself() const override {
        const auto contradicts = [](const auto& channel) {
            return std::any_of(std::begin(channel.classes), std::end(channel.classes),
                               [](const SubbandState<T>& state) { return state.contradictsItself; });
        };
        return std::any_of(sliced->all().begin(), sliced->all().end(), contradicts);
    }

    const RowSample<T>* take(int channel, int c, std::int64_t n) override {
        return readersOf(channel, c).ofAny.take(n);
    }
    const std::int16_t* take16(int channel, int c, std::int64_t n) override {
        assert(magnitudeBits(channel, c) < 16);
        return readersOf(channel, c).ofSmall.take(n);
    }
    int magnitudeBits(int channel, int c) const override { return sliced->of(channel).classes[c].highestPlane + 1; }

private:
    // One of them is used.
    struct Readers {
        explicit Readers(const SubbandState<T>& state) : ofAny(state), ofSmall(state) {}

        SubbandReader<T, RowSample<T>> ofAny;
        SubbandReader<T, std::int16_t> ofSmall;
    };

    Readers& readersOf(int channel, int c) {
        return readers[static_cast<std::size_t>(channel)][static_cast<std::size_t>(c)];
    }

    ImageShape shape;
    // For the highest top plane that there can be, so that memory is refused before anything is read, whatever the
    // stream is; planes that it has not are never touched.
    PageBuffer memory;
    std::optional<SlicedChannels<T>> sliced;
    Vector<Vector<Readers>> readers; // [channel][class]
};

template <typename T>
std::unique_ptr<SlicedImage<T>> makeSliced(const ImageShape& shape) {
    return std::make_unique<SlicedClasses<T>>(shape);
}

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END

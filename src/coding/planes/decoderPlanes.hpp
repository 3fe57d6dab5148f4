// The decoder's work on bit planes. Included once per target, inside its region and namespace, after its bit
// operations and classRows.hpp. No include guard, no includes.
//
// While decoding, the coefficients lie class by class and sliced in the memory of their own plane: a block of 16,384
// samples of 16 (32) bits is 16 (32) rows of 256 words. Row 0 holds the signs, row b + 1 bit plane b, and the last
// row, which no folded value needs, what is significant. Rows are as long as that because a pass over one bit plane
// of a large image then reads memory in long stretches (100 megapixels: 1.3 times faster than with 64 words).

constexpr int blockWords = 256;
constexpr int blockSamples = 64 * blockWords;

template <typename T>
constexpr int blockRows = 8 * static_cast<int>(sizeof(Value<T>));

using Word = std::uint64_t;

// A word in memory that was allocated for samples.
using PlaneWord [[gnu::may_alias]] = std::uint64_t;

template <typename T>
struct Block {
    PlaneWord* words;

    PlaneWord* row(int r) const { return words + r * blockWords; }
    PlaneWord* signs() const { return row(0); }
    PlaneWord* plane(int b) const { return row(b + 1); }
    PlaneWord* significant() const { return row(blockRows<T> - 1); }
};

template <typename T>
constexpr int blockSize = blockRows<T>* blockWords; // in words

inline Word loadLittleEndian(const unsigned char* from) {
    Word value = 0;
    if constexpr (std::endian::native == std::endian::big) {
        for (int i = 0; i < 8; ++i) {
            value |= static_cast<Word>(from[i]) << (8 * i);
        }
    } else {
        std::memcpy(&value, from, sizeof value);
    }
    return value;
}

// The bits in a reader's buffer, as long as enough are there; the rest is read carefully, bit by bit, with what
// the reader does at its end.
class StreamView {
public:
    explicit StreamView(BitStreamer& stream) : in(stream) { attach(); }

    // Whether n bits may be taken from peek's result and as many skipped.
    bool has(std::uint64_t n) const { return place + n <= limit; }
    // The next 64 bits. Needs has(0).
    Word peek() const {
        const unsigned char* bytes = data + place / 8;
        const unsigned shift = place % 8;
        return loadLittleEndian(bytes) >> shift | static_cast<Word>(bytes[8]) << 1 << (63 - shift);
    }
    void skip(std::uint64_t n) { place += n; }
    void unskip(std::uint64_t n) { place -= n; }

    // Up to 32 bits, wherever they come from. Throws what the reader throws; the stream stands there then.
    std::uint32_t read(int n) {
        if (has(32)) {
            const Word bits = peek();
            skip(static_cast<std::uint64_t>(n));
            return static_cast<std::uint32_t>(bits & ((Word{1} << n) - 1));
        }
        detach();
        const std::uint32_t bits = in.getBits(n);
        attach();
        return bits;
    }

    // Puts the stream where the view stands.
    void detach() {
        in.cursor = in.buffer + place / 32;
        in.current = 1;
        if (const unsigned used = place % 32) {
            in.current = littleEndian(*in.cursor++) >> used | 1U << (32 - used);
        }
    }

private:
    void attach() {
        const int left = 31 - std::countl_zero(in.current);
        data = reinterpret_cast<const unsigned char*>(in.buffer);
        place = 32 * static_cast<std::uint64_t>(in.words()) - static_cast<std::uint64_t>(left);
        constexpr std::uint64_t reach = 72; // what peek touches
        const std::uint64_t bits = 32 * static_cast<std::uint64_t>(in.size);
        limit = bits < reach ? 0 : bits - reach;
    }

    BitStreamer& in;
    const unsigned char* data = nullptr;
    std::uint64_t place = 0; // in bits
    std::uint64_t limit = 0; // has(0) up to here
};

// One class of one channel.
template <typename T>
class ClassState {
public:
    void place(PlaneWord* memory, PlaneWord* tailMemory, long fullBlocks, long samples) {
        full = memory;
        tail = tailMemory;
        fullCount = fullBlocks;
        count = samples;
        significantCount = 0;
        lowestPlane = highestSlicedPlane<T> + 1;
        stoppedIn = -1;
    }

    long blocks() const { return (count + blockSamples - 1) / blockSamples; }
    Block<T> block(long i) const {
        return {i < fullCount ? full + i * blockSize<T> : tail + (i - fullCount) * blockSize<T>};
    }
    int words(long i) const {
        return i + 1 < blocks() ? blockWords : static_cast<int>((count - i * blockSamples + 63) / 64);
    }
    Word valid(long i, int w) const {
        const long left = count - i * blockSamples - 64L * w;
        return left >= 64 ? ~Word{0} : ~Word{0} >> (64 - left);
    }

    PlaneWord* full; // blocks in the plane
    PlaneWord* tail; // and behind them
    long fullCount;  // of blocks
    long count;      // of samples
    long significantCount;
    int lowestPlane;    // decoded, be it in part
    long stoppedIn;     // the word where the refinement of the lowest plane ended early, -1 if it did not
    Word refinedInWord; // the coefficients of that word that it reached
};

template <typename T>
void readRefinements(ClassState<T>& state, int b, StreamView& in) {
    if (state.significantCount == 0) {
        return;
    }
    for (long i = 0; i < state.blocks(); ++i) {
        const Block<T> block = state.block(i);
        PlaneWord* plane = block.plane(b);
        const PlaneWord* significant = block.significant();
        for (int w = 0; w < state.words(i); ++w) {
            const Word targets = significant[w];
            const auto n = static_cast<std::uint64_t>(std::popcount(targets));
            if (in.has(n)) {
                plane[w] = depositBits(in.peek(), targets);
                in.skip(n);
                continue;
            }
            state.stoppedIn = i * blockWords + w;
            state.refinedInWord = 0;
            for (Word left = targets; left != 0; left &= left - 1) {
                const Word target = left & (0 - left);
                plane[w] |= in.read(1) != 0 ? target : 0;
                state.refinedInWord |= target;
            }
            state.stoppedIn = -1;
        }
    }
}

// A stretch of a class is decoded in two steps: first its codes into bitmaps over its candidates, in tight loops
// that see nothing of the image, then the bitmaps into their places (1.6 times faster than word by word).
constexpr int stretchBlocks = 1;
constexpr int stretchWords = stretchBlocks * blockWords;

// What a run segment says of the next candidates: whether each is an event, and the signs of events.
struct CandidateBits {
    static constexpr int spare = 3; // words that may be written and read beyond a stretch
    Word events[stretchWords + spare];
    Word signs[stretchWords + spare];

    void clear(std::uint64_t candidates) {
        const std::size_t words = candidates / 64 + spare;
        std::fill_n(events, words, Word{0});
        std::fill_n(signs, words, Word{0});
    }
    void setEvent(std::uint64_t candidate, Word sign) {
        events[candidate / 64] |= Word{1} << candidate % 64;
        signs[candidate / 64] |= sign << candidate % 64;
    }
    static Word at(const Word* bits, std::uint64_t candidate) {
        const unsigned shift = candidate % 64;
        return bits[candidate / 64] >> shift | bits[candidate / 64 + 1] << 1 << (63 - shift);
    }
};

// Candidates that were decoded together with those of a stretch and belong to the next. Fewer than 64.
class WaitingCandidates {
public:
    std::uint64_t count = 0; // including those of the stretch that is being decoded

    void startStretch(std::uint64_t candidates, CandidateBits& found) const {
        found.clear(candidates);
        found.events[0] = events;
        found.signs[0] = signs;
    }
    // Puts up to 64 candidates behind `place` others.
    static void put(CandidateBits& found, std::uint64_t place, Word newEvents, Word newSigns) {
        const std::uint64_t word = place / 64;
        const unsigned shift = place % 64;
        found.events[word] |= newEvents << shift;
        found.signs[word] |= newSigns << shift;
        found.events[word + 1] = newEvents >> 1 >> (63 - shift);
        found.signs[word + 1] = newSigns >> 1 >> (63 - shift);
    }
    void finishStretch(std::uint64_t candidates, const CandidateBits& found) {
        count -= candidates;
        const Word mask = (Word{1} << count) - 1;
        events = CandidateBits::at(found.events, candidates) & mask;
        signs = CandidateBits::at(found.signs, candidates) & mask;
    }
    std::uint64_t eventCount() const { return static_cast<std::uint64_t>(std::popcount(events)); }

private:
    Word events = 0;
    Word signs = 0;
};

// Segments with k = 0: a bit for every candidate, and a sign behind every one. Takes 64 bits of the stream at a
// time.
class DenseRuns {
public:
    explicit DenseRuns(StreamView& stream) : in(stream) {}

    // Decodes so many candidates more; returns false, with nothing in `found`, when none of them is an event.
    // Throws what the reader throws, with the events up to there in `found`.
    bool next(std::uint64_t candidates, CandidateBits& found) {
        waiting.startStretch(candidates, found);
        while (waiting.count < candidates && in.has(65)) {
            takeWindow(found);
        }
        if (waiting.count < candidates) {
            readCarefully(candidates, found);
        }
        waiting.finishStretch(candidates, found);
        return true;
    }

    // Gives back what was read beyond the last candidate.
    void finish() {
        in.skip(signIsNext);
        in.unskip(waiting.count + waiting.eventCount());
    }

private:
    // A sign is the bit behind a one that is no sign itself: of a run of ones, every other bit from the second
    // on. Adding carries through the runs that start at odd places. Source: the escaped characters of G. Langdale
    // and D. Lemire, "Parsing Gigabytes of JSON per Second", The VLDB Journal 28 (2019).
    Word signPlaces(Word bits) {
        constexpr Word evenPlaces = 0x5555555555555555U;
        const Word first = signIsNext;
        bits &= ~first;
        const Word behind = bits << 1 | first;
        const Word oddStarts = bits & ~evenPlaces & ~behind;
        const Word carried = oddStarts + bits;
        signIsNext = carried < bits ? 1 : 0;
        return (evenPlaces ^ carried << 1) & behind;
    }

    void takeWindow(CandidateBits& found) {
        const Word bits = in.peek();
        in.skip(1);
        const Word behind = in.peek();
        in.skip(63);
        const Word candidates = ~signPlaces(bits);
        const Word events = extractBits(bits, candidates);
        const Word signs = extractBits(behind, candidates) & events;
        WaitingCandidates::put(found, waiting.count, events, signs);
        waiting.count += static_cast<std::uint64_t>(std::popcount(candidates));
    }

    void readCarefully(std::uint64_t candidates, CandidateBits& found) {
        in.skip(signIsNext);
        signIsNext = 0;
        for (; waiting.count < candidates; ++waiting.count) {
            if (in.read(1) != 0) {
                found.setEvent(waiting.count, in.read(1));
            }
        }
    }

    StreamView& in;
    WaitingCandidates waiting;
    unsigned signIsNext = 0; // whether the next bit is the sign of the last candidate, which is known already
};

// Segments with a k that has a table: eleven bits at a time.
template <int k>
class TableRuns {
public:
    TableRuns(StreamView& stream, std::uint64_t candidates) : in(stream), left(candidates) {}

    // As DenseRuns.
    bool next(std::uint64_t candidates, CandidateBits& found) {
        waiting.startStretch(candidates, found);
        while (waiting.count < candidates) {
            if (left >= mostRunCandidates && in.has(64)) {
                takeWindow(candidates, found);
            } else {
                readCarefully(found);
            }
        }
        waiting.finishStretch(candidates, found);
        return true;
    }

    void finish() {}

private:
    // All state is local: what is stored in `found` could change a member, for all the compiler knows.
    void takeWindow(std::uint64_t candidates, CandidateBits& found) {
        Word window = in.peek();
        unsigned used = 0;
        std::uint64_t place = waiting.count;
        const std::uint64_t end = std::min(candidates, place + left - mostRunCandidates + 1);
        while (used <= 64 - runWindowBits && place < end) {
            const RunDecodingStep step = runDecodingTable<k>.steps[window & ((1U << runWindowBits) - 1)];
            WaitingCandidates::put(found, place, step.events(), depositBits(step.signs(), step.events()));
            place += step.candidates();
            used += step.length();
            window >>= step.length();
        }
        left -= place - waiting.count;
        waiting.count = place;
        in.skip(used);
    }

    // One zero, or one code from its one on. What reaches beyond the last candidate is no event.
    void readCarefully(CandidateBits& found) {
        const bool isZero = in.read(1) == 0;
        const std::uint64_t passes = isZero ? std::uint64_t{1} << k : in.read(k);
        if (isZero || passes >= left) {
            const std::uint64_t counted = std::min(passes, left);
            waiting.count += counted;
            left -= counted;
            return;
        }
        waiting.count += passes;
        found.setEvent(waiting.count, in.read(1));
        ++waiting.count;
        left -= passes + 1;
    }

    StreamView& in;
    WaitingCandidates waiting;
    std::uint64_t left; // candidates of the segment that are not decoded
};

// Segments with any other k: runs of passes, each up to an event.
class SparseRuns {
public:
    SparseRuns(StreamView& stream, int parameter, std::uint64_t candidates)
        : in(stream), k(static_cast<unsigned>(parameter)), left(candidates) {
        readCodeCarefully();
    }

    // Decodes so many candidates more; returns false, with nothing in `found`, when none of them is an event.
    // Throws what the reader throws, with the events up to there in `found`.
    bool next(std::uint64_t candidates, CandidateBits& found) {
        if (gap >= candidates) {
            gap -= candidates;
            left -= candidates;
            return false;
        }
        found.clear(candidates);
        std::uint64_t start = 0;
        while (gap < candidates - start) {
            takeEvents(candidates, start, found);
            readCodeCarefully();
        }
        gap -= candidates - start;
        left -= candidates - start;
        return true;
    }

    void finish() {}

private:
    // Places events from `start` on, up to one whose successor is at the end of the stretch, of the segment or of
    // the buffer, or far away. Leaves no code read ahead. A code is in the same register as those before it: 64
    // bits last for several, and no step waits for memory.
    void takeEvents(std::uint64_t candidates, std::uint64_t& start, CandidateBits& found) {
        // The window is read at the stream's place and has lost 64 - valid bits at its bottom.
        Word window = 0;
        unsigned valid = 64;
        unsigned needed = 65; // refill at once
        const unsigned mostOfACode = k + 24;
        std::uint64_t place = start;
        std::uint64_t run = gap;
        std::uint64_t rest = left;
        Word signBit = sign;
        const Word remainderMask = (Word{1} << k) - 1;
        for (;;) {
            place += run;
            found.setEvent(place, signBit);
            ++place;
            rest -= run + 1;
            if (valid < needed) {
                in.skip(64 - valid);
                valid = 64;
                if (!in.has(64)) {
                    break;
                }
                window = in.peek();
                needed = mostOfACode;
            }
            const auto units = static_cast<unsigned>(std::countr_zero(window));
            const unsigned length = units + k + 2;
            const Word tail = window >> 1 >> (units & 63U);
            run = (static_cast<std::uint64_t>(units) << k) + (tail & remainderMask);
            if (length > valid || run >= candidates - place || run >= rest) {
                break;
            }
            signBit = tail >> k & 1;
            window = tail >> 1 >> k;
            valid -= length;
        }
        in.skip(64 - valid);
        start = place;
        left = rest;
    }

    // Sets gap to the passes before the next event, and sign; a gap that reaches the segment's end is no event.
    // Zeros are there only while they leave candidates; behind the last candidate there is nothing.
    void readCodeCarefully() {
        std::uint64_t passes = 0;
        gap = left;
        while (passes < left) {
            if (in.read(1) == 0) {
                passes += std::uint64_t{1} << k;
                continue;
            }
            passes += in.read(static_cast<int>(k));
            if (passes < left) {
                sign = in.read(1);
                gap = passes;
            }
            return;
        }
    }

    StreamView& in;
    unsigned k;
    std::uint64_t left; // candidates up to the segment's end
    std::uint64_t gap = 0;
    Word sign = 0;
};

template <typename T>
std::uint64_t candidatesIn(const ClassState<T>& state, long firstBlock, long lastBlock) {
    std::uint64_t significant = 0;
    for (long i = firstBlock; i <= lastBlock; ++i) {
        const PlaneWord* words = state.block(i).significant();
        for (int w = 0; w < blockWords; ++w) {
            significant += static_cast<std::uint64_t>(std::popcount(words[w]));
        }
    }
    const long samples = std::min(state.count, (lastBlock + 1) * blockSamples) - firstBlock * blockSamples;
    return static_cast<std::uint64_t>(samples) - significant;
}

template <typename T>
void placeEvents(ClassState<T>& state, int b, long firstBlock, long lastBlock, const CandidateBits& found) {
    std::uint64_t candidate = 0;
    long placed = 0;
    for (long i = firstBlock; i <= lastBlock; ++i) {
        const Block<T> block = state.block(i);
        for (int w = 0; w < state.words(i); ++w) {
            const Word candidates = ~block.significant()[w] & state.valid(i, w);
            const Word events = depositBits(CandidateBits::at(found.events, candidate), candidates);
            if (events != 0) {
                block.signs()[w] |= depositBits(CandidateBits::at(found.signs, candidate), candidates);
                block.plane(b)[w] |= events;
                block.significant()[w] |= events;
                placed += std::popcount(events);
            }
            candidate += static_cast<std::uint64_t>(std::popcount(candidates));
        }
    }
    state.significantCount += placed;
}

template <typename T, typename Runs>
void readRunsOf(ClassState<T>& state, int b, Runs& runs) {
    CandidateBits found;
    for (long first = 0; first < state.blocks(); first += stretchBlocks) {
        const long last = std::min(first + stretchBlocks, state.blocks()) - 1;
        const std::uint64_t candidates = candidatesIn(state, first, last);
        try {
            if (runs.next(candidates, found)) {
                placeEvents(state, b, first, last, found);
            }
        } catch (int) {
            placeEvents(state, b, first, last, found);
            throw;
        }
    }
    runs.finish();
}

template <typename T>
void readRuns(ClassState<T>& state, int b, StreamView& in) {
    const int k = static_cast<int>(in.read(5));
    const auto candidates = static_cast<std::uint64_t>(state.count - state.significantCount);
    if (k == 0) {
        DenseRuns runs(in);
        readRunsOf(state, b, runs);
    } else if (k == 2) {
        TableRuns<2> runs(in, candidates);
        readRunsOf(state, b, runs);
    } else if (k == 3) {
        TableRuns<3> runs(in, candidates);
        readRunsOf(state, b, runs);
    } else {
        SparseRuns runs(in, k, candidates);
        readRunsOf(state, b, runs);
    }
}

// Gives every significant coefficient the middle of the interval that the decoded planes leave open.
template <typename T>
void setMidpoints(ClassState<T>& state) {
    const int b = state.lowestPlane;
    if (b > highestSlicedPlane<T>) {
        return;
    }
    for (long i = 0; i < state.blocks(); ++i) {
        const Block<T> block = state.block(i);
        for (int w = 0; w < blockWords; ++w) {
            const long word = i * blockWords + w;
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
}

// Turns a block into its values in the same memory, `words` times 64 of them.
template <typename T>
void unslice(const Block<T>& block, int words, bool unfolds) {
    constexpr int bytes = static_cast<int>(sizeof(Value<T>));
    std::fill_n(block.significant(), blockWords, Word{0});
    Value<T> values[blockSamples];
    for (int w = 0; w < words; ++w) {
        unsigned char parts[bytes][64];
        for (int i = 0; i < bytes; ++i) {
            Word bits[8];
            for (int b = 0; b < 8; ++b) {
                bits[b] = block.row(8 * i + b)[w];
            }
            unsliceBytes(bits, parts[i]);
        }
        for (int j = 0; j < 64; ++j) {
            Value<T> value = 0;
            for (int i = 0; i < bytes; ++i) {
                value = static_cast<Value<T>>(value | parts[i][j] << (8 * i));
            }
            const auto sign = static_cast<Value<T>>(unfolds ? -(value & 1) : 0);
            const auto magnitude = static_cast<Value<T>>(unfolds ? value >> 1 : value);
            values[64 * w + j] = static_cast<Value<T>>((magnitude ^ sign) - sign);
        }
    }
    std::memcpy(block.words, values, static_cast<std::size_t>(64 * words) * sizeof(Value<T>));
}

// Takes values from where a class lies, in order.
template <typename T>
class ClassReader {
public:
    explicit ClassReader(const ClassState<T>& classState) : state(&classState) {}
    ClassReader() = default;

    void take(Value<T>* to, long n) {
        while (n > 0) {
            const long inFull = state->fullCount * blockSamples - taken;
            const long here = inFull > 0 ? std::min(n, inFull) : n;
            const auto* from = reinterpret_cast<const unsigned char*>(inFull > 0 ? state->full : state->tail);
            const long offset = inFull > 0 ? taken : -inFull;
            std::memcpy(to, from + offset * static_cast<long>(sizeof(Value<T>)),
                        static_cast<std::size_t>(here) * sizeof(Value<T>));
            taken += here;
            to += here;
            n -= here;
        }
    }

private:
    const ClassState<T>* state = nullptr;
    long taken = 0;
};

// One channel while it is being decoded.
template <typename T>
class ChannelState {
public:
    // Class 0 takes the end of the plane, the others its start: at the end, the plane is filled from the start,
    // and class 0 is read ahead of that. What is no full block lies in tails.
    ChannelState(T* samples, int w, int h, int levelCount) : plane(samples), width(w), height(h), levels(levelCount) {
        const long n = static_cast<long>(width) * height;
        std::fill_n(plane, n, T{0});
        long tailBlocks = 0;
        for (int c = 0; c <= levels; ++c) {
            tailBlocks += blocksOf(countOf(c)) - fullBlocks(c);
        }
        tails.reset(new Word[static_cast<std::size_t>(tailBlocks * blockSize<T>)]());
        auto* memory = reinterpret_cast<unsigned char*>(plane);
        PlaneWord* tail = tails.get();
        for (int c = levels; c >= 0; --c) {
            const long full = fullBlocks(c);
            if (c == 0) {
                const long start = n * static_cast<long>(sizeof(T)) - full * bytesInBlock;
                memory = reinterpret_cast<unsigned char*>(plane) + start / 8 * 8;
            }
            classes[c].place(reinterpret_cast<PlaneWord*>(memory), tail, full, countOf(c));
            memory += full * bytesInBlock;
            tail += (blocksOf(countOf(c)) - full) * blockSize<T>;
        }
    }

    // Turns what is decoded into values and puts them in their places. Needs memory for the samples outside
    // class 0: a quarter of the plane.
    void assemble(bool unfolds) {
        for (int c = 0; c <= levels; ++c) {
            for (long i = 0; i < classes[c].blocks(); ++i) {
                unslice(classes[c].block(i), classes[c].words(i), unfolds);
            }
        }
        const std::unique_ptr<Value<T>[]> coarse = copyCoarse();
        ClassReader<T> finest(classes[0]);
        const std::unique_ptr<Value<T>[]> rows(new Value<T>[static_cast<std::size_t>(3 * (width + 64))]);
        Value<T>* odd = rows.get();
        Value<T>* even = odd + width + 64;
        Value<T>* scratch = even + width + 64;
        for (int y = 0; y < height; ++y) {
            T* row = plane + static_cast<long>(y) * width;
            const int rowClass = subbandClass(0, y, levels);
            if (rowClass == 0) {
                finest.take(odd, width);
                copyRow(odd, width, row);
                continue;
            }
            finest.take(odd, width / 2);
            buildEven(coarse.get(), rowClass, even, odd + width / 2, scratch);
            mergePairs(even, odd, width / 2, row);
            if (width % 2 != 0) {
                row[width - 1] = even[width / 2];
            }
        }
    }

    ClassState<T> classes[maximumClasses];

private:
    static constexpr long bytesInBlock = blockSize<T> * static_cast<long>(sizeof(Word));

    long latticeCount(int c) const {
        const long step = 1L << c;
        return ((width + step - 1) / step) * ((height + step - 1) / step);
    }
    static long blocksOf(long samples) { return (samples + blockSamples - 1) / blockSamples; }
    // One block less of class 0 leaves room to align its start.
    long fullBlocks(int c) const { return std::max(0L, countOf(c) / blockSamples - (c == 0 ? 1 : 0)); }
    long countOf(int c) const { return latticeCount(c) - (c < levels ? latticeCount(c + 1) : 0); }

    template <typename To>
    static void mergePairs(const Value<T>* __restrict even, const Value<T>* __restrict odd, int pairs,
                           To* __restrict row) {
        for (int i = 0; i < pairs; ++i) {
            row[2 * i] = even[i];
            row[2 * i + 1] = odd[i];
        }
    }

    // The values of all classes but the finest, class by class; the plane's start is free then.
    std::unique_ptr<Value<T>[]> copyCoarse() {
        std::unique_ptr<Value<T>[]> coarse(new Value<T>[static_cast<std::size_t>(levels > 0 ? latticeCount(1) : 1)]);
        Value<T>* next = coarse.get();
        for (int c = 1; c <= levels; ++c) {
            ClassReader<T>(classes[c]).take(next, classes[c].count);
            starts[c] = next - coarse.get();
            next += classes[c].count;
        }
        return coarse;
    }

    // The samples at even columns of a row of class rowClass > 0, from those of the classes above 0.
    void buildEven(const Value<T>* coarse, int rowClass, Value<T>* even, Value<T>*, Value<T>* scratch) {
        int n = ((width - 1) >> rowClass) + 1;
        std::copy_n(coarse + starts[rowClass], n, even);
        starts[rowClass] += n;
        for (int c = rowClass - 1; c >= 1; --c) {
            const int whole = ((width - 1) >> c) + 1;
            std::copy_n(even, n, scratch);
            mergePairs(scratch, coarse + starts[c], whole / 2, even);
            if (whole % 2 != 0) {
                even[whole - 1] = scratch[whole / 2];
            }
            starts[c] += whole / 2;
            n = whole;
        }
    }

    T* plane;
    int width;
    int height;
    int levels;
    std::unique_ptr<Word[]> tails;
    long starts[maximumClasses] = {};
};

template <typename T>
void readSegments(std::vector<ChannelState<T>>& channels, int levels, int topPlane, StreamView& in) {
    for (int priority = topPlane + levels; priority >= 0; --priority) {
        for (ChannelState<T>& channel : channels) {
            for (int c = 0; c <= levels; ++c) {
                const int b = priority - c;
                if (b < 0 || b > topPlane) {
                    continue;
                }
                ClassState<T>& state = channel.classes[c];
                if (state.significantCount > 0) {
                    state.lowestPlane = b;
                }
                readRefinements(state, b, in);
                state.lowestPlane = b;
                readRuns(state, b, in);
            }
        }
    }
}

template <typename T>
int readCoefficients(ImageData<T>& image, int levels, int topPlane, bool unfolds, BitStreamer& stream) {
    std::vector<ChannelState<T>> channels;
    channels.reserve(3);
    for (int channel = 0; channel < image.channels; ++channel) {
        channels.emplace_back(image.planes[channel], image.width, image.height, levels);
    }
    int endedEarly = 0;
    StreamView in(stream);
    try {
        readSegments(channels, levels, topPlane, in);
        in.detach();
    } catch (int) {
        endedEarly = 1;
    }
    for (ChannelState<T>& channel : channels) {
        if (endedEarly != 0) {
            for (int c = 0; c <= levels; ++c) {
                setMidpoints(channel.classes[c]);
            }
        }
        channel.assemble(unfolds);
    }
    return endedEarly;
}

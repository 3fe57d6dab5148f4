// The decoder's work on bit planes. Included once per target, inside its region and namespace, after its bit
// operations and classRows.hpp. No include guard, no includes.
//
// While decoding, the coefficients lie class by class and sliced in the memory of their own plane: a chunk of 512
// samples of 16 (32) bits is 16 (32) rows of eight words. Row 0 holds the signs, row b + 1 bit plane b, and the
// last row, which no folded value needs, what is significant.

constexpr int blockWords = 8;
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

// Marks the places of bits that belong to the one before them: behind a one that is not marked itself. Runs of
// ones are marked from their second bit on, every other bit; adding carries through runs that start at odd
// places. Source: the escaped characters of G. Langdale and D. Lemire, "Parsing Gigabytes of JSON per Second",
// The VLDB Journal 28 (2019).
inline Word placesBehindOnes(Word bits) {
    constexpr Word evenPlaces = 0x5555555555555555U;
    const Word behind = bits << 1;
    const Word oddStarts = bits & ~evenPlaces & ~behind;
    const Word carried = oddStarts + bits;
    return (evenPlaces ^ carried << 1) & behind;
}

// What a run segment says of up to 64 candidates.
struct CandidateBits {
    Word events;
    Word signs; // of the events, in order
};

// Segments with k = 0: a bit for every candidate, and a sign behind every one.
class DenseRuns {
public:
    explicit DenseRuns(StreamView& stream) : in(stream) {}

    // Throws what the reader throws, with the events up to there in `found`.
    void next(int candidates, CandidateBits& found) {
        found = {};
        for (int start = 0; start < candidates; start += 32) {
            const int n = std::min(32, candidates - start);
            in.has(64) ? nextFast(start, n, found) : nextCareful(start, n, found);
        }
    }

private:
    void nextFast(int start, int n, CandidateBits& found) {
        const Word bits = in.peek();
        const Word candidates = depositBits((Word{1} << n) - 1, ~placesBehindOnes(bits));
        const Word events = extractBits(bits, candidates);
        const auto signs = extractBits(bits, (bits & candidates) << 1);
        found.signs |= signs << std::popcount(found.events);
        found.events |= events << start;
        in.skip(static_cast<std::uint64_t>(n + std::popcount(events)));
    }

    void nextCareful(int start, int n, CandidateBits& found) {
        for (int i = 0; i < n; ++i) {
            if (in.read(1) != 0) {
                const Word sign = in.read(1);
                found.signs |= sign << std::popcount(found.events);
                found.events |= Word{1} << (start + i);
            }
        }
    }

    StreamView& in;
};

// Segments with k > 0: runs of passes, each up to an event.
class SparseRuns {
public:
    SparseRuns(StreamView& stream, int parameter, std::uint64_t candidates)
        : in(stream), k(static_cast<unsigned>(parameter)), left(candidates) {
        readCode();
    }

    // Throws what the reader throws, with the events up to there in `found`.
    void next(int candidates, CandidateBits& found) {
        found = {};
        auto n = static_cast<std::uint64_t>(candidates);
        int count = 0;
        std::uint64_t start = 0;
        while (gap < n - start) {
            start += gap;
            found.events |= Word{1} << start;
            found.signs |= sign << count;
            ++count;
            ++start;
            left -= gap + 1;
            readCode();
        }
        gap -= n - start;
        left -= n - start;
    }

private:
    // Sets gap to the passes before the next event, and sign; a gap that reaches the segment's end is no event.
    void readCode() {
        if (in.has(64)) {
            const Word bits = in.peek();
            const auto units = static_cast<unsigned>(std::countr_zero(bits));
            const Word rest = bits >> 1 >> (units & 63U);
            gap = (static_cast<std::uint64_t>(units) << k) + (rest & ((Word{1} << k) - 1));
            sign = rest >> k & 1;
            const unsigned length = units + 1 + k + 1;
            if (length <= 64 && gap < left) {
                in.skip(length);
                return;
            }
        }
        readCodeCareful();
    }

    // Zeros are there only while they leave candidates; behind the last candidate there is nothing.
    void readCodeCareful() {
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

template <typename T, typename Runs>
void placeEvents(ClassState<T>& state, int b, Runs& runs) {
    for (long i = 0; i < state.blocks(); ++i) {
        const Block<T> block = state.block(i);
        for (int w = 0; w < state.words(i); ++w) {
            PlaneWord& significant = block.significant()[w];
            const Word candidates = ~significant & state.valid(i, w);
            CandidateBits found;
            const auto place = [&] {
                const Word events = depositBits(found.events, candidates);
                significant |= events;
                block.plane(b)[w] |= events;
                block.signs()[w] |= depositBits(found.signs, events);
                state.significantCount += std::popcount(events);
            };
            try {
                runs.next(std::popcount(candidates), found);
            } catch (int) {
                place();
                throw;
            }
            if (found.events != 0) {
                place();
            }
        }
    }
}

template <typename T>
void readRuns(ClassState<T>& state, int b, StreamView& in) {
    const int k = static_cast<int>(in.read(5));
    if (k == 0) {
        DenseRuns runs(in);
        placeEvents(state, b, runs);
    } else {
        SparseRuns runs(in, k, static_cast<std::uint64_t>(state.count - state.significantCount));
        placeEvents(state, b, runs);
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
    ChannelState(T* samples, int w, int h, int levelCount)
        : plane(samples), width(w), height(h), levels(levelCount), tails(new Word[maximumClasses * tailWords]()) {
        const long n = static_cast<long>(width) * height;
        std::fill_n(plane, n, T{0});
        auto* memory = reinterpret_cast<unsigned char*>(plane);
        for (int c = levels; c >= 0; --c) {
            const long samplesInClass = countOf(c);
            long full = samplesInClass / blockSamples;
            if (c == 0 && full > 0) {
                --full; // leaves room to align its start
                const long start = n * static_cast<long>(sizeof(T)) - full * bytesInBlock;
                memory = reinterpret_cast<unsigned char*>(plane) + start / 8 * 8;
            }
            classes[c].place(reinterpret_cast<PlaneWord*>(memory), tails.get() + c * tailWords, full, samplesInClass);
            memory += full * bytesInBlock;
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
    static constexpr int tailBlocks = 2;
    static constexpr int tailWords = tailBlocks * blockSize<T>;
    static constexpr long bytesInBlock = blockSize<T> * static_cast<long>(sizeof(Word));

    long latticeCount(int c) const {
        const long step = 1L << c;
        return ((width + step - 1) / step) * ((height + step - 1) / step);
    }
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

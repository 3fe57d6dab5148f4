// The decoder's work on bit planes. Included once per target, inside its region and namespace, after
// decoderRuns.hpp. No include guard, no includes.

// The refinement bits of one word near the end of what the reader holds, one by one. When the stream ends among them,
// the rest of the plane is clear.
template <typename T>
void readCarefully(ClassState<T>& state, int b, long i, int w, StreamView& in) {
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
        for (long rest = i + 1; rest < state.blocks(); ++rest) {
            std::fill_n(state.block(rest).plane(b), state.rowWords, Word{0});
        }
        throw;
    }
}

// Fills plane b, which holds nothing yet.
template <typename T>
void readRefinements(ClassState<T>& state, int b, StreamView& in) {
    if (state.significantCount == 0) {
        state.clearPlane(b);
        return;
    }
    for (long i = 0; i < state.blocks(); ++i) {
        const Block<T> block = state.block(i);
        PlaneWord* plane = block.plane(b);
        const PlaneWord* significant = block.significant();
        const int words = state.words(i);
        for (int w = 0; w < words; ++w) {
            const Word targets = significant[w];
            const auto n = static_cast<std::uint64_t>(countBits(targets));
            if (in.has(n)) {
                plane[w] = depositBits(in.peek(), targets);
                in.skip(n);
                continue;
            }
            readCarefully(state, b, i, w, in);
        }
    }
}

// Everything that the loop needs is local: a store to a plane could change a member, for all the compiler knows.
template <typename T>
void placeEvents(ClassState<T>& state, int b, long i, const CandidateBits& found) {
    PlaneWord* significant = state.block(i).significant();
    PlaneWord* signs = state.block(i).signs();
    PlaneWord* plane = state.block(i).plane(b);
    const int words = state.words(i);
    const Word lastValid = ~Word{0} >> (64L * words - state.samples(i));
    std::uint64_t candidate = 0;
    long placed = 0;
    for (int w = 0; w < words; ++w) {
        const Word candidates = ~significant[w] & (w == words - 1 ? lastValid : ~Word{0});
        const Word events = depositBits(CandidateBits::at(found.events, candidate), candidates);
        if (events != 0) {
            signs[w] |= depositBits(CandidateBits::at(found.signs, candidate), candidates);
            plane[w] |= events;
            significant[w] |= events;
            placed += countBits(events);
        }
        candidate += static_cast<std::uint64_t>(countBits(candidates));
    }
    state.significantCount += placed;
    state.candidates[i] -= static_cast<std::uint32_t>(placed);
}

template <typename T, typename Runs>
void readRunsOf(ClassState<T>& state, int b, Runs& runs) {
    CandidateBits found;
    for (long i = 0; i < state.blocks(); ++i) {
        try {
            if (runs.next(state.candidates[i], found)) {
                placeEvents(state, b, i, found);
            }
        } catch (int) {
            placeEvents(state, b, i, found);
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
        for (int w = 0; w < state.words(i); ++w) {
            const long word = i * state.rowWords + w;
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

constexpr Word emptyRow[mostRowWords] = {};

// The rows of a block from which its values are made: an empty one for each that the stream did not fill.
template <typename T>
struct FilledRows {
    const PlaneWord* rows[blockRows<T>];

    FilledRows(const Block<T>& block, int lowestPlane, int topPlane) {
        std::fill(std::begin(rows), std::end(rows), emptyRow);
        rows[0] = block.signs();
        for (int b = lowestPlane; b <= topPlane; ++b) {
            rows[b + 1] = block.plane(b);
        }
    }

    // Of the values.
    bool isByteEmpty(int byte) const {
        return std::all_of(rows + 8 * byte, rows + 8 * byte + 8, [](const PlaneWord* row) { return row == emptyRow; });
    }
};

// The values of `words` words of a block, and of up to seven words more.
template <typename T>
void unslice(const FilledRows<T>& filled, int words, bool unfolds, Value<T>* values) {
    constexpr int bytes = static_cast<int>(sizeof(Value<T>));
    constexpr int samples = 64 * wordsAtOnce;
    unsigned char parts[bytes][samples] = {};
    for (int w = 0; w < words; w += wordsAtOnce) {
        for (int i = 0; i < bytes; ++i) {
            if (!filled.isByteEmpty(i)) {
                unsliceRows(filled.rows + 8 * i, w, parts[i]);
            }
        }
        for (int j = 0; j < samples; ++j) {
            Value<T> value = 0;
            for (int i = 0; i < bytes; ++i) {
                value = static_cast<Value<T>>(value | parts[i][j] << (8 * i));
            }
            const auto sign = static_cast<Value<T>>(unfolds ? -(value & 1) : 0);
            const auto magnitude = static_cast<Value<T>>(unfolds ? value >> 1 : value);
            values[64 * w + j] = static_cast<Value<T>>((magnitude ^ sign) - sign);
        }
    }
}

// Makes the values of a class, in order, when they are asked for.
template <typename T>
class ClassReader {
public:
    ClassReader(const ClassState<T>& classState, int highest, bool unfoldsThem)
        : state(classState), topPlane(highest), unfolds(unfoldsThem) {}

    template <typename To>
    void take(To* to, long n) {
        while (n > 0) {
            if (next == made) {
                made = makeBlock(values.get());
                next = 0;
            }
            const long here = std::min(n, made - next);
            copyRow(values.get() + next, static_cast<int>(here), to);
            next += here;
            to += here;
            n -= here;
        }
    }

    // All of them. Writes fewer than 64 * wordsAtOnce more.
    void takeAll(Value<T>* to) {
        while (block < state.blocks()) {
            to += makeBlock(to);
        }
    }

private:
    long makeBlock(Value<T>* to) {
        const FilledRows<T> filled(state.block(block), state.lowestPlane, topPlane);
        unslice(filled, state.words(block), unfolds, to);
        return state.samples(block++);
    }

    const ClassState<T>& state;
    int topPlane;
    bool unfolds;
    long block = 0;
    long made = 0; // of the values
    long next = 0;
    std::unique_ptr<Value<T>[]> values { new Value<T>[ static_cast<std::size_t>(state.samplesInBlock()) ] };
};

// One channel while it is being decoded.
template <typename T>
class ChannelState {
public:
    // Class 0 takes the end of the plane, the others its start: at the end, the plane is filled from the start,
    // and class 0 is read ahead of that. What is no full block lies in tails.
    ChannelState(T* samples, int w, int h, int levelCount) : plane(samples), width(w), height(h), levels(levelCount) {
        const long n = static_cast<long>(width) * height;
        long tailWords = 0;
        long allBlocks = 0;
        for (int c = 0; c <= levels; ++c) {
            tailWords += tailBlocks(c) * blockSize(c);
            allBlocks += fullBlocks(c) + tailBlocks(c);
        }
        tails.reset(new Word[static_cast<std::size_t>(tailWords)]());
        counts.resize(static_cast<std::size_t>(allBlocks));
        std::uint32_t* count = counts.data();
        auto* memory = reinterpret_cast<unsigned char*>(plane);
        PlaneWord* tail = tails.get();
        for (int c = levels; c >= 0; --c) {
            const long full = fullBlocks(c);
            const long bytes = full * blockSize(c) * static_cast<long>(sizeof(Word));
            if (c == 0) {
                const long start = n * static_cast<long>(sizeof(T)) - bytes;
                memory = reinterpret_cast<unsigned char*>(plane) + start / 8 * 8;
            }
            classes[c].place(reinterpret_cast<PlaneWord*>(memory), tail, full, countOf(c), count);
            memory += bytes;
            count += full + tailBlocks(c);
            tail += tailBlocks(c) * blockSize(c);
        }
    }

    // Turns what is decoded into values and puts them in their places. Needs memory for the samples outside
    // class 0: a quarter of the plane. The blocks of class 0 become values when the rows come to them: what lies
    // in memory is read once (100 megapixels: 1.1 times on decoding).
    void assemble(int topPlane, bool unfolds) {
        const std::unique_ptr<Value<T>[]> coarse = coarseValues(topPlane, unfolds);
        ClassReader<T> finest(classes[0], topPlane, unfolds);
        const std::unique_ptr<Value<T>[]> rows(new Value<T>[static_cast<std::size_t>(3 * (width + 64))]);
        Value<T>* odd = rows.get();
        Value<T>* even = odd + width + 64;
        Value<T>* scratch = even + width + 64;
        for (int y = 0; y < height; ++y) {
            T* row = plane + static_cast<long>(y) * width;
            const int rowClass = subbandClass(0, y, levels);
            if (rowClass == 0) {
                finest.take(row, width);
                continue;
            }
            finest.take(odd, width / 2);
            buildEven(coarse.get(), rowClass, even, scratch);
            mergePairs(even, odd, width / 2, row);
            if (width % 2 != 0) {
                row[width - 1] = even[width / 2];
            }
        }
    }

    ClassState<T> classes[maximumClasses];

private:
    long latticeCount(int c) const {
        const long step = 1L << c;
        return ((width + step - 1) / step) * ((height + step - 1) / step);
    }
    long blockSize(int c) const { return long{blockRows<T>} * rowWordsFor(countOf(c)); } // in words
    // One block less of class 0 leaves room to align its start.
    long fullBlocks(int c) const {
        return std::max(0L, countOf(c) / (64 * rowWordsFor(countOf(c))) - (c == 0 ? 1 : 0));
    }
    long tailBlocks(int c) const {
        const long samplesInBlock = 64L * rowWordsFor(countOf(c));
        return (countOf(c) + samplesInBlock - 1) / samplesInBlock - fullBlocks(c);
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
    std::unique_ptr<Value<T>[]> coarseValues(int topPlane, bool unfolds) {
        const auto count = static_cast<std::size_t>(levels > 0 ? latticeCount(1) + 64 * wordsAtOnce : 0);
        std::unique_ptr<Value<T>[]> coarse(new Value<T>[count]);
        adviseFilling(coarse.get(), count * sizeof(Value<T>));
        long start = 0;
        for (int c = 1; c <= levels; ++c) {
            ClassReader<T>(classes[c], topPlane, unfolds).takeAll(coarse.get() + start);
            starts[c] = start;
            start += classes[c].count;
        }
        return coarse;
    }

    // The samples at even columns of a row of class rowClass > 0, from those of the classes above 0.
    void buildEven(const Value<T>* coarse, int rowClass, Value<T>* even, Value<T>* scratch) {
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
    std::vector<std::uint32_t> counts;
    long starts[maximumClasses] = {};
};

// Reads all segments into channels with their classes. Returns 1 when the stream ended early, else 0.
template <typename Channel>
int readSegments(std::vector<Channel>& channels, int levels, int topPlane, BitStreamer& stream) {
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

template <typename T>
int readCoefficients(ImageData<T>& image, int levels, int topPlane, bool unfolds, BitStreamer& stream) {
    std::vector<ChannelState<T>> channels;
    channels.reserve(3);
    for (int channel = 0; channel < image.channels; ++channel) {
        channels.emplace_back(image.planes[channel], image.width, image.height, levels);
    }
    const int endedEarly = readSegments(channels, levels, topPlane, stream);
    for (ChannelState<T>& channel : channels) {
        channel.assemble(topPlane, unfolds);
    }
    return endedEarly;
}

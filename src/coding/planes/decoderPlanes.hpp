// The decoder's work on bit planes. Included once per target, inside its region and namespace, after
// decoderRuns.hpp. No include guard, no includes.

template <typename T>
void readRefinements(ClassState<T>& state, int b, StreamView& in) {
    if (state.significantCount == 0) {
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
            state.stoppedIn = i * state.rowWords + w;
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

template <typename T>
std::uint64_t candidatesIn(const ClassState<T>& state, long i) {
    const PlaneWord* significant = state.block(i).significant();
    const int words = state.words(i);
    long count = 0;
    for (int w = 0; w < words; ++w) {
        count += countBits(significant[w]);
    }
    return static_cast<std::uint64_t>(state.samples(i) - count);
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
}

template <typename T, typename Runs>
void readRunsOf(ClassState<T>& state, int b, Runs& runs) {
    CandidateBits found;
    for (long i = 0; i < state.blocks(); ++i) {
        try {
            if (runs.next(candidatesIn(state, i), found)) {
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
        for (int w = 0; w < state.rowWords; ++w) {
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
}

// Turns a block into its values in the same memory, `words` times 64 of them.
template <typename T>
void unslice(const Block<T>& block, int words, bool unfolds) {
    constexpr int bytes = static_cast<int>(sizeof(Value<T>));
    std::fill_n(block.significant(), block.rowWords, Word{0});
    Value<T> values[64 * mostRowWords];
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
            const long inFull = state->fullCount * state->samplesInBlock() - taken;
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
        long tailWords = 0;
        for (int c = 0; c <= levels; ++c) {
            tailWords += tailBlocks(c) * blockSize(c);
        }
        tails.reset(new Word[static_cast<std::size_t>(tailWords)]());
        auto* memory = reinterpret_cast<unsigned char*>(plane);
        PlaneWord* tail = tails.get();
        for (int c = levels; c >= 0; --c) {
            const long full = fullBlocks(c);
            const long bytes = full * blockSize(c) * static_cast<long>(sizeof(Word));
            if (c == 0) {
                const long start = n * static_cast<long>(sizeof(T)) - bytes;
                memory = reinterpret_cast<unsigned char*>(plane) + start / 8 * 8;
            }
            classes[c].place(reinterpret_cast<PlaneWord*>(memory), tail, full, countOf(c));
            memory += bytes;
            tail += tailBlocks(c) * blockSize(c);
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

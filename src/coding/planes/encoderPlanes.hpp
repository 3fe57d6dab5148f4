// The encoder's work on bit planes. Included once per target, inside its region and namespace, after its bit
// operations and classRows.hpp. No include guard, no includes.

constexpr int chunkWords = 32;
constexpr int chunkSamples = 64 * chunkWords;

// Folds a row in place; returns the OR of the magnitudes.
template <typename T>
Unsigned<T> foldRow(T* __restrict row, int n) {
    Unsigned<T> magnitudes = 0;
    for (int i = 0; i < n; ++i) {
        const T sign = static_cast<T>(row[i] >> (sampleBits<T> - 1));
        const auto magnitude =
            static_cast<Unsigned<T>>(static_cast<Unsigned<T>>(row[i] ^ sign) - static_cast<Unsigned<T>>(sign));
        magnitudes = static_cast<Unsigned<T>>(magnitudes | magnitude);
        row[i] = static_cast<T>(static_cast<Unsigned<T>>(magnitude << 1) - static_cast<Unsigned<T>>(sign));
    }
    return magnitudes;
}

// How many of the values reach each of four limits, from `limit` down by halves. Counts in the values' width, so
// that the compiler needs no wider lanes.
template <typename V>
void countFromFour(const V* values, int n, V limit, std::uint64_t* totals) {
    constexpr int stretch = 16384;
    for (int start = 0; start < n; start += stretch) {
        const V* end = values + std::min(n, start + stretch);
        V reached[4] = {};
        for (const V* value = values + start; value != end; ++value) {
            reached[0] = static_cast<V>(reached[0] + (*value >= limit ? 1 : 0));
            reached[1] = static_cast<V>(reached[1] + (*value >= limit / 2 ? 1 : 0));
            reached[2] = static_cast<V>(reached[2] + (*value >= limit / 4 ? 1 : 0));
            reached[3] = static_cast<V>(reached[3] + (*value >= limit / 8 ? 1 : 0));
        }
        for (int i = 0; i < 4; ++i) {
            totals[i] += static_cast<std::uint64_t>(reached[i]);
        }
    }
}

// Adds the bit lengths of a piece of folded values, none of them longer than `longest`.
template <typename V>
void countLengths(const V* values, int n, int longest, std::uint64_t* counts) {
    std::uint64_t notShorter = 0;
    for (int length = longest; length >= 2; length -= 4) {
        std::uint64_t reached[4] = {};
        countFromFour(values, n, static_cast<V>(V{1} << (length - 1)), reached);
        for (int i = 0; i < std::min(4, length - 1); ++i) {
            counts[length - i] += reached[i] - notShorter;
            notShorter = reached[i];
        }
    }
    counts[0] += static_cast<std::uint64_t>(n) - notShorter; // a folded value is 0 or has two bits at least
}

template <typename T>
Unsigned<T> foldAndCount(ImageData<T>& image, int levels, BitLengthHistogram<T>& histogram) {
    Unsigned<T> all = 0;
    const RowSplitter<T> splitter(image.width, levels);
    for (int channel = 0; channel < image.channels; ++channel) {
        for (int y = 0; y < image.height; ++y) {
            T* row = image.planes[channel] + static_cast<long>(y) * image.stride;
            const Unsigned<T> magnitudes = foldRow(row, image.width);
            all = static_cast<Unsigned<T>>(all | magnitudes);
            const int longest = std::min(bitLength(magnitudes) + 1, 8 * static_cast<int>(sizeof(Value<T>)) - 1);
            splitter.forPieces(row, y, image.width, [&](int c, const Value<T>* values, int n) {
                countLengths(values, n, longest, histogram.bitLengthCount[channel][c]);
            });
        }
    }
    return all;
}

inline void storeLittleEndian(unsigned char* to, std::uint64_t value) {
    if constexpr (std::endian::native == std::endian::big) {
        for (int i = 0; i < 8; ++i) {
            to[i] = static_cast<unsigned char>(value >> (8 * i) & 0xFFU);
        }
    } else {
        std::memcpy(to, &value, sizeof value);
    }
}

// The end of a memory writer's stream, 64 bits at a time. Stores up to eight bytes beyond the bits written: the
// sub-streams have that room. Without branches, because the lengths are not predictable (1.05 times on
// whole encodes of photographs).
class BitAppender {
public:
    void start(const BitStreamer& stream) {
        begin = out = reinterpret_cast<unsigned char*>(stream.buffer);
        pending = 0;
        pendingBits = 0;
        put(stream.current, static_cast<unsigned>(std::countr_zero(stream.mask)));
    }

    // bits < 2^n, n <= 64.
    void put(std::uint64_t bits, unsigned n) {
        pending |= bits << pendingBits;
        storeLittleEndian(out, pending);
        const unsigned total = pendingBits + n;
        const std::uint64_t isFull = 0 - static_cast<std::uint64_t>(total >> 6); // a mask: a ?: becomes a branch
        const std::uint64_t spill = bits >> 1 >> (63 - pendingBits);
        pending = (pending & ~isFull) | (spill & isFull);
        out += total >> 6 << 3;
        pendingBits = total & 63;
    }

    void putZeros(std::uint64_t n) {
        for (; n > 32; n -= 32) {
            put(0, 32);
        }
        put(0, static_cast<unsigned>(n));
    }

    // Leaves the stream as its own operations would have.
    void finish(BitStreamer& stream) const {
        storeLittleEndian(out, pending);
        const auto bits = 8 * static_cast<std::uint64_t>(out - begin) + pendingBits;
        stream.cursor = stream.buffer + bits / 32;
        stream.mask = 1U << (bits % 32);
        stream.current = static_cast<std::uint32_t>(pending >> (pendingBits & 32)) & (stream.mask - 1);
    }

private:
    unsigned char* begin;
    unsigned char* out;
    std::uint64_t pending;
    unsigned pendingBits; // below 64
};

// For k = 0 a segment is its own candidate bitmap with a sign behind every one. Eight candidates with the gaps
// for their signs; the places of the signs are those of the ones, shifted by one.
struct GappedBytes {
    std::uint16_t code[256];

    constexpr GappedBytes() : code() {
        for (unsigned byte = 0; byte < 256; ++byte) {
            int place = 0;
            for (int i = 0; i < 8; ++i) {
                const unsigned bit = byte >> i & 1U;
                code[byte] = static_cast<std::uint16_t>(code[byte] | bit << place);
                place += bit != 0 ? 2 : 1;
            }
        }
    }
};

constexpr GappedBytes gappedBytes;

// Appends n <= 32 candidates, each event with the next of the sign bits.
inline void putDense(BitAppender& out, std::uint32_t candidates, unsigned n, std::uint64_t signs) {
    std::uint64_t code = 0;
    unsigned place = 0;
    for (unsigned i = 0; i < 32; i += 8) {
        const unsigned byte = candidates >> i & 0xFFU;
        code |= static_cast<std::uint64_t>(gappedBytes.code[byte]) << place;
        place += 8 + static_cast<unsigned>(countBits(byte));
    }
    const auto events = static_cast<unsigned>(countBits(candidates));
    out.put(code | depositBits(signs, code << 1), n + events);
}

inline void putDenseWord(BitAppender& out, std::uint64_t candidates, unsigned n, std::uint64_t signs) {
    const auto low = static_cast<std::uint32_t>(candidates);
    if (n <= 32) {
        putDense(out, low, n, signs);
        return;
    }
    putDense(out, low, 32, signs);
    putDense(out, static_cast<std::uint32_t>(candidates >> 32), n - 32, signs >> countBits(low));
}

// The code of an event: the run before it in units of 2^k, a one, the rest of the run in k bits, the sign.
struct EventCode {
    static constexpr std::uint64_t mostUnits = 64 - largestRunLengthParameter - 2;

    std::uint64_t bits;
    unsigned length;

    // Of a run of at most mostUnits units.
    static EventCode of(std::uint64_t run, unsigned k, std::uint64_t sign) {
        const std::uint64_t units = run >> k;
        const std::uint64_t rest = run & ((std::uint64_t{1} << k) - 1);
        return {(1 | rest << 1 | sign << (k + 1)) << units, static_cast<unsigned>(units) + k + 2};
    }
};

inline void putEvent(BitAppender& out, std::uint64_t run, unsigned k, std::uint64_t sign) {
    const std::uint64_t units = run >> k;
    if (units > EventCode::mostUnits) {
        out.putZeros(units);
        run -= units << k;
    }
    const EventCode code = EventCode::of(run, k, sign);
    out.put(code.bits, code.length);
}

// A chunk of a class, sliced.
struct Chunk {
    int words;
    std::uint64_t lastValid; // the places in the last word that hold coefficients
    std::uint64_t signs[chunkWords];
    std::uint64_t significant[chunkWords];
    std::uint64_t planes[29][chunkWords];

    std::uint64_t valid(int w) const { return w == words - 1 ? lastValid : ~std::uint64_t{0}; }
};

template <typename V>
void slice(V* values, int n, int topPlane, Chunk& chunk) {
    chunk.words = (n + 63) / 64;
    chunk.lastValid = ~std::uint64_t{0} >> (64 * chunk.words - n);
    std::fill(values + n, values + 64 * chunk.words, V{0});
    const int bytes = (topPlane + 1) / 8 + 1; // the folded value has one bit more
    for (int w = 0; w < chunk.words; ++w) {
        const V* group = values + 64 * w;
        for (int i = 0; i < bytes; ++i) {
            unsigned char part[64];
            for (int j = 0; j < 64; ++j) {
                part[j] = static_cast<unsigned char>(group[j] >> (8 * i) & 0xFF);
            }
            std::uint64_t bits[8];
            sliceBytes(part, bits);
            for (int b = 0; b < 8; ++b) {
                const int plane = 8 * i + b - 1;
                if (plane >= 0 && plane <= topPlane) {
                    chunk.planes[plane][w] = bits[b];
                }
            }
            if (i == 0) {
                chunk.signs[w] = bits[0];
            }
        }
        chunk.significant[w] = 0;
    }
}

// A sub-stream pair of one plane while the chunks of its class pass by.
struct PlaneCoder {
    BitAppender refinements;
    BitAppender runs;
    unsigned k;
    std::uint64_t passes; // since the last event; stays 0 for k = 0

    void start(const BitStreamer& refinementStream, const RunCoder& coder) {
        refinements.start(refinementStream);
        runs.start(*coder.stream);
        k = static_cast<unsigned>(coder.k);
        passes = 0;
    }

    void finish(BitStreamer& refinementStream, RunCoder& coder) {
        refinements.finish(refinementStream);
        runs.finish(*coder.stream);
        coder.count = static_cast<std::uint32_t>(passes);
    }

    // A chunk without any event on this plane and above.
    void addPasses(std::uint64_t n) {
        if (k == 0) {
            runs.putZeros(n);
        } else {
            passes += n;
        }
    }

    void refine(const Chunk& chunk, int plane) {
        BitAppender out = refinements;
        for (int w = 0; w < chunk.words; ++w) {
            const std::uint64_t significant = chunk.significant[w];
            out.put(extractBits(chunk.planes[plane][w], significant), static_cast<unsigned>(countBits(significant)));
        }
        refinements = out;
    }

    void code(Chunk& chunk, int plane) { k == 0 ? codeDense(chunk, plane) : codeSparse(chunk, plane); }

private:
    // The candidates of word w of a chunk on a plane; its events become significant.
    struct WordOfCandidates {
        std::uint64_t gaps; // a one for every event among the candidates
        std::uint64_t signs;
        unsigned count;
    };
    static WordOfCandidates take(Chunk& chunk, int plane, int w) {
        const std::uint64_t candidates = ~chunk.significant[w] & chunk.valid(w);
        const std::uint64_t events = chunk.planes[plane][w] & candidates;
        chunk.significant[w] |= events;
        return {extractBits(events, candidates), extractBits(chunk.signs[w], events),
                static_cast<unsigned>(countBits(candidates))};
    }

    void codeDense(Chunk& chunk, int plane) {
        BitAppender out = runs;
        for (int w = 0; w < chunk.words; ++w) {
            const WordOfCandidates word = take(chunk, plane, w);
            putDenseWord(out, word.gaps, word.count, word.signs);
        }
        runs = out;
    }

    void codeSparse(Chunk& chunk, int plane) {
        BitAppender out = runs;
        std::uint64_t run = passes; // up to the first candidate of the word
        for (int w = 0; w < chunk.words; ++w) {
            WordOfCandidates word = take(chunk, plane, w);
            if (word.gaps == 0) {
                run += word.count;
                continue;
            }
            auto last = static_cast<unsigned>(std::countr_zero(word.gaps));
            putEvent(out, run + last, k, word.signs & 1);
            for (word.gaps &= word.gaps - 1, word.signs >>= 1; word.gaps != 0; word.signs >>= 2) {
                // Two codes in one put (1.07 times on whole encodes of grey photographs): runs within a word are at
                // most 62 long together, and 2 (k + 2) + 62 / 2^k is at most 64 for every k that is used.
                const auto place = static_cast<unsigned>(std::countr_zero(word.gaps));
                word.gaps &= word.gaps - 1;
                const EventCode first = EventCode::of(place - last - 1, k, word.signs & 1);
                last = place;
                if (word.gaps == 0) {
                    out.put(first.bits, first.length);
                    break;
                }
                const auto nextPlace = static_cast<unsigned>(std::countr_zero(word.gaps));
                word.gaps &= word.gaps - 1;
                const EventCode second = EventCode::of(nextPlace - last - 1, k, word.signs >> 1 & 1);
                last = nextPlace;
                out.put(first.bits | second.bits << first.length, first.length + second.length);
            }
            run = word.count - last - 1;
        }
        passes = run;
        runs = out;
    }
};

// The class of a channel on its way into its sub-streams.
template <typename T>
class ClassCoder {
public:
    void start(StreamArrayManager<T>& streams, int ch, int cl, int lowestPlane) {
        channel = ch;
        c = cl;
        lowest = lowestPlane;
        top = streams.topPlane;
        filled = 0;
        for (int b = lowest; b <= top; ++b) {
            planes[b].start(streams.refinementStreams[channel][c][b], streams.runCoders[channel][c][b]);
        }
    }

    void add(const Value<T>* piece, int n) {
        if (lowest > top) {
            return; // a budget ends before this class
        }
        while (n > 0) {
            const int count = std::min(n, chunkSamples - filled);
            std::copy_n(piece, count, values + filled);
            filled += count;
            piece += count;
            n -= count;
            if (filled == chunkSamples) {
                codeChunk();
            }
        }
    }

    void finish(StreamArrayManager<T>& streams) {
        codeChunk();
        for (int b = lowest; b <= top; ++b) {
            planes[b].finish(streams.refinementStreams[channel][c][b], streams.runCoders[channel][c][b]);
        }
    }

private:
    // Planes above the highest of the chunk hold passes only.
    void codeChunk() {
        if (filled == 0) {
            return;
        }
        Value<T> all = 0;
        for (int i = 0; i < filled; ++i) {
            all = static_cast<Value<T>>(all | values[i]);
        }
        const int chunkTop = std::max(bitLength(all) - 2, 0);
        for (int b = std::max(lowest, chunkTop + 1); b <= top; ++b) {
            planes[b].addPasses(static_cast<std::uint64_t>(filled));
        }
        if (chunkTop >= lowest) {
            slice(values, filled, chunkTop, chunk);
        }
        for (int b = chunkTop; b >= lowest; --b) {
            if (b < chunkTop) { // nothing is significant yet in the first plane
                planes[b].refine(chunk, b);
            }
            planes[b].code(chunk, b);
        }
        filled = 0;
    }

    int channel;
    int c;
    int lowest;
    int top;
    int filled;
    PlaneCoder planes[highestSlicedPlane<T> + 1];
    Value<T> values[chunkSamples];
    Chunk chunk;
};

template <typename T>
void codeCoefficients(const ImageData<T>& image, StreamArrayManager<T>& streams, const LowestPlanes& lowest) {
    const RowSplitter<T> splitter(image.width, streams.levels);
    const std::unique_ptr<ClassCoder<T>[]> classes(new ClassCoder<T>[maximumClasses]);
    for (int channel = 0; channel < image.channels; ++channel) {
        for (int c = 0; c <= streams.levels; ++c) {
            classes[static_cast<std::size_t>(c)].start(streams, channel, c, lowest[channel][c]);
        }
        for (int y = 0; y < image.height; ++y) {
            const T* row = image.planes[channel] + static_cast<long>(y) * image.stride;
            splitter.forPieces(row, y, image.width, [&](int c, const Value<T>* values, int n) {
                classes[static_cast<std::size_t>(c)].add(values, n);
            });
        }
        for (int c = 0; c <= streams.levels; ++c) {
            classes[static_cast<std::size_t>(c)].finish(streams);
        }
    }
}

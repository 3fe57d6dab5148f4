// A stretch of a class as bit planes. Included once per target, inside its region and namespace, after its bit
// operations. No include guard, no includes.

constexpr int chunkWords = 32;
constexpr int chunkSamples = 64 * chunkWords;

// A word of a bit plane in the coefficients that are not significant above it.
struct Candidates {
    std::uint64_t all;
    std::uint64_t events;

    unsigned count() const { return static_cast<unsigned>(countBits(all)); }
    // A one for every event, with no gaps for what is not a candidate.
    std::uint64_t gathered() const { return extractBits(events, all); }
};

// A chunk of a class, sliced.
struct Chunk {
    int words;
    std::uint64_t lastValid; // the places in the last word that hold coefficients
    std::uint64_t significant[chunkWords];
    alignas(64) std::uint64_t bits[chunkWords][32]; // of the folded values: the sign, then the planes

    std::uint64_t signs(int w) const { return bits[w][0]; }
    std::uint64_t plane(int b, int w) const { return bits[w][b + 1]; }

    // The candidates of word w on a plane; its events become significant.
    Candidates takeCandidates(int plane, int w) {
        const std::uint64_t valid = w == words - 1 ? lastValid : ~std::uint64_t{0};
        const std::uint64_t candidates = ~significant[w] & valid;
        const std::uint64_t events = this->plane(plane, w) & candidates;
        significant[w] |= events;
        return {candidates, events};
    }
};

// The lowest eight bits of 64 values, shifted first.
template <typename V>
void takeBytes(const V* values, int shift, unsigned char* bytes) {
    for (int j = 0; j < 64; ++j) {
        bytes[j] = static_cast<unsigned char>(values[j] >> shift & 0xFF);
    }
}

// Fills the last word of n values, which have the room, with zeros.
template <typename V>
void setLength(V* values, int n, Chunk& chunk) {
    chunk.words = (n + 63) / 64;
    chunk.lastValid = ~std::uint64_t{0} >> (64 * chunk.words - n);
    std::fill(values + n, values + 64 * chunk.words, V{0});
}

// Signs and planes lowest .. topPlane of folded values, as many as the chunk has words for.
template <typename V>
void slice(const V* values, int lowest, int topPlane, Chunk& chunk) {
    for (int w = 0; w < chunk.words; ++w) {
        unsigned char bytes[64];
        takeBytes(values + 64 * w, 0, bytes);
        sliceBytes(bytes, chunk.bits[w]);
        for (int bit = std::max(8, (lowest + 1) / 8 * 8); bit <= topPlane + 1; bit += 8) {
            takeBytes(values + 64 * w, bit, bytes);
            sliceBytes(bytes, chunk.bits[w] + bit);
        }
    }
}

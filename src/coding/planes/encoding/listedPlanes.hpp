// Planes of a chunk in which few coefficients are significant, from a list of those. Included once per target that has
// nothing better, inside its region and namespace, after eventPlaces.hpp and runCodes.hpp. No include guard, no
// includes.
//
// The list is sliced like a chunk of its own: its bit words are few, and each is full of what its planes hold.

template <typename V>
class ListedCoefficients {
public:
    // Finds the folded values of a block, its last word filled with zeros, that are significant above or on a plane;
    // stores them as significant in the chunk.
    void find(const FoldedSequence<V>& values, long block, int plane, Chunk& chunk) {
        samples = static_cast<std::uint32_t>(values.valuesIn(block));
        count = 0;
        const int rows = values.rowsInUse[block];
        for (int w = 0; w < chunk.words; ++w) {
            chunk.significant[w] = reaching(values, block, plane + 1, w);
            append(values, block, rows, w, chunk.significant[w]);
        }
        sliceList(rows);
    }

    // Bit `plane` of every coefficient that is significant above it.
    void refine(BitAppender& appender, int plane) const { putRefinements(appender, list, plane); }

    // The events of a plane, which become significant. passes: since the last event, before and after.
    void gatherEvents(int plane, std::uint64_t& passes, EventPlaces& events) {
        events.start(passes);
        std::uint32_t significantBefore = 0;
        for (int w = 0; w < list.words; ++w) {
            const auto significant = static_cast<std::uint32_t>(countBits(list.significant[w]));
            gatherEvents(plane, w, significantBefore, events);
            significantBefore += significant;
        }
        passes = events.passesAfter(samples - significantBefore);
    }

private:
    // Those of 64 values that have bit `bit` or a higher one.
    static std::uint64_t reaching(const FoldedSequence<V>& values, long block, int bit, int w) {
        std::uint64_t result = 0;
        for (int row = bit / 8; row < values.rowsInUse[block]; ++row) {
            result |= bytesReaching(values.bytes(row, block) + 64 * w, row == bit / 8 ? bit % 8 : 0);
        }
        return result;
    }

    // Those of 64 values that a mask tells. Some at a time: how many there are is not predictable.
    void append(const FoldedSequence<V>& values, long block, int rows, int w, std::uint64_t mask) {
        constexpr int atOnce = 4;
        const int found = countBits(mask);
        for (int done = 0; done < found; done += atOnce) {
            for (int i = count + done; i < count + done + atOnce; ++i) {
                const long place = 64L * w + (std::countr_zero(mask) & 63);
                mask &= mask - 1;
                places[i] = static_cast<std::uint16_t>(place);
                for (int row = 0; row < rows; ++row) {
                    bytes[row][i] = values.bytes(row, block)[place];
                }
            }
        }
        count += found;
    }

    void sliceList(int rows) {
        list.words = (count + 63) / 64;
        list.lastValid = ~std::uint64_t{0} >> (64 * list.words - count);
        std::fill_n(list.significant, list.words, std::uint64_t{0});
        std::fill(places + count, places + 64L * list.words, std::uint16_t{0});
        for (int row = 0; row < rows; ++row) {
            std::fill(bytes[row] + count, bytes[row] + 64L * list.words, 0);
            for (int w = 0; w < list.words; ++w) {
                sliceBytes(bytes[row] + 64 * w, list.bits[w] + 8 * row);
            }
        }
    }

    // Those of a word of the list, with so many significant coefficients before it. Where an event is among the
    // candidates is its place without the significant ones below: those in the list, by its place among the others.
    void gatherEvents(int plane, int w, std::uint32_t significantBefore, EventPlaces& events) {
        constexpr int atOnce = 2;
        const Candidates candidates = list.takeCandidates(plane, w);
        std::uint64_t left = candidates.events;
        std::uint64_t gathered = candidates.gathered();
        std::uint32_t* const to = events.nextPlaces();
        const int found = countBits(left);
        for (int done = 0; done < found; done += atOnce) {
            for (int i = done; i < done + atOnce; ++i) {
                const auto inWord = static_cast<std::uint32_t>(std::countr_zero(left) & 63);
                const auto inGathered = static_cast<std::uint32_t>(std::countr_zero(gathered));
                to[i] = places[64 * w + static_cast<int>(inWord)] + inGathered - inWord - significantBefore;
                left &= left - 1;
                gathered &= gathered - 1;
            }
        }
        events.append(extractBits(list.signs(w), candidates.events), static_cast<unsigned>(found));
    }

    std::uint32_t samples;
    int count;
    Chunk list;
    std::uint16_t places[blockSamples + 64];
    unsigned char bytes[FoldedSequence<V>::byteRows][blockSamples + 64];
};

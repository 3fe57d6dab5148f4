// Planes of a chunk in which few coefficients are significant, from a list of those. Included inside a target's region
// and namespace, after encoderChunk.hpp and sparseRunsAvx512.hpp. No include guard, no includes.
//
// In bit words, a plane costs the same whether it holds events or not. In a list, sixteen coefficients at a time, it
// costs what it holds (encodes of photographs cut to 5 %: 1.25 times, whole ones: 1.1 times).

template <typename V>
class ListedCoefficients {
public:
    static constexpr bool isUsed = true;

    // Finds those of n folded values, in memory filled with zeros up to a whole word, that are significant above or on
    // a plane; stores them as significant in the chunk.
    void find(const V* values, int n, int plane, Chunk& chunk) {
        const V limit = static_cast<V>(V{2} << plane);
        samples = static_cast<unsigned>(n);
        count = 0;
        for (int w = 0; w < chunk.words; ++w) {
            chunk.significant[w] = append(values + 64 * w, static_cast<std::uint16_t>(64 * w), limit);
        }
    }

    bool isEmpty() const { return count == 0; }

    // Bit `plane` of every coefficient that is significant above it.
    void refine(BitAppender& appender, int plane) const {
        BitAppender out = appender;
        const auto bit = static_cast<std::uint32_t>(2) << plane;
        for (unsigned i = 0; i < count; i += lanes) {
            const Lanes found = load(i);
            const __mmask16 significant = found.reach(2 * bit);
            const __mmask16 set = _mm512_test_epi32_mask(found.folded, _mm512_set1_epi32(static_cast<int>(bit)));
            out.put(extractBits(set, significant), static_cast<unsigned>(countBits(significant)));
        }
        appender = out;
    }

    // The events of a plane, as gatherEvents finds them.
    void gatherEvents(int plane, std::uint64_t& passes, EventPlaces& events) const {
        const auto limit = static_cast<std::uint32_t>(2) << plane;
        std::uint32_t* to = events.places + 1;
        std::uint32_t significantBefore = 0;
        events.places[0] = 0 - static_cast<std::uint32_t>(passes) - 1;
        for (unsigned i = 0; i < count; i += lanes) {
            const Lanes found = load(i);
            const __mmask16 significant = found.reach(2 * limit);
            const auto events16 = static_cast<__mmask16>(found.reach(limit) & ~significant);
            const __m512i candidates = _mm512_sub_epi32(found.places, onesBelow(significant, significantBefore));
            const __m512i withSigns = _mm512_or_si512(candidates, _mm512_slli_epi32(found.folded, 31));
            _mm512_storeu_si512(to, _mm512_maskz_compress_epi32(events16, withSigns));
            to += countBits(events16);
            significantBefore += static_cast<std::uint32_t>(countBits(significant));
        }
        events.count = static_cast<unsigned>(to - events.places - 1);
        passes = (samples - significantBefore - events.places[events.count] - 1) & ~EventPlaces::sign;
    }

private:
    static constexpr unsigned lanes = 16;

    struct Lanes {
        __m512i places;
        __m512i folded;
        __mmask16 valid;

        __mmask16 reach(std::uint32_t limit) const {
            return _mm512_mask_cmpge_epu32_mask(valid, folded, _mm512_set1_epi32(static_cast<int>(limit)));
        }
    };

    Lanes load(unsigned i) const {
        const unsigned left = count - i;
        const auto valid = static_cast<__mmask16>(left < lanes ? (1U << left) - 1 : 0xFFFFU);
        const __m512i here = _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(places + i)));
        return {here, loadFolded(folded + i), valid};
    }
    static __m512i loadFolded(const short* values) {
        return _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(values)));
    }
    static __m512i loadFolded(const int* values) { return _mm512_loadu_si512(values); }

    // How many bits of the mask lie below each lane's own, and so many more.
    static __m512i onesBelow(__mmask16 mask, std::uint32_t more) {
        const __m512i below = _mm512_setr_epi32(0, 0x1, 0x3, 0x7, 0xF, 0x1F, 0x3F, 0x7F, 0xFF, 0x1FF, 0x3FF, 0x7FF,
                                                0xFFF, 0x1FFF, 0x3FFF, 0x7FFF);
        const __m512i ones = _mm512_popcnt_epi32(_mm512_and_si512(_mm512_set1_epi32(mask), below));
        return _mm512_add_epi32(ones, _mm512_set1_epi32(static_cast<int>(more)));
    }

    // Those of 64 values. Returns where they are.
    std::uint64_t append(const short* values, std::uint16_t start, short limit) {
        std::uint64_t all = 0;
        for (int i = 0; i < 64; i += 32) {
            const __m512i here = _mm512_loadu_si512(values + i);
            const __mmask32 reach = _mm512_cmpge_epi16_mask(here, _mm512_set1_epi16(limit));
            const __m512i place = _mm512_add_epi16(ascendingShorts(), _mm512_set1_epi16(static_cast<short>(start + i)));
            _mm512_storeu_si512(folded + count, _mm512_maskz_compress_epi16(reach, here));
            _mm512_storeu_si512(places + count, _mm512_maskz_compress_epi16(reach, place));
            count += static_cast<unsigned>(countBits(reach));
            all |= static_cast<std::uint64_t>(reach) << i;
        }
        return all;
    }
    std::uint64_t append(const int* values, std::uint16_t start, int limit) {
        std::uint64_t all = 0;
        for (int i = 0; i < 64; i += 16) {
            const __m512i here = _mm512_loadu_si512(values + i);
            const __mmask16 reach = _mm512_cmpge_epi32_mask(here, _mm512_set1_epi32(limit));
            const __m256i place = _mm256_add_epi16(_mm512_castsi512_si256(ascendingShorts()),
                                                   _mm256_set1_epi16(static_cast<short>(start + i)));
            _mm512_storeu_si512(folded + count, _mm512_maskz_compress_epi32(reach, here));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(places + count), _mm256_maskz_compress_epi16(reach, place));
            count += static_cast<unsigned>(countBits(reach));
            all |= static_cast<std::uint64_t>(reach) << i;
        }
        return all;
    }

    static __m512i ascendingShorts() {
        const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(ascendingBytes.bytes));
        return _mm512_cvtepu8_epi16(bytes);
    }

    unsigned samples;
    unsigned count;
    std::uint16_t places[chunkSamples + 32];
    V folded[chunkSamples + 32];
};

inline void codeListedRuns(BitAppender& appender, const auto& listed, int plane, unsigned k, std::uint64_t& passes) {
    EventPlaces events;
    listed.gatherEvents(plane, passes, events);
    putEvents(appender, events, k);
}

// Bit operations with AVX2. Included inside a target's region and namespace. No include guard.

#include "coding/planes/bitOperationsBmi2.hpp"

// words[b] gets bit b of 64 bytes, for b = 0 .. 7: the sign bits of all bytes, then all bytes doubled.
inline void sliceBytes(const unsigned char* bytes, std::uint64_t* words) {
    __m256i low = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
    __m256i high = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes + 32));
    for (int b = 7; b >= 0; --b) {
        const auto lowBits = static_cast<std::uint32_t>(_mm256_movemask_epi8(low));
        const auto highBits = static_cast<std::uint32_t>(_mm256_movemask_epi8(high));
        words[b] = lowBits | static_cast<std::uint64_t>(highBits) << 32;
        low = _mm256_add_epi8(low, low);
        high = _mm256_add_epi8(high, high);
    }
}

// Which of 64 bytes have bit `lowest` or a higher one.
inline std::uint64_t bytesReaching(const unsigned char* bytes, int lowest) {
    const __m256i bits = _mm256_set1_epi8(static_cast<char>(0xFF << lowest));
    const auto below = [=](const unsigned char* half) {
        const __m256i here = _mm256_and_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(half)), bits);
        return static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(here, _mm256_setzero_si256())));
    };
    return ~(below(bytes) | static_cast<std::uint64_t>(below(bytes + 32)) << 32);
}

// -1 in each of 32 bytes whose bit is set.
inline __m256i spreadBits(std::uint32_t bits) {
    const __m256i byteOfBit = _mm256_setr_epi64x(0, 0x0101010101010101, 0x0202020202020202, 0x0303030303030303);
    const __m256i bitInByte = _mm256_set1_epi64x(static_cast<long long>(0x8040201008040201U));
    const __m256i spread = _mm256_shuffle_epi8(_mm256_set1_epi32(static_cast<int>(bits)), byteOfBit);
    return _mm256_cmpeq_epi8(_mm256_and_si256(spread, bitInByte), bitInByte);
}

inline void unsliceBytes(const std::uint64_t* words, unsigned char* bytes) {
    __m256i low = _mm256_setzero_si256();
    __m256i high = _mm256_setzero_si256();
    for (int b = 7; b >= 0; --b) {
        low = _mm256_sub_epi8(_mm256_add_epi8(low, low), spreadBits(static_cast<std::uint32_t>(words[b])));
        high = _mm256_sub_epi8(_mm256_add_epi8(high, high), spreadBits(static_cast<std::uint32_t>(words[b] >> 32)));
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), low);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes + 32), high);
}

#include "coding/planes/unsliceRowsByWords.hpp"

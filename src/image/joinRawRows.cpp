#include "image/joinRawRows.hpp"

#include "target/region.hpp"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace teko {

namespace {

#include "image/joinRawRowsGeneric.hpp"

} // namespace

#if defined(__x86_64__)

TEKO_REGION_BEGIN(TEKO_AVX2_FEATURES)

namespace avx2 {

namespace {

#include "image/joinRawRowsGeneric.hpp"

void joinBytesInVectors(const SplitSamples<short>& samples, int width, unsigned char* raw) {
    int x = 0;
    for (; x + 32 <= width; x += 32) {
        const __m256i even = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(samples.even + x / 2));
        const __m256i odd = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(samples.odd + x / 2));
        const __m256i low = _mm256_and_si256(even, _mm256_set1_epi16(0xFF));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(raw + x), _mm256_or_si256(low, _mm256_slli_epi16(odd, 8)));
    }
    joinBytes({samples.even + x / 2, samples.odd + x / 2}, width - x, raw + x);
}

void joinWordsInVectors(const SplitSamples<int>& samples, int width, unsigned char* raw) {
    int x = 0;
    for (; x + 16 <= width; x += 16) {
        const __m256i even = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(samples.even + x / 2));
        const __m256i odd = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(samples.odd + x / 2));
        const __m256i low = _mm256_and_si256(even, _mm256_set1_epi32(0xFFFF));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(raw + 2L * x), _mm256_or_si256(low, _mm256_slli_epi32(odd, 16)));
    }
    joinWords<int>({samples.even + x / 2, samples.odd + x / 2}, width - x, raw + 2L * x);
}

void joinSmallWordsInVectors(const SplitSamples<short>& samples, int width, unsigned char* raw) {
    int x = 0;
    for (; x + 32 <= width; x += 32) {
        const __m256i even = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(samples.even + x / 2));
        const __m256i odd = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(samples.odd + x / 2));
        const __m256i low = _mm256_unpacklo_epi16(even, odd);
        const __m256i high = _mm256_unpackhi_epi16(even, odd);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(raw + 2L * x), _mm256_permute2x128_si256(low, high, 0x20));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(raw + 2L * x + 32), _mm256_permute2x128_si256(low, high, 0x31));
    }
    joinWords<short>({samples.even + x / 2, samples.odd + x / 2}, width - x, raw + 2L * x);
}

// Where the bytes of 16 pixels come from, 16 bytes at a time, in the samples of each channel, those at even places
// first; -1 where from another channel.
struct RgbShuffles {
    alignas(16) signed char places[3][3][16]; // [group][channel]

    constexpr RgbShuffles() : places() {
        for (int group = 0; group < 3; ++group) {
            for (int c = 0; c < 3; ++c) {
                for (int i = 0; i < 16; ++i) {
                    const int place = 16 * group + i;
                    const int pixel = place / 3;
                    const int source = pixel % 2 == 0 ? pixel / 2 : 8 + pixel / 2;
                    places[group][c][i] = static_cast<signed char>(place % 3 == c ? source : -1);
                }
            }
        }
    }
};

constexpr RgbShuffles rgbShuffles;

// The samples at even places, then those at odd ones.
inline __m256i loadSplit(const SplitSamples<short>& from, int i) {
    const __m128i even = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from.even + i));
    const __m128i odd = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from.odd + i));
    return _mm256_inserti128_si256(_mm256_castsi128_si256(even), odd, 1);
}

inline __m128i lowBytes(const __m256i& samples) {
    const __m256i masked = _mm256_and_si256(samples, _mm256_set1_epi16(0xFF));
    return _mm_packus_epi16(_mm256_castsi256_si128(masked), _mm256_extracti128_si256(masked, 1));
}

// Sixteen pixels at a time. Sums may wrap: only bits 0 to 9 of one count.
void joinColoursInVectors(const SplitSamples<short>* channels, int width, unsigned char* raw) {
    int x = 0;
    for (; x + 16 <= width; x += 16) {
        const __m256i u = loadSplit(channels[1], x / 2);
        const __m256i v = loadSplit(channels[2], x / 2);
        const __m256i g = _mm256_sub_epi16(loadSplit(channels[0], x / 2), _mm256_srai_epi16(_mm256_add_epi16(u, v), 2));
        const __m128i rgb[3] = {lowBytes(_mm256_add_epi16(u, g)), lowBytes(g), lowBytes(_mm256_add_epi16(v, g))};
        for (int group = 0; group < 3; ++group) {
            __m128i bytes = _mm_setzero_si128();
            for (int c = 0; c < 3; ++c) {
                const __m128i places = _mm_load_si128(reinterpret_cast<const __m128i*>(rgbShuffles.places[group][c]));
                bytes = _mm_or_si128(bytes, _mm_shuffle_epi8(rgb[c], places));
            }
            _mm_storeu_si128(reinterpret_cast<__m128i*>(raw + 3 * x + 16 * group), bytes);
        }
    }
    joinColoursFrom(x, channels, width, raw);
}

} // namespace

} // namespace avx2

TEKO_REGION_END

#endif

const JoinRawRows& joinRawRows(Target target) {
    static constexpr JoinRawRows portable{joinBytes, joinWords<int>, joinWords<short>, joinColours};
#if defined(__x86_64__)
    static constexpr JoinRawRows fast{avx2::joinBytesInVectors, avx2::joinWordsInVectors, avx2::joinSmallWordsInVectors,
                                      avx2::joinColoursInVectors};
    if (includesAvx2(target)) {
        return fast;
    }
#endif
    static_cast<void>(target);
    return portable;
}

} // namespace teko

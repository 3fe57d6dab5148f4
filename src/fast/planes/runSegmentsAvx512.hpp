// SPDX-License-Identifier: Apache-2.0
// Run segments with k > 0, sixteen events at a time with AVX-512.
//
// A loop over the events of a word ends where no predictor expects it, and finding one by one the places of set bits
// keeps a single port busy. Here the places of a word come from one compression of the numbers 0 .. 63, all events of
// a block are gathered before any is coded, and their codes are made in vectors (1.24 times on whole encodes of grey
// photographs).
#pragma once

#if !defined(TEKO_FOR_AVX512)
#define TEKO_FOR_AVX512
#endif
#include "fast/planes/bitPlaneBlock.hpp"
#include "fast/planes/runCodes.hpp"

#include <algorithm>
#include <cstdint>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

// Events of a plane of a block: where they are among the candidates in the low 31 bits, the sign above.
struct SignificanceEvents {
    static constexpr std::uint32_t sign = 0x80000000U;

    unsigned count;
    std::uint64_t farPasses; // of those before the first event: a multiple of 2^30, for places have 31 bits
    std::uint32_t places[1 + blockSamples + 64]; // [0] stands for the last event of the block before

    // Starts a block, so many passes after the last event of those before.
    void start(std::uint64_t passes) {
        farPasses = passes >> 30 << 30;
        places[0] = 0 - static_cast<std::uint32_t>(passes - farPasses) - 1;
    }

    // In front of `end`, one behind the last one's place; returns the passes since the last one, in a block of so many
    // candidates.
    std::uint64_t finish(const std::uint32_t* end, std::uint32_t candidates) {
        count = static_cast<unsigned>(end - places - 1);
        const std::uint64_t passes = (candidates - places[count] - 1) & ~sign;
        return count == 0 ? farPasses + passes : passes;
    }

    // Those before the first event that its place does not tell.
    void putFarPasses(BitAppender& out, unsigned k) const {
        static_assert(largestRunLengthParameter <= 30);
        if (count > 0 && farPasses > 0) [[unlikely]] {
            out.putZeros(farPasses >> k);
        }
    }

    std::uint64_t run(unsigned i) const { return (places[i + 1] - places[i] - 1) & ~sign; }
    std::uint64_t signOf(unsigned i) const { return places[i + 1] >> 31; }
};

struct AscendingBytes {
    unsigned char bytes[64];

    constexpr AscendingBytes() : bytes() {
        for (unsigned i = 0; i < 64; ++i) {
            bytes[i] = static_cast<unsigned char>(i);
        }
    }
};

inline constexpr AscendingBytes ascendingBytes;

// Stores places of 16 events as bytes: bits 0 .. 5 the place in a word that starts at `start`, bit 7 the sign.
inline void storePositions(std::uint32_t* to, __m512i start, __m128i bytes) {
    const __m512i placeAndSign = _mm512_set1_epi32(static_cast<int>(SignificanceEvents::sign | 63));
    _mm512_storeu_si512(to, _mm512_add_epi32(start, _mm512_and_si512(_mm512_cvtepi8_epi32(bytes), placeAndSign)));
}

// The events of a plane of a block. passes: since the last event, before and after.
inline void gatherEvents(BitPlaneBlock& sliced, int plane, std::uint64_t& passes, SignificanceEvents& found) {
    const __m512i ascending = _mm512_loadu_si512(ascendingBytes.bytes);
    const __m512i signBit = _mm512_set1_epi8(-128);
    std::uint32_t* to = found.places + 1;
    std::uint32_t start = 0;
    found.start(passes);
    for (int w = 0; w < sliced.words; ++w) {
        const Candidates candidates = sliced.takeCandidates(plane, w);
        const __mmask64 signs = extractBits(sliced.signs(w), candidates.all);
        const __m512i placesAndSigns = _mm512_mask_add_epi8(ascending, signs, ascending, signBit);
        const __m512i bytes = _mm512_maskz_compress_epi8(candidates.gathered(), placesAndSigns);
        const __m512i wordStart = _mm512_set1_epi32(static_cast<int>(start));
        const int events = countBits(candidates.events);
        storePositions(to, wordStart, _mm512_castsi512_si128(bytes));
        if (events > 16) [[unlikely]] {
            storePositions(to + 16, wordStart, _mm512_extracti32x4_epi32(bytes, 1));
            storePositions(to + 32, wordStart, _mm512_extracti32x4_epi32(bytes, 2));
            storePositions(to + 48, wordStart, _mm512_extracti32x4_epi32(bytes, 3));
        }
        to += events;
        start += candidates.count();
    }
    passes = found.finish(to, start);
}

// Sixteen codes and their lengths, which are 0 and 0 for lanes without an event.
struct VectorOfCodes {
    static constexpr unsigned count = 16;

    __m512i codes;
    __m512i lengths;

    static VectorOfCodes of(const SignificanceEvents& events, unsigned from, unsigned k) {
        const unsigned left = events.count - from;
        const auto lanes = static_cast<__mmask16>(left < 16 ? (1U << left) - 1 : 0xFFFFU);
        const __m512i one = _mm512_set1_epi32(1);
        const __m512i signBit = _mm512_set1_epi32(static_cast<int>(SignificanceEvents::sign));
        const __m512i places = _mm512_loadu_si512(events.places + 1 + from);
        const __m512i before = _mm512_loadu_si512(events.places + from);
        const __m512i run = _mm512_andnot_si512(signBit, _mm512_sub_epi32(_mm512_sub_epi32(places, before), one));
        const __m512i units = _mm512_srl_epi32(run, _mm_cvtsi32_si128(static_cast<int>(k)));
        const __m512i rest = _mm512_and_si512(run, _mm512_set1_epi32(static_cast<int>((1U << k) - 1)));
        const __m512i sign =
            _mm512_srl_epi32(_mm512_and_si512(signBit, places), _mm_cvtsi32_si128(static_cast<int>(30 - k)));
        const __m512i unshifted = _mm512_or_si512(_mm512_or_si512(one, _mm512_slli_epi32(rest, 1)), sign);
        return {_mm512_maskz_sllv_epi32(lanes, unshifted, units),
                _mm512_maskz_add_epi32(lanes, units, _mm512_set1_epi32(static_cast<int>(k + 2)))};
    }

    bool fitFourToPut() const { return areAtMost(16); }
    bool fitTwoToPut() const { return areAtMost(32); }

    void putFours(BitAppender& out) const {
        const PairsOfCodes pairs(*this);
        const __m512i next = _mm512_sllv_epi64(_mm512_unpackhi_epi64(pairs.codes, pairs.codes), pairs.lengths);
        alignas(64) std::uint64_t bits[8];
        alignas(64) std::uint64_t bitLengths[8];
        _mm512_store_si512(bits, _mm512_or_si512(pairs.codes, next));
        _mm512_store_si512(bitLengths,
                           _mm512_add_epi64(pairs.lengths, _mm512_unpackhi_epi64(pairs.lengths, pairs.lengths)));
        for (int i = 0; i < 8; i += 2) {
            out.put(bits[i], static_cast<unsigned>(bitLengths[i]));
        }
    }

    void putTwos(BitAppender& out) const {
        const PairsOfCodes pairs(*this);
        alignas(64) std::uint64_t bits[8];
        alignas(64) std::uint64_t bitLengths[8];
        _mm512_store_si512(bits, pairs.codes);
        _mm512_store_si512(bitLengths, pairs.lengths);
        for (int i = 0; i < 8; ++i) {
            out.put(bits[i], static_cast<unsigned>(bitLengths[i]));
        }
    }

private:
    // Codes of two neighbouring lanes, one behind the other, that have 64 bits together at most.
    struct PairsOfCodes {
        __m512i codes;
        __m512i lengths;

        explicit PairsOfCodes(const VectorOfCodes& of) {
            const __m512i low = _mm512_set1_epi64(0xFFFFFFFF);
            const __m512i firstLengths = _mm512_and_si512(of.lengths, low);
            const __m512i seconds = _mm512_sllv_epi64(_mm512_srli_epi64(of.codes, 32), firstLengths);
            codes = _mm512_or_si512(_mm512_and_si512(of.codes, low), seconds);
            lengths = _mm512_add_epi64(firstLengths, _mm512_srli_epi64(of.lengths, 32));
        }
    };

    bool areAtMost(int length) const { return _mm512_cmpgt_epu32_mask(lengths, _mm512_set1_epi32(length)) == 0; }
};

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END

// SPDX-License-Identifier: Apache-2.0
// SHA-256 (FIPS 180-4, Secure Hash Standard) of a file's bytes, as 64 hexadecimal digits.
#pragma once

#include "support/bytes.hpp"

#include <array>
#include <bit>
#include <string>

namespace teko {

class Sha256 {
public:
    static std::string of(const Bytes& message) {
        Sha256 hash;
        const Bytes padded = message + padding(message.size());
        for (std::size_t at = 0; at < padded.size(); at += blockBytes) {
            hash.addBlock(padded.data() + at);
        }
        return hash.text();
    }

private:
    static constexpr std::size_t blockBytes = 64;
    using Words = std::array<std::uint32_t, 8>;

    // The fractional parts of the cube roots of the first 64 primes.
    static constexpr std::array<std::uint32_t, 64> constants = {
        0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
        0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
        0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
        0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
        0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
        0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
        0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
        0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

    // The fractional parts of the square roots of the first 8 primes.
    Words state = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a, 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

    // A one bit, zeros up to 8 bytes below a whole number of blocks, and the length in bits.
    static Bytes padding(std::size_t messageBytes) {
        Bytes result{0x80};
        result.resize(1 + (2 * blockBytes - 9 - messageBytes % blockBytes) % blockBytes);
        for (int shift = 56; shift >= 0; shift -= 8) {
            result.push_back(static_cast<std::uint8_t>(std::uint64_t{messageBytes} * 8 >> shift & 0xFF));
        }
        return result;
    }

    // Sums are kept to 32 bits explicitly, so that no checker takes the wrap for an accident.
    static std::uint32_t low(std::uint64_t sum) { return static_cast<std::uint32_t>(sum & 0xFFFFFFFF); }

    static std::array<std::uint32_t, 64> schedule(const std::uint8_t* block) {
        std::array<std::uint32_t, 64> w{};
        for (std::size_t t = 0; t < 16; ++t) {
            for (std::size_t i = 0; i < 4; ++i) {
                w[t] = w[t] << 8 | block[4 * t + i];
            }
        }
        for (std::size_t t = 16; t < 64; ++t) {
            const std::uint32_t s0 = std::rotr(w[t - 15], 7) ^ std::rotr(w[t - 15], 18) ^ w[t - 15] >> 3;
            const std::uint32_t s1 = std::rotr(w[t - 2], 17) ^ std::rotr(w[t - 2], 19) ^ w[t - 2] >> 10;
            w[t] = low(std::uint64_t{s1} + w[t - 7] + s0 + w[t - 16]);
        }
        return w;
    }

    void addBlock(const std::uint8_t* block) {
        const auto w = schedule(block);
        auto [a, b, c, d, e, f, g, h] = state;
        for (std::size_t t = 0; t < 64; ++t) {
            const std::uint32_t sum1 = std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25);
            const std::uint32_t sum0 = std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22);
            const std::uint64_t t1 = std::uint64_t{h} + sum1 + ((e & f) ^ (~e & g)) + constants[t] + w[t];
            const std::uint64_t t2 = std::uint64_t{sum0} + ((a & b) ^ (a & c) ^ (b & c));
            h = g;
            g = f;
            f = e;
            e = low(d + t1);
            d = c;
            c = b;
            b = a;
            a = low(t1 + t2);
        }
        const Words added = {a, b, c, d, e, f, g, h};
        for (std::size_t i = 0; i < state.size(); ++i) {
            state[i] = low(std::uint64_t{state[i]} + added[i]);
        }
    }

    std::string text() const {
        std::string digits;
        for (const std::uint32_t word : state) {
            for (int shift = 28; shift >= 0; shift -= 4) {
                digits += "0123456789abcdef"[word >> shift & 0xF];
            }
        }
        return digits;
    }
};

} // namespace teko

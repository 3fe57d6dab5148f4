// Bit operations in standard C++. Included once per target that has no better ones. No include guard.

// The bits of value at the set places of mask, moved together at the bottom.
inline std::uint64_t extractBits(std::uint64_t value, std::uint64_t mask) {
    if (mask == ~std::uint64_t{0}) {
        return value;
    }
    std::uint64_t result = 0;
    value &= mask;
    if ((mask & (mask + 1)) == 0) { // all at the bottom already
        return value;
    }
    for (; value != 0; value &= value - 1) {
        const int place = std::countr_zero(value);
        result |= std::uint64_t{1} << std::popcount(mask & ((std::uint64_t{1} << place) - 1));
    }
    return result;
}

// The lowest bits of value, moved to the set places of mask.
inline std::uint64_t depositBits(std::uint64_t value, std::uint64_t mask) {
    if (mask == ~std::uint64_t{0}) {
        return value;
    }
    std::uint64_t result = 0;
    for (; mask != 0 && value != 0; mask &= mask - 1, value >>= 1) {
        result |= (value & 1) != 0 ? mask & (0 - mask) : 0;
    }
    return result;
}

// Transposes a matrix of 8 x 8 bits, one byte a row.
inline std::uint64_t transposed(std::uint64_t m) {
    std::uint64_t t = (m ^ m >> 7) & 0x00AA00AA00AA00AAU;
    m ^= t ^ t << 7;
    t = (m ^ m >> 14) & 0x0000CCCC0000CCCCU;
    m ^= t ^ t << 14;
    t = (m ^ m >> 28) & 0x00000000F0F0F0F0U;
    return m ^ t ^ t << 28;
}

// words[b] gets bit b of 64 bytes, for b = 0 .. 7.
inline void sliceBytes(const unsigned char* bytes, std::uint64_t* words) {
    std::uint64_t rows[8];
    for (int i = 0; i < 8; ++i) {
        std::uint64_t group = 0;
        for (int j = 0; j < 8; ++j) {
            group |= static_cast<std::uint64_t>(bytes[8 * i + j]) << (8 * j);
        }
        rows[i] = transposed(group);
    }
    for (int b = 0; b < 8; ++b) {
        words[b] = 0;
        for (int i = 0; i < 8; ++i) {
            words[b] |= (rows[i] >> (8 * b) & 0xFFU) << (8 * i);
        }
    }
}

inline void unsliceBytes(const std::uint64_t* words, unsigned char* bytes) {
    for (int i = 0; i < 8; ++i) {
        std::uint64_t rows = 0;
        for (int b = 0; b < 8; ++b) {
            rows |= (words[b] >> (8 * i) & 0xFFU) << (8 * b);
        }
        const std::uint64_t group = transposed(rows);
        for (int j = 0; j < 8; ++j) {
            bytes[8 * i + j] = static_cast<unsigned char>(group >> (8 * j) & 0xFFU);
        }
    }
}

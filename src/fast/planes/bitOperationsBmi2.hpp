// SPDX-License-Identifier: Apache-2.0
// Counting, extraction and deposit of bits with BMI2. Included inside a target's region and namespace. No include
// guard.

constexpr bool isDepositFast = true;

inline int countBits(std::uint64_t value) {
    return std::popcount(value);
}

inline std::uint64_t extractBits(std::uint64_t value, std::uint64_t mask) {
    return _pext_u64(value, mask);
}

inline std::uint64_t depositBits(std::uint64_t value, std::uint64_t mask) {
    return _pdep_u64(value, mask);
}

// SPDX-License-Identifier: Apache-2.0
// The raw bytes by zstd.
#include "bench/peers/codec.hpp"

#include <zstd.h>

namespace teko::bench {

namespace {

constexpr int level = 3;

Bytes encode(const ImageEntry&, ByteView raw) {
    Bytes coded(ZSTD_compressBound(raw.size()));
    coded.size = ZSTD_compress(coded.memory.get(), coded.capacity, raw.data(), raw.size(), level);
    require(ZSTD_isError(coded.size) == 0, "zstd: encode");
    return coded;
}

void decode(const ImageEntry&, ByteView coded, std::span<unsigned char> raw) {
    const std::size_t size = ZSTD_decompress(raw.data(), raw.size(), coded.data(), coded.size());
    require(size == raw.size(), "zstd: decode");
}

} // namespace

const PeerCodec zstdCodec{"zstd", "level 3, on the raw bytes", &takesEverything, &encode, &decode};

} // namespace teko::bench

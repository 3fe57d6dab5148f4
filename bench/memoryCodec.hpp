// SPDX-License-Identifier: Apache-2.0
// The codec from memory to memory, whole and by its stages.
#pragma once

#include "bench/bytes.hpp"
#include "bench/imageList.hpp"
#include "codec/imageDecoder.hpp"
#include "codec/imageEncoder.hpp"

#include <cstdint>
#include <optional>

namespace teko::bench {

// The stages of the codec. Each throws std::runtime_error when it fails.
class StagedCodec {
public:
    explicit StagedCodec(const ImageEntry& imageEntry) : entry(imageEntry) {}

    void transform(ByteView raw);               // up to folded and counted coefficients
    Bytes code(std::uint64_t capacity);         // those: payload only, cut where the capacity ends; once
    void decode(ByteView payload);              // up to sliced coefficients
    void restore(std::span<unsigned char> raw); // from those; once

private:
    ImageEntry entry;
    std::optional<ImageEncoder> encoder;
    std::optional<ImageDecoder> decoder;
};

// A coded file as modes c and C make it: lossless, or cut to a part of the raw size.
Bytes encodeWhole(const ImageEntry& entry, ByteView raw);
Bytes encodeWithin(float rate, const ImageEntry& entry, ByteView raw);
// Its raw bytes again, those of a cut file as mode d makes them. The shape is the entry's.
void decodeWhole(const ImageEntry& entry, ByteView coded, std::span<unsigned char> raw);

// Tiles of 64 x 64 of an image whose sides are multiples of that, each coded as an image of its own.
class TiledCodec {
public:
    explicit TiledCodec(const ImageEntry& image);

    void encode(ByteView raw);
    // After encode.
    void decode(std::span<unsigned char> raw) const;

private:
    static constexpr int side = 64;

    std::ptrdiff_t pitch;
    ImageEntry tile;
    std::vector<Bytes> coded;
    std::vector<std::size_t> places;
};

} // namespace teko::bench

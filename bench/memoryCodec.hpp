// The codec from memory to memory, whole and by its stages.
#pragma once

#include "bench/bytes.hpp"
#include "bench/imageList.hpp"
#include "filter/filter4_2.hpp"
#include "image/imageData.hpp"
#include "wavelet/wavelet.hpp"

#include <cstdint>

namespace teko::bench {

// The planes of one image and what works on them. Stages run in the order of their names here; each throws
// what it calls throws.
template <typename T>
class MemoryCodec {
public:
    explicit MemoryCodec(const ImageEntry& entry);

    void readPlanes(ByteView raw);
    void applyColour(); // both do nothing for grey
    void transform();
    Bytes code(std::uint64_t capacity); // payload only; cut where the capacity ends
    void decode(ByteView payload);      // aligned to a word
    void untransform();
    void revertColour();
    void writePlanes(std::span<unsigned char> raw);

    ImageData<T> image;

private:
    Filter4_2<T> filter;
    Wavelet<T> wavelet;
};

// A coded file as modes c and C make it: lossless, or cut to a part of the raw size.
Bytes encodeWhole(const ImageEntry& entry, ByteView raw);
Bytes encodeWithin(float rate, const ImageEntry& entry, ByteView raw);
// Its raw bytes again. The shape is the entry's.
void decodeWhole(const ImageEntry& entry, ByteView coded, std::span<unsigned char> raw);

extern template class MemoryCodec<short>;
extern template class MemoryCodec<long>;

} // namespace teko::bench

// The codec from memory to memory, whole and by its stages.
#pragma once

#include "bench/bytes.hpp"
#include "bench/imageList.hpp"
#include "coding/rowDecoder.hpp"
#include "coding/rowEncoder.hpp"

#include <cstdint>
#include <memory>

namespace teko::bench {

// The stages of the row by row codec. Each throws what it calls throws.
template <typename T>
class RowCodec {
public:
    // Whether images of that shape go row by row, with the target in use.
    static bool suits(const ImageEntry& entry);

    explicit RowCodec(const ImageEntry& imageEntry) : entry(imageEntry) {}

    void transform(ByteView raw);               // up to folded and counted coefficients
    Bytes code(std::uint64_t capacity);         // those: payload only, cut where the capacity ends; once
    void decode(ByteView payload);              // aligned to a word; up to sliced coefficients
    void restore(std::span<unsigned char> raw); // from those; once

private:
    ImageEntry entry;
    std::unique_ptr<RowEncoder<T>> encoder;
    std::unique_ptr<RowDecoder<T>> decoder;
    int limit = 0; // of samples whose payload ended early
};

// A coded file as modes c and C make it: lossless, or cut to a part of the raw size.
Bytes encodeWhole(const ImageEntry& entry, ByteView raw);
Bytes encodeWithin(float rate, const ImageEntry& entry, ByteView raw);
// Its raw bytes again, those of a cut file as mode d makes them. The shape is the entry's.
void decodeWhole(const ImageEntry& entry, ByteView coded, std::span<unsigned char> raw);

extern template class RowCodec<short>;
extern template class RowCodec<long>;

} // namespace teko::bench

// SPDX-License-Identifier: Apache-2.0
#include "bench/codecObject.hpp"

#include "bench/memoryCodec.hpp"

#include <exception>

namespace teko::bench {

namespace {

ImageEntry entryOf(const TekoBenchImage& image) {
    ImageEntry entry;
    entry.bytesPerPixel = image.bytesPerPixel;
    entry.bitsPerSample = image.bitsPerSample;
    entry.width = image.width;
    entry.height = image.height;
    return entry;
}

} // namespace

} // namespace teko::bench

extern "C" {

[[gnu::visibility("default")]] std::size_t tekoBenchEncode(const TekoBenchImage* image, const unsigned char* raw,
                                                           std::size_t rawBytes, float rate, unsigned char* coded) {
    try {
        const auto entry = teko::bench::entryOf(*image);
        const teko::bench::ByteView view(raw, rawBytes);
        const teko::bench::Bytes bytes =
            rate > 0 ? teko::bench::encodeWithin(rate, entry, view) : teko::bench::encodeWhole(entry, view);
        std::memcpy(coded, bytes.view().data(), bytes.size);
        return bytes.size;
    } catch (...) {
        return 0;
    }
}

[[gnu::visibility("default")]] int tekoBenchDecode(const TekoBenchImage* image, const unsigned char* coded,
                                                   std::size_t codedBytes, unsigned char* raw, std::size_t rawBytes) {
    try {
        teko::bench::decodeWhole(teko::bench::entryOf(*image), {coded, codedBytes}, {raw, rawBytes});
        return 1;
    } catch (...) {
        return 0;
    }
}
}

// SPDX-License-Identifier: Apache-2.0
// libteko behind the same interface as a revision of the codec, to be called in turn with it.
#include "bench/codecObject.hpp"

#include <teko/teko.h>

#include <cstring>

namespace {

teko_image describe(const TekoBenchImage& shape) {
    teko_image image{};
    image.struct_size = sizeof image;
    image.kind = static_cast<uint32_t>(shape.bytesPerPixel);
    image.bits = static_cast<uint32_t>(shape.bitsPerSample);
    image.width = static_cast<uint32_t>(shape.width);
    image.height = static_cast<uint32_t>(shape.height);
    return image;
}

} // namespace

extern "C" {

[[gnu::visibility("default")]] std::size_t tekoBenchEncode(const TekoBenchImage* shape, const unsigned char* raw,
                                                           std::size_t, float rate, unsigned char* coded) {
    const teko_image image = describe(*shape);
    teko_options options{};
    options.struct_size = sizeof options;
    options.goal = rate > 0 ? TEKO_TO_RATE : TEKO_WHOLE;
    options.rate = rate;
    teko_buffer file{sizeof file, nullptr, 0, 0};
    if (teko_encode(&image, raw, &file, &options) < 0) {
        return 0;
    }
    const std::size_t bytes = file.size;
    std::memcpy(coded, file.data, bytes);
    teko_release(&file, &options);
    return bytes;
}

[[gnu::visibility("default")]] int tekoBenchDecode(const TekoBenchImage* shape, const unsigned char* coded,
                                                   std::size_t codedBytes, unsigned char* raw, std::size_t) {
    const teko_image image = describe(*shape);
    return teko_decode(coded, codedBytes, &image, raw, nullptr, nullptr) >= 0 ? 1 : 0;
}
}

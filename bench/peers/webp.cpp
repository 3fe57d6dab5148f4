// SPDX-License-Identifier: Apache-2.0
// WebP lossless by libwebp.
#include "bench/peers/codec.hpp"

#include <webp/decode.h>
#include <webp/encode.h>

namespace teko::bench {

namespace {

int appendTo(const std::uint8_t* data, std::size_t count, const WebPPicture* picture) {
    static_cast<Bytes*>(picture->custom_ptr)->append(data, count);
    return 1;
}

Bytes encode(const ImageEntry& entry, ByteView raw) {
    WebPConfig config;
    require(WebPConfigInit(&config) != 0 && WebPConfigLosslessPreset(&config, 0) != 0, "libwebp: settings");
    WebPPicture picture;
    require(WebPPictureInit(&picture) != 0, "libwebp: image");
    const std::unique_ptr<WebPPicture, decltype(&WebPPictureFree)> freed(&picture, &WebPPictureFree);
    Bytes coded(codedCapacity(raw.size()));
    picture.use_argb = 1;
    picture.width = entry.width;
    picture.height = entry.height;
    picture.writer = &appendTo;
    picture.custom_ptr = &coded;
    require(WebPPictureImportRGB(&picture, raw.data(), static_cast<int>(entry.rowBytes())) != 0 &&
                WebPEncode(&config, &picture) != 0,
            "libwebp: encode");
    return coded;
}

void decode(const ImageEntry& entry, ByteView coded, std::span<unsigned char> raw) {
    require(WebPDecodeRGBInto(coded.data(), coded.size(), raw.data(), raw.size(), static_cast<int>(entry.rowBytes())) !=
                nullptr,
            "libwebp: decode");
}

bool takesColour(const ImageEntry& entry) {
    return entry.isColour() && entry.width <= WEBP_MAX_DIMENSION && entry.height <= WEBP_MAX_DIMENSION;
}

} // namespace

const PeerCodec webpCodec{"WebP", "lossless preset 0 (method 0); RGB only", &takesColour, &encode, &decode};

} // namespace teko::bench

// SPDX-License-Identifier: Apache-2.0
// JPEG-LS by CharLS.
#include "bench/peers/codec.hpp"

#include <charls/charls.h>

namespace teko::bench {

namespace {

Bytes encode(const ImageEntry& entry, ByteView raw) {
    charls::jpegls_encoder encoder;
    encoder.frame_info({static_cast<std::uint32_t>(entry.width), static_cast<std::uint32_t>(entry.height),
                        entry.bitsPerSample, entry.channels()});
    if (entry.isColour()) {
        encoder.interleave_mode(charls::interleave_mode::line).color_transformation(charls::color_transformation::hp1);
    }
    Bytes coded(codedCapacity(raw.size()));
    encoder.destination(coded.memory.get(), coded.capacity);
    coded.size = encoder.encode(raw.data(), raw.size());
    return coded;
}

void decode(const ImageEntry&, ByteView coded, std::span<unsigned char> raw) {
    const charls::jpegls_decoder decoder(coded.data(), coded.size(), true);
    decoder.decode(raw.data(), raw.size());
}

} // namespace

const PeerCodec charLsCodec{"CharLS", "near 0; RGB interleaved by line, colour transform HP1", &takesEverything,
                            &encode, &decode};

} // namespace teko::bench

// SPDX-License-Identifier: Apache-2.0
// JPEG XL by libjxl, on the calling thread as long as it is given no runner.
#include "bench/peers/codec.hpp"

#include <jxl/decode.h>
#include <jxl/encode.h>

namespace teko::bench {

namespace {

JxlPixelFormat formatOf(const ImageEntry& entry) {
    const JxlDataType type = entry.bytesPerSample() == 2 ? JXL_TYPE_UINT16 : JXL_TYPE_UINT8;
    return {static_cast<std::uint32_t>(entry.channels()), type, JXL_LITTLE_ENDIAN, 0};
}

// 16-bit files are declared to use all their bits: the library scales samples to the bits declared.
void describe(const ImageEntry& entry, JxlEncoder* encoder) {
    JxlBasicInfo info;
    JxlEncoderInitBasicInfo(&info);
    info.xsize = static_cast<std::uint32_t>(entry.width);
    info.ysize = static_cast<std::uint32_t>(entry.height);
    info.bits_per_sample = static_cast<std::uint32_t>(8 * entry.bytesPerSample());
    info.num_color_channels = static_cast<std::uint32_t>(entry.channels());
    info.uses_original_profile = JXL_TRUE;
    require(JxlEncoderSetBasicInfo(encoder, &info) == JXL_ENC_SUCCESS, "libjxl: image");
    JxlColorEncoding colours;
    JxlColorEncodingSetToSRGB(&colours, entry.isColour() ? JXL_FALSE : JXL_TRUE);
    require(JxlEncoderSetColorEncoding(encoder, &colours) == JXL_ENC_SUCCESS, "libjxl: colours");
}

Bytes encode(const ImageEntry& entry, ByteView raw) {
    const std::unique_ptr<JxlEncoder, decltype(&JxlEncoderDestroy)> encoder(JxlEncoderCreate(nullptr),
                                                                            &JxlEncoderDestroy);
    describe(entry, encoder.get());
    JxlEncoderFrameSettings* settings = JxlEncoderFrameSettingsCreate(encoder.get(), nullptr);
    const JxlPixelFormat format = formatOf(entry);
    require(JxlEncoderSetFrameLossless(settings, JXL_TRUE) == JXL_ENC_SUCCESS &&
                JxlEncoderFrameSettingsSetOption(settings, JXL_ENC_FRAME_SETTING_EFFORT, 1) == JXL_ENC_SUCCESS &&
                JxlEncoderAddImageFrame(settings, &format, raw.data(), raw.size()) == JXL_ENC_SUCCESS,
            "libjxl: frame");
    JxlEncoderCloseInput(encoder.get());

    Bytes coded(codedCapacity(raw.size()));
    std::uint8_t* next = coded.memory.get();
    std::size_t left = coded.capacity;
    require(JxlEncoderProcessOutput(encoder.get(), &next, &left) == JXL_ENC_SUCCESS, "libjxl: encode");
    coded.size = coded.capacity - left;
    return coded;
}

void decode(const ImageEntry& entry, ByteView coded, std::span<unsigned char> raw) {
    const std::unique_ptr<JxlDecoder, decltype(&JxlDecoderDestroy)> decoder(JxlDecoderCreate(nullptr),
                                                                            &JxlDecoderDestroy);
    require(JxlDecoderSubscribeEvents(decoder.get(), JXL_DEC_FULL_IMAGE) == JXL_DEC_SUCCESS &&
                JxlDecoderSetInput(decoder.get(), coded.data(), coded.size()) == JXL_DEC_SUCCESS,
            "libjxl: setup");
    JxlDecoderCloseInput(decoder.get());
    require(JxlDecoderProcessInput(decoder.get()) == JXL_DEC_NEED_IMAGE_OUT_BUFFER, "libjxl: header");
    const JxlPixelFormat format = formatOf(entry);
    require(JxlDecoderSetImageOutBuffer(decoder.get(), &format, raw.data(), raw.size()) == JXL_DEC_SUCCESS &&
                JxlDecoderProcessInput(decoder.get()) == JXL_DEC_FULL_IMAGE,
            "libjxl: decode");
}

} // namespace

const PeerCodec libjxlCodec{"libjxl", "lossless, effort 1", &takesEverything, &encode, &decode};

} // namespace teko::bench

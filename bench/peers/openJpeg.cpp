// SPDX-License-Identifier: Apache-2.0
// JPEG 2000 by OpenJPEG.
#include "bench/peers/codec.hpp"

#include <openjpeg.h>

#include <algorithm>

namespace teko::bench {

namespace {

using Codec = std::unique_ptr<opj_codec_t, decltype(&opj_destroy_codec)>;
using Image = std::unique_ptr<opj_image_t, decltype(&opj_image_destroy)>;
using Stream = std::unique_ptr<opj_stream_t, decltype(&opj_stream_destroy)>;

struct MemoryFile {
    unsigned char* data;
    std::size_t capacity;
    std::size_t size;
    std::size_t position = 0;
};

OPJ_SIZE_T readSome(void* buffer, OPJ_SIZE_T count, void* user) {
    auto& file = *static_cast<MemoryFile*>(user);
    const std::size_t got = std::min(count, file.size - file.position);
    std::memcpy(buffer, file.data + file.position, got);
    file.position += got;
    return got == 0 ? static_cast<OPJ_SIZE_T>(-1) : got;
}

OPJ_SIZE_T writeSome(void* buffer, OPJ_SIZE_T count, void* user) {
    auto& file = *static_cast<MemoryFile*>(user);
    if (count > file.capacity - file.position) {
        return static_cast<OPJ_SIZE_T>(-1);
    }
    std::memcpy(file.data + file.position, buffer, count);
    file.position += count;
    file.size = std::max(file.size, file.position);
    return count;
}

OPJ_BOOL seekTo(OPJ_OFF_T position, void* user) {
    auto& file = *static_cast<MemoryFile*>(user);
    if (position < 0 || static_cast<std::size_t>(position) > file.capacity) {
        return OPJ_FALSE;
    }
    file.position = static_cast<std::size_t>(position);
    return OPJ_TRUE;
}

OPJ_OFF_T skipSome(OPJ_OFF_T count, void* user) {
    const auto position = static_cast<OPJ_OFF_T>(static_cast<MemoryFile*>(user)->position);
    return seekTo(position + count, user) == OPJ_TRUE ? count : -1;
}

Stream openStream(MemoryFile& file, bool isInput) {
    Stream stream(opj_stream_default_create(isInput ? OPJ_TRUE : OPJ_FALSE), &opj_stream_destroy);
    opj_stream_set_user_data(stream.get(), &file, nullptr);
    opj_stream_set_user_data_length(stream.get(), file.size);
    opj_stream_set_read_function(stream.get(), readSome);
    opj_stream_set_write_function(stream.get(), writeSome);
    opj_stream_set_skip_function(stream.get(), skipSome);
    opj_stream_set_seek_function(stream.get(), seekTo);
    return stream;
}

// Calls visit(sample of the component, byte position in the raw image) for every sample.
template <typename Visit>
void forEachSample(const opj_image_t& image, std::size_t pixels, std::size_t bytesPerSample, Visit visit) {
    const std::size_t step = image.numcomps * bytesPerSample;
    for (std::size_t c = 0; c < image.numcomps; ++c) {
        OPJ_INT32* samples = image.comps[c].data;
        for (std::size_t i = 0; i < pixels; ++i) {
            visit(samples[i], i * step + c * bytesPerSample);
        }
    }
}

Image imageOf(const ImageEntry& entry, ByteView raw) {
    opj_image_cmptparm_t components[3] = {};
    const auto channels = static_cast<OPJ_UINT32>(entry.channels());
    for (OPJ_UINT32 c = 0; c < channels; ++c) {
        components[c].dx = components[c].dy = 1;
        components[c].w = static_cast<OPJ_UINT32>(entry.width);
        components[c].h = static_cast<OPJ_UINT32>(entry.height);
        components[c].prec = static_cast<OPJ_UINT32>(entry.bitsPerSample);
    }
    Image image(opj_image_create(channels, components, entry.isColour() ? OPJ_CLRSPC_SRGB : OPJ_CLRSPC_GRAY),
                &opj_image_destroy);
    require(image != nullptr, "OpenJPEG: no image");
    image->x1 = static_cast<OPJ_UINT32>(entry.width);
    image->y1 = static_cast<OPJ_UINT32>(entry.height);
    if (entry.bytesPerSample() == 2) {
        forEachSample(*image, entry.pixels(), 2,
                      [&](OPJ_INT32& sample, std::size_t at) { sample = raw[at] | raw[at + 1] << 8; });
    } else {
        forEachSample(*image, entry.pixels(), 1, [&](OPJ_INT32& sample, std::size_t at) { sample = raw[at]; });
    }
    return image;
}

Bytes encode(const ImageEntry& entry, ByteView raw) {
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters); // 5/3, five decompositions, blocks of 64 x 64
    parameters.tcp_numlayers = 1;
    parameters.tcp_rates[0] = 0; // lossless
    parameters.cp_disto_alloc = 1;
    parameters.tcp_mct = entry.isColour() ? 1 : 0;
    const Image image = imageOf(entry, raw);
    const Codec codec(opj_create_compress(OPJ_CODEC_J2K), &opj_destroy_codec);
    require(opj_setup_encoder(codec.get(), &parameters, image.get()) == OPJ_TRUE, "OpenJPEG: setup");

    Bytes coded(codedCapacity(raw.size()));
    MemoryFile file{coded.memory.get(), coded.capacity, 0};
    const Stream stream = openStream(file, false);
    require(opj_start_compress(codec.get(), image.get(), stream.get()) == OPJ_TRUE &&
                opj_encode(codec.get(), stream.get()) == OPJ_TRUE &&
                opj_end_compress(codec.get(), stream.get()) == OPJ_TRUE,
            "OpenJPEG: encode");
    coded.size = file.size;
    return coded;
}

void decode(const ImageEntry& entry, ByteView coded, std::span<unsigned char> raw) {
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    const Codec codec(opj_create_decompress(OPJ_CODEC_J2K), &opj_destroy_codec);
    require(opj_setup_decoder(codec.get(), &parameters) == OPJ_TRUE, "OpenJPEG: setup");
    MemoryFile file{const_cast<unsigned char*>(coded.data()), coded.size(), coded.size()};
    const Stream stream = openStream(file, true);
    opj_image_t* header = nullptr;
    require(opj_read_header(stream.get(), codec.get(), &header) == OPJ_TRUE, "OpenJPEG: header");
    const Image image(header, &opj_image_destroy);
    require(opj_decode(codec.get(), stream.get(), image.get()) == OPJ_TRUE &&
                opj_end_decompress(codec.get(), stream.get()) == OPJ_TRUE,
            "OpenJPEG: decode");
    if (entry.bytesPerSample() == 2) {
        forEachSample(*image, entry.pixels(), 2, [&](OPJ_INT32 sample, std::size_t at) {
            raw[at] = static_cast<unsigned char>(sample & 0xFF);
            raw[at + 1] = static_cast<unsigned char>(sample >> 8 & 0xFF);
        });
    } else {
        forEachSample(*image, entry.pixels(), 1,
                      [&](OPJ_INT32 sample, std::size_t at) { raw[at] = static_cast<unsigned char>(sample & 0xFF); });
    }
}

} // namespace

const PeerCodec openJpegCodec{"OpenJPEG", "reversible 5/3, five decompositions, 64 x 64 blocks, reversible colour",
                              &takesEverything, &encode, &decode};

} // namespace teko::bench

// SPDX-License-Identifier: Apache-2.0
// Calls of the library with what they need, and what they leave.
#pragma once

#include "pictures.hpp"

namespace teko {

inline teko_options options() {
    teko_options none = {};
    none.struct_size = sizeof none;
    return none;
}

inline teko_options toBytes(std::size_t bytes) {
    teko_options result = options();
    result.goal = TEKO_TO_BYTES;
    result.bytes = bytes;
    return result;
}

inline teko_options toRate(double rate) {
    teko_options result = options();
    result.goal = TEKO_TO_RATE;
    result.rate = rate;
    return result;
}

inline teko_options reducedBy(std::uint32_t reduce) {
    teko_options result = options();
    result.reduce = reduce;
    return result;
}

struct Encoded {
    teko_status status;
    Bytes file;

    bool operator==(const Encoded&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, const Encoded& encoded) {
    return stream << "status " << encoded.status << ", " << encoded.file.size() << " bytes";
}

inline teko_buffer noBuffer() {
    teko_buffer buffer = {};
    buffer.struct_size = sizeof buffer;
    return buffer;
}

// Takes what the library allocated for a file, and gives it back.
inline Bytes taken(teko_buffer& buffer, const teko_options& given) {
    const auto* data = static_cast<const std::uint8_t*>(buffer.data);
    Bytes bytes(data, data + (data == nullptr ? 0 : buffer.size));
    teko_release(&buffer, &given);
    return bytes;
}

// Never null, as the pointers of empty vectors may be.
inline const void* addressOf(const Bytes& bytes) {
    static const std::uint8_t nothing = 0;
    return bytes.empty() ? &nothing : bytes.data();
}

inline Encoded encode(const teko_image& image, const void* samples, const teko_options& given = options()) {
    teko_buffer buffer = noBuffer();
    const teko_status status = teko_encode(&image, samples, &buffer, &given);
    return {status, taken(buffer, given)};
}

inline Encoded encode(const Picture& picture, const teko_options& given = options()) {
    return encode(picture.description(), picture.samples.data(), given);
}

struct DecodedPicture {
    teko_status status;
    Bytes samples;
    std::size_t used;

    bool operator==(const DecodedPicture&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, const DecodedPicture& decoded) {
    return stream << "status " << decoded.status << ", " << decoded.samples.size() << " bytes, used " << decoded.used;
}

// The description of the image that a file decodes to. Of a file without one: a status below 0, and nothing.
inline teko_status describe(const Bytes& file, std::uint32_t reduce, Picture& picture) {
    teko_image image = {};
    image.struct_size = sizeof image;
    const teko_status status = teko_describe(addressOf(file), file.size(), &image);
    picture = {image.kind, teko_reduced(image.width, reduce), teko_reduced(image.height, reduce), image.bits, {}};
    return status;
}

inline DecodedPicture decode(const Bytes& file, const teko_options& given = options()) {
    Picture picture{};
    const teko_status described = describe(file, given.reduce, picture);
    if (described < 0) {
        return {described, {}, 0};
    }
    picture.samples.resize(picture.rawBytes(), 0xCD);
    teko_outcome outcome = {sizeof outcome, 0};
    const teko_image image = picture.description();
    const teko_status status =
        teko_decode(addressOf(file), file.size(), &image, picture.samples.data(), &given, &outcome);
    return {status, status < 0 ? Bytes{} : picture.samples, outcome.used};
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
#include "codec/fileHeader.hpp"

#include <cstring>

namespace teko {

namespace {

constexpr const char* magicText = "TK10";

std::uint16_t joined(unsigned char low, unsigned char high) {
    return static_cast<std::uint16_t>(low | high << 8);
}

} // namespace

FileHeader FileHeader::forImage(std::int64_t bytesPerPixel, std::int64_t bitsPerPixel, std::int64_t xsize,
                                std::int64_t ysize) {
    FileHeader header;
    std::memcpy(header.magic.data(), magicText, header.magic.size());
    header.bytesPerPixel = static_cast<std::uint8_t>(bytesPerPixel & 0xFF);
    header.bitsPerPixel = static_cast<std::uint8_t>(bitsPerPixel & 0xFF);
    header.xsize = static_cast<std::uint16_t>(xsize & 0xFFFF);
    header.ysize = static_cast<std::uint16_t>(ysize & 0xFFFF);
    return header;
}

FileHeader FileHeader::parse(const std::array<unsigned char, bytes>& raw) {
    FileHeader header;
    std::memcpy(header.magic.data(), raw.data(), header.magic.size());
    header.bytesPerPixel = raw[4];
    header.bitsPerPixel = raw[5];
    header.xsize = joined(raw[6], raw[7]);
    header.ysize = joined(raw[8], raw[9]);
    return header;
}

std::array<unsigned char, FileHeader::bytes> FileHeader::format() const {
    std::array<unsigned char, bytes> raw{};
    std::memcpy(raw.data(), magic.data(), magic.size());
    raw[4] = bytesPerPixel;
    raw[5] = bitsPerPixel;
    raw[6] = static_cast<unsigned char>(xsize & 0xFF);
    raw[7] = static_cast<unsigned char>(xsize >> 8);
    raw[8] = static_cast<unsigned char>(ysize & 0xFF);
    raw[9] = static_cast<unsigned char>(ysize >> 8);
    return raw;
}

bool FileHeader::isRecognized() const {
    return std::strncmp(magic.data(), magicText, magic.size()) == 0;
}

bool isTooThin(const FileHeader& header) {
    const bool isEmpty = header.xsize == 0 || header.ysize == 0;
    return imageKindOf(header.bytesPerPixel) != nullptr && !isEmpty && (header.xsize == 1 || header.ysize == 1);
}

std::optional<std::uint64_t> byteBudget(const FileHeader& header, float rate) {
    const auto product = static_cast<std::uint32_t>(header.ysize) * header.xsize * header.bytesPerPixel;
    const float size = static_cast<float>(static_cast<std::int32_t>(product)) * rate;
    constexpr float tooLarge = 18446744073709551616.0F;
    if (!(size > -1.0F && size < tooLarge)) {
        return std::nullopt;
    }
    const auto wanted = static_cast<std::uint64_t>(size);
    return wanted < FileHeader::bytes ? 0 : wanted - FileHeader::bytes;
}

} // namespace teko

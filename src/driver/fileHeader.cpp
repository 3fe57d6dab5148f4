#include "driver/fileHeader.hpp"

#include <cstring>
#include <new>

namespace teko {

namespace {

constexpr const char* magicText = "TK10";

std::uint16_t joined(unsigned char low, unsigned char high) {
    return static_cast<std::uint16_t>(low | high << 8);
}

} // namespace

FileHeader FileHeader::forImage(long bytesPerPixel, long bitsPerPixel, long xsize, long ysize) {
    FileHeader header;
    std::memcpy(header.magic.data(), magicText, header.magic.size());
    header.bytesPerPixel = static_cast<std::uint8_t>(bytesPerPixel & 0xFF);
    header.bitsPerPixel = static_cast<std::uint8_t>(bitsPerPixel & 0xFF);
    header.xsize = static_cast<std::uint16_t>(xsize & 0xFFFF);
    header.ysize = static_cast<std::uint16_t>(ysize & 0xFFFF);
    return header;
}

FileHeader FileHeader::read(std::FILE* file) {
    std::array<unsigned char, bytes> raw{};
    const std::size_t got = std::fread(raw.data(), 1, raw.size(), file);
    static_cast<void>(got); // what is missing stays 0
    FileHeader header;
    std::memcpy(header.magic.data(), raw.data(), header.magic.size());
    header.bytesPerPixel = raw[4];
    header.bitsPerPixel = raw[5];
    header.xsize = joined(raw[6], raw[7]);
    header.ysize = joined(raw[8], raw[9]);
    return header;
}

void FileHeader::write(std::FILE* file) const {
    std::array<unsigned char, bytes> raw{};
    std::memcpy(raw.data(), magic.data(), magic.size());
    raw[4] = bytesPerPixel;
    raw[5] = bitsPerPixel;
    raw[6] = static_cast<unsigned char>(xsize & 0xFF);
    raw[7] = static_cast<unsigned char>(xsize >> 8);
    raw[8] = static_cast<unsigned char>(ysize & 0xFF);
    raw[9] = static_cast<unsigned char>(ysize >> 8);
    std::fwrite(raw.data(), 1, raw.size(), file);
}

bool FileHeader::isRecognized() const {
    return std::strncmp(magic.data(), magicText, magic.size()) == 0;
}

std::uint64_t byteBudget(const FileHeader& header, float rate) {
    const auto product = static_cast<std::uint32_t>(header.ysize) * header.xsize * header.bytesPerPixel;
    const float size = static_cast<float>(static_cast<std::int32_t>(product)) * rate;
    constexpr float tooLarge = 18446744073709551616.0F;
    if (!(size > -1.0F && size < tooLarge)) {
        throw std::bad_array_new_length();
    }
    const auto wanted = static_cast<std::uint64_t>(size);
    return wanted < FileHeader::bytes ? 0 : wanted - FileHeader::bytes;
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
#include "bench/imageList.hpp"

#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace teko::bench {

const char* ImageEntry::kind() const {
    switch (bytesPerPixel) {
    case 1:
        return "grey8";
    case 2:
        return "grey16";
    default:
        return "rgb8";
    }
}

std::vector<ImageEntry> readImageList(const std::string& path) {
    std::ifstream list(path);
    std::vector<ImageEntry> entries;
    for (std::string line; std::getline(list, line);) {
        std::istringstream fields(line);
        ImageEntry entry;
        std::getline(fields, entry.name, '\t');
        fields >> entry.bytesPerPixel >> entry.bitsPerSample >> entry.width >> entry.height;
        std::getline(fields >> std::ws, entry.path);
        const bool isKnownKind = entry.bytesPerPixel >= 1 && entry.bytesPerPixel <= 3;
        if (fields.fail() || !isKnownKind || entry.width < 2 || entry.height < 2) {
            throw std::runtime_error(path + ": not an image: " + line);
        }
        entries.push_back(entry);
    }
    if (entries.empty()) {
        throw std::runtime_error(path + ": no images");
    }
    return entries;
}

std::vector<unsigned char> readBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    std::vector<unsigned char> bytes(file ? static_cast<std::size_t>(file.tellg()) : 0);
    file.seekg(0);
    if (!file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()))) {
        throw std::runtime_error(path + ": cannot be read");
    }
    return bytes;
}

std::vector<unsigned char> readRaw(const ImageEntry& entry) {
    std::vector<unsigned char> raw = readBytes(entry.path);
    if (raw.size() != entry.rawBytes()) {
        throw std::runtime_error(entry.path + ": not the size of its shape");
    }
    return raw;
}

} // namespace teko::bench

// SPDX-License-Identifier: Apache-2.0
#include "driver/files.hpp"

#include <sys/stat.h>

namespace teko {

namespace {

void reportUnopened(const char* path) {
    std::fprintf(stderr, "Cannot open '%s'\n", path);
}

// A path that cannot be examined is left to fopen. Asks the system itself: std::filesystem allocates, and where it
// must not throw, ends the program when there is no memory.
bool isSameRegularFile(const char* one, const char* other) {
    struct stat first {};
    struct stat second {};
    return stat(one, &first) == 0 && stat(other, &second) == 0 && S_ISREG(first.st_mode) &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

} // namespace

File openFile(const char* path, const char* mode) {
    File file(std::fopen(path, mode));
    if (!file) {
        reportUnopened(path);
    }
    return file;
}

File openOutput(const char* path, const char* inputPath) {
    if (isSameRegularFile(path, inputPath)) {
        reportUnopened(path);
        return nullptr;
    }
    return openFile(path, "wb");
}

FileHeader readHeader(std::FILE* file) {
    std::array<unsigned char, FileHeader::bytes> raw{};
    const std::size_t got = std::fread(raw.data(), 1, raw.size(), file);
    static_cast<void>(got); // what is missing stays 0
    return FileHeader::parse(raw);
}

void writeHeader(const FileHeader& header, std::FILE* file) {
    const auto raw = header.format();
    std::fwrite(raw.data(), 1, raw.size(), file);
}

} // namespace teko

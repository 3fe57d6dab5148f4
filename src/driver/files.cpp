// SPDX-License-Identifier: Apache-2.0
#include "driver/files.hpp"

#include <algorithm>
#include <sys/stat.h>

namespace teko {

namespace {

void reportUnopened(const char* path) {
    std::fprintf(stderr, "Cannot open '%s'\n", path);
}

// Whether both paths lead to one regular file. A path that cannot be examined is left to fopen. Asks the system itself:
// std::filesystem allocates, and where it must not throw, ends the program when there is no memory.
bool isSameRegularFile(const char* one, const char* other) {
    struct stat first {};
    struct stat second {};
    return stat(one, &first) == 0 && stat(other, &second) == 0 && S_ISREG(first.st_mode) &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

// Rows of that size that are read or written together.
std::size_t rowsAtOnce(std::size_t rowBytes) {
    constexpr std::size_t bytesAtOnce = 65536;
    return std::max<std::size_t>(1, bytesAtOnce / std::max<std::size_t>(1, rowBytes));
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

RawFileReader::RawFileReader(std::FILE* raw, std::size_t rowBytes, int height)
    : file(raw), size(rowBytes), left(static_cast<std::size_t>(height)), held(rowsAtOnce(rowBytes)),
      memory(new unsigned char[std::min(held, left) * size]) {}

const unsigned char* RawFileReader::next() {
    if (ready == 0) {
        ready = std::min(held, left);
        if (std::fread(memory.get(), 1, ready * size, file) != ready * size) {
            return nullptr;
        }
        left -= ready;
        row = memory.get();
    } else {
        row += size;
    }
    --ready;
    return row;
}

RawFileWriter::RawFileWriter(std::FILE* raw, std::size_t rowBytes)
    : file(raw), size(rowBytes), held(rowsAtOnce(rowBytes)), memory(new unsigned char[held * size]) {}

unsigned char* RawFileWriter::next() {
    if (count == held && !write()) {
        return nullptr;
    }
    return memory.get() + size * count++;
}

// What the last rows could not store shows only when the system has them.
bool RawFileWriter::finish() {
    return write() && std::fflush(file) == 0;
}

bool RawFileWriter::write() {
    if (std::fwrite(memory.get(), 1, count * size, file) != count * size) {
        return false;
    }
    count = 0;
    return true;
}

} // namespace teko

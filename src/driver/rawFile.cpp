// SPDX-License-Identifier: Apache-2.0
#include "driver/rawFile.hpp"

#include <algorithm>

namespace teko {

namespace {

std::size_t rowsAtOnce(std::size_t rowBytes) {
    constexpr std::size_t bytesAtOnce = 65536;
    return std::max<std::size_t>(1, bytesAtOnce / std::max<std::size_t>(1, rowBytes));
}

} // namespace

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

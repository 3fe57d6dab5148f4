// SPDX-License-Identifier: Apache-2.0
// A file without a name that vanishes with its object.
#pragma once

#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <vector>

namespace teko {

class ScratchFile {
public:
    ScratchFile() : file(std::tmpfile()) {
        if (file == nullptr) {
            throw std::runtime_error("no temporary file");
        }
    }
    // Holds these bytes and stands at the first.
    explicit ScratchFile(const std::vector<std::uint8_t>& bytes) : ScratchFile() {
        if (std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size()) {
            throw std::runtime_error("temporary file is full");
        }
        std::rewind(file);
    }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    ~ScratchFile() { std::fclose(file); }

    std::FILE* get() const { return file; }

    long position() const { return std::ftell(file); }

    // Every byte of the file; its position is kept.
    std::vector<std::uint8_t> contents() const {
        const long here = std::ftell(file);
        std::fseek(file, 0, SEEK_END);
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(std::ftell(file)));
        std::rewind(file);
        const std::size_t read = std::fread(bytes.data(), 1, bytes.size(), file);
        std::fseek(file, here, SEEK_SET);
        bytes.resize(read);
        return bytes;
    }

private:
    std::FILE* file;
};

// A file that every device error can be provoked with: what reaches the system is refused.
class FullDevice {
public:
    FullDevice() : file(std::fopen("/dev/full", "wb")) {
        if (file == nullptr) {
            throw std::runtime_error("no /dev/full");
        }
    }
    FullDevice(const FullDevice&) = delete;
    FullDevice& operator=(const FullDevice&) = delete;
    ~FullDevice() { std::fclose(file); }

    std::FILE* get() const { return file; }

private:
    std::FILE* file;
};

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// Files in memory: quick enough to have new ones thousands of times a second.
#pragma once

#include "support/bytes.hpp"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace teko {

struct MemoryFileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using MemoryFile = std::unique_ptr<std::FILE, MemoryFileCloser>;

// A file to read these bytes from, as long as they live.
inline MemoryFile readable(const Bytes& bytes) {
    static std::uint8_t nothing = 0;
    void* const start = bytes.empty() ? &nothing : const_cast<std::uint8_t*>(bytes.data());
    return MemoryFile(fmemopen(start, bytes.size(), "rb"));
}

// A file to write to that takes no more than so many bytes and says at once when it is full.
class WritableFile {
public:
    explicit WritableFile(std::size_t mostBytes) : limit(mostBytes) {
        file.reset(fopencookie(this, "wb", {nullptr, &WritableFile::write, nullptr, nullptr}));
        std::setvbuf(file.get(), nullptr, _IONBF, 0);
    }
    WritableFile(const WritableFile&) = delete;
    WritableFile& operator=(const WritableFile&) = delete;

    std::FILE* get() const { return file.get(); }
    const Bytes& content() const { return bytes; }

private:
    static ssize_t write(void* cookie, const char* data, std::size_t count) {
        auto& self = *static_cast<WritableFile*>(cookie);
        const std::size_t taken = std::min(count, self.limit - self.bytes.size());
        const auto* first = reinterpret_cast<const std::uint8_t*>(data);
        self.bytes.insert(self.bytes.end(), first, first + taken);
        return static_cast<ssize_t>(taken);
    }

    std::size_t limit;
    Bytes bytes;
    MemoryFile file;
};

// A file that has a path but no place on any disk.
class NamedMemoryFile {
public:
    NamedMemoryFile() : descriptor(memfd_create("teko", MFD_CLOEXEC)) {
        if (descriptor < 0) {
            throw std::runtime_error("no file in memory");
        }
    }
    NamedMemoryFile(const NamedMemoryFile&) = delete;
    NamedMemoryFile& operator=(const NamedMemoryFile&) = delete;
    ~NamedMemoryFile() { close(descriptor); }

    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor); }
    // Another path to the same file.
    std::string otherPath() const { return "/dev/fd/" + std::to_string(descriptor); }

    void set(const Bytes& content) const {
        if (ftruncate(descriptor, 0) != 0 ||
            pwrite(descriptor, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size())) {
            throw std::runtime_error("file in memory takes nothing");
        }
    }
    Bytes content() const {
        struct stat status {};
        fstat(descriptor, &status);
        Bytes bytes(static_cast<std::size_t>(status.st_size));
        const ssize_t got = pread(descriptor, bytes.data(), bytes.size(), 0);
        bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
        return bytes;
    }

private:
    int descriptor;
};

} // namespace teko

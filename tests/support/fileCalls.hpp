// SPDX-License-Identifier: Apache-2.0
// What a program asks of fread and fwrite, and exceptions that reading throws.
//
// Takes the place of the C library's functions: include it in exactly one source file of a program.
#pragma once

#include <cstdio>
#include <functional>
#include <ostream>
#include <vector>

namespace teko {

// So many elements of so many bytes.
struct FileCall {
    std::size_t size;
    std::size_t count;

    bool operator==(const FileCall&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, const FileCall& call) {
    return stream << call.count << " of " << call.size << " bytes";
}

struct FileCalls {
    // Where calls are noted, while not null.
    static inline std::vector<FileCall>* reads = nullptr;
    static inline std::vector<FileCall>* writes = nullptr;
    // Called first by every fread, if set.
    static inline std::function<void()> beforeReading;

    static void note(std::vector<FileCall>* calls, std::size_t size, std::size_t count) {
        if (calls != nullptr) {
            calls->push_back({size, count});
        }
    }
};

// The calls that an action makes.
template <typename Action>
std::vector<FileCall> readsOf(Action action) {
    std::vector<FileCall> calls;
    FileCalls::reads = &calls;
    action();
    FileCalls::reads = nullptr;
    return calls;
}
template <typename Action>
std::vector<FileCall> writesOf(Action action) {
    std::vector<FileCall> calls;
    FileCalls::writes = &calls;
    action();
    FileCalls::writes = nullptr;
    return calls;
}

} // namespace teko

// Byte by byte: where libraries are linked statically there is no way on to the functions that these replace.
extern "C" {

std::size_t fread(void* to, std::size_t size, std::size_t count, std::FILE* file) {
    teko::FileCalls::note(teko::FileCalls::reads, size, count);
    if (teko::FileCalls::beforeReading) {
        teko::FileCalls::beforeReading();
    }
    auto* const bytes = static_cast<unsigned char*>(to);
    for (std::size_t i = 0; i < size * count; ++i) {
        const int byte = std::getc(file);
        if (byte == EOF) {
            return i / size;
        }
        bytes[i] = static_cast<unsigned char>(byte);
    }
    return size == 0 ? 0 : count;
}

std::size_t fwrite(const void* from, std::size_t size, std::size_t count, std::FILE* file) {
    teko::FileCalls::note(teko::FileCalls::writes, size, count);
    const auto* const bytes = static_cast<const unsigned char*>(from);
    for (std::size_t i = 0; i < size * count; ++i) {
        if (std::putc(bytes[i], file) == EOF) {
            return i / size;
        }
    }
    return size == 0 ? 0 : count;
}
}

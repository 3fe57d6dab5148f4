// SPDX-License-Identifier: Apache-2.0
// The bytes of an input, from the first to the last.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace tekoimg {

// The name that stands for standard input and for standard output.
inline const std::string pipeName = "-";

class Source {
public:
    // A file or standard input. Throws Failure.
    explicit Source(const std::string& path);
    // A copy of some bytes.
    explicit Source(std::span<const std::byte> bytes);
    ~Source();
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    // Whether opening the same name once more gives the same bytes, as long as nobody changes them.
    bool isRepeatable() const { return isRegular; }

    // The next bytes without taking them: fewer than asked for only where the input ends. At most 4096.
    std::span<const std::byte> peek(std::size_t most);
    // Takes the next bytes; fewer than asked for only where the input ends. Throws Failure when a read fails.
    std::size_t read(void* bytes, std::size_t most);
    // The next byte; -1 at the end.
    int get();
    bool isAtEnd() { return peek(1).empty(); }
    // All that is left.
    std::vector<std::byte> readAll();
    // A descriptor of the whole input that can be read anywhere: its own for a file, else that of an unnamed copy.
    // Before anything was taken.
    int seekable();

private:
    void refill();

    int descriptor = -1;
    bool isRegular = false;
    std::vector<std::byte> buffer;
    std::size_t next = 0; // in the buffer
    std::size_t end = 0;
};

// An unnamed file for reading and writing that goes when it is closed. Throws Failure.
int openUnnamed();
// The bytes that one read() gives; 0 at the end. Throws Failure.
std::size_t readSome(int descriptor, void* bytes, std::size_t most);
// Throws Failure.
void writeFully(int descriptor, const void* bytes, std::size_t count);

} // namespace tekoimg

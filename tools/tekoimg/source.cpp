// SPDX-License-Identifier: Apache-2.0
#include "source.hpp"

#include "failure.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace tekoimg {

namespace {

constexpr std::size_t bufferBytes = 65536;

} // namespace

int openUnnamed() {
    std::string name = std::filesystem::temp_directory_path() / "tekoimgXXXXXX";
    const int descriptor = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor < 0) {
        throw Failure("no temporary file in " + name + ": " + systemReason(errno));
    }
    unlink(name.c_str());
    return descriptor;
}

std::size_t readSome(int descriptor, void* bytes, std::size_t most) {
    ssize_t got = -1;
    do {
        got = read(descriptor, bytes, most);
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        throw Failure("cannot be read: " + systemReason(errno));
    }
    return static_cast<std::size_t>(got);
}

void writeFully(int descriptor, const void* bytes, std::size_t count) {
    const auto* from = static_cast<const std::byte*>(bytes);
    while (count > 0) {
        const ssize_t written = write(descriptor, from, count);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            throw Failure("the output cannot be written: " + systemReason(written < 0 ? errno : ENOSPC));
        }
        from += written;
        count -= static_cast<std::size_t>(written);
    }
}

Source::Source(const std::string& path) : buffer(bufferBytes) {
    descriptor = path == pipeName ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3) : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        const int error = errno;
        throw Failure("cannot be opened: " + systemReason(error) +
                      (error == ENOENT ? ", or put -o before it if it is an output" : ""));
    }
    struct stat status {};
    isRegular = path != pipeName && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

Source::Source(std::span<const std::byte> bytes) : buffer(bytes.begin(), bytes.end()), end(bytes.size()) {}

Source::~Source() {
    if (descriptor >= 0) {
        close(descriptor);
    }
}

// Moves what is left to the front, and reads behind it.
void Source::refill() {
    if (descriptor < 0) {
        return;
    }
    std::copy(buffer.begin() + static_cast<std::ptrdiff_t>(next), buffer.begin() + static_cast<std::ptrdiff_t>(end),
              buffer.begin());
    end -= next;
    next = 0;
    end += readSome(descriptor, buffer.data() + end, buffer.size() - end);
}

std::span<const std::byte> Source::peek(std::size_t most) {
    std::size_t before = 0;
    while (end - next < most) {
        before = end - next;
        refill();
        if (end - next == before) {
            break;
        }
    }
    return std::span(buffer).subspan(next, std::min(most, end - next));
}

std::size_t Source::read(void* bytes, std::size_t most) {
    auto* to = static_cast<std::byte*>(bytes);
    std::size_t done = 0;
    while (done < most) {
        if (next == end && most - done >= bufferBytes && descriptor >= 0) { // past the buffer
            const std::size_t got = readSome(descriptor, to + done, most - done);
            if (got == 0) {
                break;
            }
            done += got;
            continue;
        }
        const std::size_t ready = std::min(peek(1).empty() ? 0 : end - next, most - done);
        if (ready == 0) {
            break;
        }
        std::memcpy(to + done, buffer.data() + next, ready);
        next += ready;
        done += ready;
    }
    return done;
}

int Source::get() {
    if (next == end && peek(1).empty()) {
        return -1;
    }
    return std::to_integer<int>(buffer[next++]);
}

std::vector<std::byte> Source::readAll() {
    std::vector<std::byte> all;
    std::size_t got = 0;
    do {
        all.resize(got + std::max(bufferBytes, got / 2));
        const std::size_t more = read(all.data() + got, all.size() - got);
        const bool isEnd = got + more < all.size();
        got += more;
        if (isEnd) {
            break;
        }
    } while (true);
    all.resize(got);
    return all;
}

int Source::seekable() {
    struct stat status {};
    if (descriptor >= 0 && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
        return descriptor;
    }
    const int copy = openUnnamed();
    const int former = descriptor;
    try {
        do {
            writeFully(copy, buffer.data() + next, end - next);
            next = end = 0;
            refill();
        } while (end > 0);
    } catch (...) {
        close(copy);
        throw;
    }
    descriptor = copy;
    if (former >= 0) {
        close(former);
    }
    return descriptor;
}

} // namespace tekoimg

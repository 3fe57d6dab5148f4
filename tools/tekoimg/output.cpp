// SPDX-License-Identifier: Apache-2.0
#include "output.hpp"

#include "endings.hpp"
#include "failure.hpp"
#include "source.hpp"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tekoimg {

namespace {

[[noreturn]] void failWith(const std::string& path, const std::string& what, int error) {
    throw Failure(path + " " + what + ": " + systemReason(error));
}

[[noreturn]] void failAsExisting(const std::string& path) {
    throw Failure(path + " exists already and is kept; choose another name behind -o, or --force replaces it");
}

// Nothing there, or what may be replaced.
void requireFreeName(const std::string& path, bool force) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        return;
    }
    if (!force) {
        failAsExisting(path);
    }
    if (!S_ISREG(status.st_mode)) {
        throw Failure(path + " is no regular file and is not replaced; choose another name");
    }
}

bool isSameFile(int descriptor, const std::string& path) {
    struct stat own {};
    struct stat named {};
    return fstat(descriptor, &own) == 0 && lstat(path.c_str(), &named) == 0 && own.st_dev == named.st_dev &&
           own.st_ino == named.st_ino;
}

} // namespace

std::string partOf(const std::string& path) {
    return path + ".part";
}

Output::Output(const std::string& itsPath, bool mayReplace) : path(itsPath), force(mayReplace) {
    if (path == pipeName) {
        descriptor = openUnnamed();
        return;
    }
    requireFreeName(path, force);
    std::error_code error;
    if (const auto folder = std::filesystem::path(path).parent_path(); !folder.empty()) {
        std::filesystem::create_directories(folder, error);
        if (error) {
            failWith(folder, "cannot be made", error.value());
        }
    }
    part = partOf(path);
    while (!openPart()) {
    }
    if (ftruncate(descriptor, 0) != 0) {
        const int reason = errno;
        discard();
        failWith(part, "cannot be written", reason);
    }
}

// False when another run has renamed the part between its opening and its locking. The lock tells the part of a run
// from what a killed run left; where the file system has no locks, it is taken for left.
bool Output::openPart() {
    UnfinishedFiles files;
    const int opened = open(part.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666);
    if (opened < 0) {
        failWith(part, "cannot be made", errno);
    }
    struct stat status {};
    const bool isRegular = fstat(opened, &status) == 0 && S_ISREG(status.st_mode);
    const bool isTaken = isRegular && flock(opened, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    if (!isRegular || isTaken) {
        close(opened);
        throw Failure(isTaken ? part + " is being written by another run; wait for it to end"
                              : part + " is no regular file; remove it");
    }
    if (!isSameFile(opened, part)) {
        close(opened);
        return false;
    }
    descriptor = opened;
    files.add(part);
    return true;
}

Output::~Output() {
    discard();
}

void Output::discard() {
    if (descriptor < 0) {
        return;
    }
    if (!part.empty()) {
        UnfinishedFiles files;
        unlink(part.c_str());
        files.remove(part);
    }
    close(descriptor);
    descriptor = -1;
}

void Output::write(const void* bytes, std::size_t count) {
    writeFully(descriptor, bytes, count);
}

std::size_t Output::read(void* bytes, std::size_t most) {
    std::size_t done = 0;
    std::size_t got = 0;
    do {
        got = readSome(descriptor, static_cast<std::byte*>(bytes) + done, most - done);
        done += got;
    } while (got > 0 && done < most);
    return done;
}

off_t Output::seek(off_t offset, int whence) {
    const off_t place = lseek(descriptor, offset, whence);
    if (place < 0) {
        failWith(path, "cannot be written", errno);
    }
    return place;
}

std::vector<std::byte> Output::readBack() {
    std::vector<std::byte> bytes(static_cast<std::size_t>(seek(0, SEEK_END)));
    seek(0, SEEK_SET);
    bytes.resize(read(bytes.data(), bytes.size()));
    return bytes;
}

void Output::commit() {
    if (part.empty()) {
        giveToPipe();
        return;
    }
    // Some file systems have no such call, and say so.
    if (fsync(descriptor) != 0 && errno != EINVAL && errno != ENOTSUP && errno != ENOSYS) {
        failWith(path, "cannot be written", errno);
    }
    giveName();
}

void Output::giveToPipe() {
    seek(0, SEEK_SET);
    std::vector<std::byte> some(65536);
    while (const std::size_t got = read(some.data(), some.size())) {
        writeFully(STDOUT_FILENO, some.data(), got);
    }
    // Some file systems tell of a failed write only now.
    const int last = dup(STDOUT_FILENO);
    if (last >= 0 && close(last) != 0) {
        throw Failure("the output cannot be written: " + systemReason(errno));
    }
}

void Output::giveName() {
    UnfinishedFiles files;
    int result = -1;
    if (force) {
        requireFreeName(path, force);
        result = std::rename(part.c_str(), path.c_str());
    } else {
        result = renameat2(AT_FDCWD, part.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE);
        if (result != 0 && (errno == EINVAL || errno == ENOSYS)) { // not with this file system
            requireFreeName(path, force);
            result = std::rename(part.c_str(), path.c_str());
        }
    }
    if (result != 0) {
        if (errno == EEXIST) {
            failAsExisting(path);
        }
        failWith(path, "cannot get its name", errno);
    }
    files.remove(part);
    const int closed = close(descriptor);
    descriptor = -1;
    if (closed != 0) {
        failWith(path, "cannot be written", errno);
    }
}

} // namespace tekoimg

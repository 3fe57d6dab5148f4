// SPDX-License-Identifier: Apache-2.0
// Preloaded into the program: counts and logs its allocations and file operations, and lets one of them fail.
//
//   TEKO_FAULT_LOG      file that gets a line for each operation: its number, name, file, the bytes asked for, the
//                       bytes given (-1: refused), and the lines printed before it; at the end what is still held
//   TEKO_FAULT_AT       the number of the operation that fails; without it none does
//   TEKO_FAULT_HOW      fail: refused; short: half of what would have been given; terminate: SIGTERM just before;
//                       shrink: the file loses what has not been read
//   TEKO_FAULT_LASTS    if set, every later operation of that name is refused as well
//   TEKO_FAULT_DEVICES  if set, files are devices of our own, so that what the C library asks of the system can fail
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <new>
#include <string_view>
#include <unistd.h>

extern "C" {
void* __libc_malloc(std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);
void __libc_free(void* memory);
}

namespace {

struct OpenFile {
    std::FILE* file;
    const char* name;
};

struct Machine {
    int log = -1;
    long at = -1;
    std::string_view how;
    bool lasts = false;
    bool devices = false;
    bool isReady = false;
    std::string_view failing = {}; // the operation that was hit
    long operations = 0;
    long lines = 0;
    long held = 0; // allocations of the program that it has not given back
    OpenFile files[8] = {};
    std::size_t fileCount = 0;

    void getReady() {
        if (isReady) {
            return;
        }
        isReady = true;
        if (const char* path = std::getenv("TEKO_FAULT_LOG")) {
            log = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        }
        const char* number = std::getenv("TEKO_FAULT_AT");
        at = number != nullptr ? std::strtol(number, nullptr, 10) : -1;
        const char* kind = std::getenv("TEKO_FAULT_HOW");
        how = kind != nullptr ? kind : "";
        lasts = std::getenv("TEKO_FAULT_LASTS") != nullptr;
        devices = std::getenv("TEKO_FAULT_DEVICES") != nullptr;
    }

    OpenFile* find(const std::FILE* file) {
        OpenFile* end = files + fileCount;
        OpenFile* found = std::find_if(files, end, [file](const OpenFile& each) { return each.file == file; });
        return found != end ? found : nullptr;
    }

    template <typename... Values>
    void write(const char* format, Values... values) const {
        char line[256];
        const int length = std::snprintf(line, sizeof line, format, values...);
        if (log >= 0 && ::write(log, line, static_cast<std::size_t>(length)) != length) {
            std::abort();
        }
    }
};

constinit Machine machine;

// The functions that stand behind ours.
template <typename Function>
Function next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

enum class Fault { none, refuse, halve };

// One operation of the program, from its beginning to its end.
class Operation {
public:
    Operation(const char* operationName, const char* fileName, long bytesAsked)
        : name(operationName), file(fileName), asked(bytesAsked), number(machine.operations++), lines(machine.lines) {
        machine.getReady();
        if (number == machine.at) {
            machine.failing = name;
            hit();
        } else if (machine.lasts && machine.failing == name) {
            fault = Fault::refuse;
        }
    }

    Fault fault = Fault::none;
    bool shrinks = false;

    // Logs what was given and returns it.
    long given(long bytes) const {
        const int error = errno;
        machine.write("%ld %s %s %ld %ld %ld\n", number, name, file, asked, bytes, lines);
        errno = error;
        return bytes;
    }

private:
    void hit() {
        if (machine.how == "terminate") {
            std::raise(SIGTERM);
        }
        shrinks = machine.how == "shrink";
        fault = machine.how == "fail" ? Fault::refuse : machine.how == "short" ? Fault::halve : Fault::none;
    }

    const char* name;
    const char* file;
    long asked;
    long number;
    long lines;
};

void* allocate(std::size_t bytes, std::align_val_t alignment) {
    const Operation operation("new", "-", static_cast<long>(bytes));
    void* memory =
        operation.fault == Fault::none ? __libc_memalign(static_cast<std::size_t>(alignment), bytes) : nullptr;
    if (operation.given(memory != nullptr ? static_cast<long>(bytes) : -1) < 0) {
        throw std::bad_alloc();
    }
    ++machine.held;
    return memory;
}

void release(void* memory) {
    machine.held -= memory != nullptr ? 1 : 0;
    __libc_free(memory);
}

// A file as the C library sees it: what it asks of the system goes through here.
struct Device {
    int descriptor;
    const char* name;

    static Device& of(void* cookie) { return *static_cast<Device*>(cookie); }

    static ssize_t read(void* cookie, char* to, std::size_t bytes) {
        const Operation operation("deviceRead", of(cookie).name, static_cast<long>(bytes));
        if (operation.fault == Fault::refuse) {
            errno = EIO;
            return operation.given(-1);
        }
        const std::size_t wanted = operation.fault == Fault::halve ? std::max<std::size_t>(bytes / 2, 1) : bytes;
        return operation.given(::read(of(cookie).descriptor, to, wanted));
    }

    // Less than asked, also 0, is an error here: the device is full.
    static ssize_t write(void* cookie, const char* from, std::size_t bytes) {
        const Operation operation("deviceWrite", of(cookie).name, static_cast<long>(bytes));
        const std::size_t taken = operation.fault == Fault::none    ? bytes
                                  : operation.fault == Fault::halve ? bytes / 2
                                                                    : 0;
        errno = ENOSPC;
        return operation.given(::write(of(cookie).descriptor, from, taken));
    }

    static int seek(void* cookie, off64_t* offset, int whence) {
        *offset = lseek64(of(cookie).descriptor, *offset, whence);
        return *offset < 0 ? -1 : 0;
    }

    static int close(void* cookie) {
        const Operation operation("deviceClose", of(cookie).name, 0);
        ::close(of(cookie).descriptor);
        errno = EIO;
        return static_cast<int>(operation.given(operation.fault == Fault::none ? 0 : -1));
    }
};

std::FILE* openDevice(const char* path, const char* mode) {
    static Device devices[8];
    static std::size_t count = 0;
    const int flags = mode[0] == 'r' ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC;
    const int descriptor = open(path, flags | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        return nullptr;
    }
    devices[count] = {descriptor, path};
    return fopencookie(&devices[count++], mode, {Device::read, Device::write, Device::seek, Device::close});
}

const char* nameOf(std::FILE* file) {
    const OpenFile* found = machine.find(file);
    return found != nullptr ? found->name : nullptr;
}

using Transfer = std::size_t (*)(void*, std::size_t, std::size_t, std::FILE*);
using Seek = int (*)(std::FILE*, long, int);

// Half of what there is; the file stands behind it, and the rest of the memory is as it was.
std::size_t readHalf(void* to, std::size_t size, std::size_t count, std::FILE* file, Transfer read) {
    void* before = __libc_malloc(size * count);
    std::memcpy(before, to, size * count);
    const std::size_t got = read(to, size, count, file);
    const std::size_t kept = got / 2;
    next<Seek>("fseek")(file, -static_cast<long>((got - kept) * size), SEEK_CUR);
    std::memcpy(static_cast<char*>(to) + kept * size, static_cast<char*>(before) + kept * size, (count - kept) * size);
    __libc_free(before);
    return kept;
}

} // namespace

constexpr std::align_val_t usualAlignment{alignof(std::max_align_t)};

void* operator new(std::size_t bytes) {
    return allocate(bytes, usualAlignment);
}
void* operator new[](std::size_t bytes) {
    return allocate(bytes, usualAlignment);
}
void* operator new[](std::size_t bytes, std::align_val_t alignment) {
    return allocate(bytes, alignment);
}
void operator delete(void* memory) noexcept {
    release(memory);
}
void operator delete[](void* memory) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    release(memory);
}

extern "C" {

void* malloc(std::size_t bytes) {
    const Operation operation("malloc", "-", static_cast<long>(bytes));
    void* memory = operation.fault == Fault::none ? __libc_malloc(bytes) : nullptr;
    operation.given(memory != nullptr ? static_cast<long>(bytes) : -1);
    if (memory == nullptr) {
        errno = ENOMEM;
    }
    return memory;
}

std::FILE* fopen(const char* path, const char* mode) {
    static const auto real = next<std::FILE* (*)(const char*, const char*)>("fopen");
    const Operation operation("open", path, 0);
    errno = EMFILE;
    std::FILE* file = operation.fault != Fault::none ? nullptr
                      : machine.devices              ? openDevice(path, mode)
                                                     : real(path, mode);
    if (operation.given(file != nullptr ? 0 : -1) == 0) {
        machine.files[machine.fileCount++] = {file, path};
    }
    return file;
}

std::size_t fread(void* to, std::size_t size, std::size_t count, std::FILE* file) {
    static const auto real = next<Transfer>("fread");
    const char* name = nameOf(file);
    if (name == nullptr) {
        return real(to, size, count, file);
    }
    const Operation operation("read", name, static_cast<long>(size * count));
    if (operation.shrinks && truncate(name, std::ftell(file)) != 0) {
        std::abort();
    }
    std::size_t got = 0;
    if (operation.fault == Fault::halve) {
        got = readHalf(to, size, count, file, real);
    } else if (operation.fault == Fault::none) {
        got = real(to, size, count, file);
    }
    operation.given(static_cast<long>(got * size));
    return got;
}

std::size_t fwrite(const void* from, std::size_t size, std::size_t count, std::FILE* file) {
    static const auto real = next<std::size_t (*)(const void*, std::size_t, std::size_t, std::FILE*)>("fwrite");
    const char* name = nameOf(file);
    if (name == nullptr) {
        return real(from, size, count, file);
    }
    const Operation operation("write", name, static_cast<long>(size * count));
    const std::size_t taken = operation.fault == Fault::none ? count : operation.fault == Fault::halve ? count / 2 : 0;
    const std::size_t put = real(from, size, taken, file);
    operation.given(static_cast<long>(put * size));
    return put;
}

int fseek(std::FILE* file, long offset, int whence) {
    static const auto real = next<Seek>("fseek");
    const Operation operation("seek", nameOf(file), 0);
    return static_cast<int>(operation.given(operation.fault == Fault::none ? real(file, offset, whence) : -1));
}

long ftell(std::FILE* file) {
    static const auto real = next<long (*)(std::FILE*)>("ftell");
    const Operation operation("tell", nameOf(file), 0);
    return operation.given(operation.fault == Fault::none ? real(file) : -1);
}

int fflush(std::FILE* file) {
    static const auto real = next<int (*)(std::FILE*)>("fflush");
    const char* name = nameOf(file);
    if (name == nullptr) {
        return real(file);
    }
    const Operation operation("flush", name, 0);
    return static_cast<int>(operation.given(operation.fault == Fault::none ? real(file) : -1));
}

int fclose(std::FILE* file) {
    static const auto real = next<int (*)(std::FILE*)>("fclose");
    const char* name = nameOf(file);
    if (name == nullptr) {
        return real(file);
    }
    const Operation operation("close", name, 0);
    OpenFile* closed = machine.find(file);
    *closed = machine.files[--machine.fileCount];
    const int result = real(file);
    return static_cast<int>(operation.given(operation.fault == Fault::none ? result : -1));
}

int puts(const char* text) {
    static const auto real = next<int (*)(const char*)>("puts");
    const int result = real(text);
    ++machine.lines;
    return result;
}

int printf(const char* format, ...) {
    va_list values;
    va_start(values, format);
    const int result = std::vprintf(format, values);
    va_end(values);
    ++machine.lines;
    return result;
}

__attribute__((destructor)) void leave() {
    machine.write("end %ld allocations %zu files\n", machine.held, machine.fileCount);
}
}

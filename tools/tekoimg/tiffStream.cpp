// SPDX-License-Identifier: Apache-2.0
#include "tiffStream.hpp"

#include "failure.hpp"
#include "source.hpp"

#include <cstdarg>
#include <cstdio>
#include <exception>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tekoimg {

namespace {

thread_local std::string firstError;

void keepError(const char* /*module*/, const char* format, std::va_list arguments) {
    if (firstError.empty()) {
        char text[200];
        std::vsnprintf(text, sizeof text, format, arguments);
        firstError = text;
    }
}

int descriptorOf(thandle_t handle) {
    return *static_cast<const int*>(handle);
}
tmsize_t readDescriptor(thandle_t handle, void* bytes, tmsize_t count) {
    tmsize_t done = 0;
    while (done < count) {
        const ssize_t got =
            read(descriptorOf(handle), static_cast<char*>(bytes) + done, static_cast<std::size_t>(count - done));
        if (got <= 0) {
            return done > 0 ? done : got;
        }
        done += got;
    }
    return done;
}
tmsize_t refuseWrite(thandle_t /*handle*/, void* /*bytes*/, tmsize_t /*count*/) {
    return -1;
}
toff_t seekDescriptor(thandle_t handle, toff_t offset, int whence) {
    return static_cast<toff_t>(lseek(descriptorOf(handle), static_cast<off_t>(offset), whence));
}
int closeNothing(thandle_t /*handle*/) {
    return 0;
}
toff_t sizeOfDescriptor(thandle_t handle) {
    struct stat status {};
    return fstat(descriptorOf(handle), &status) == 0 ? static_cast<toff_t>(status.st_size) : 0;
}

// Nothing may fly through libtiff: a failure becomes a kept text, and minus one.
template <typename Call>
auto within(thandle_t handle, Call&& call) -> decltype(call(std::declval<Output&>())) {
    auto& to = *static_cast<TiffOutput*>(handle);
    try {
        return call(to.output);
    } catch (const std::exception& failure) {
        to.error = to.error.empty() ? failure.what() : to.error;
        return static_cast<decltype(call(to.output))>(-1);
    }
}
tmsize_t readOutput(thandle_t handle, void* bytes, tmsize_t count) {
    return within(handle, [=](Output& output) {
        return static_cast<tmsize_t>(output.read(bytes, static_cast<std::size_t>(count)));
    });
}
tmsize_t writeOutput(thandle_t handle, void* bytes, tmsize_t count) {
    return within(handle, [=](Output& output) {
        output.write(bytes, static_cast<std::size_t>(count));
        return count;
    });
}
toff_t seekOutput(thandle_t handle, toff_t offset, int whence) {
    return within(handle,
                  [=](Output& output) { return static_cast<toff_t>(output.seek(static_cast<off_t>(offset), whence)); });
}
toff_t sizeOfOutput(thandle_t handle) {
    return within(handle, [](Output& output) {
        const off_t place = output.seek(0, SEEK_CUR);
        const off_t size = output.seek(0, SEEK_END);
        output.seek(place, SEEK_SET);
        return static_cast<toff_t>(size);
    });
}

OpenTiff demand(TIFF* tiff) {
    if (tiff == nullptr) {
        throw Failure("is refused by libtiff (" + takeTiffError() + "); fetch or make it again");
    }
    return OpenTiff(tiff);
}

} // namespace

void keepTiffMessages() {
    TIFFSetErrorHandler(keepError);
    TIFFSetWarningHandler(nullptr);
}

std::string takeTiffError() {
    const std::string text = std::exchange(firstError, "");
    return text.empty() ? "no reason given" : text;
}

OpenTiff openTiff(int& descriptor) {
    firstError.clear();
    if (lseek(descriptor, 0, SEEK_SET) != 0) {
        throw Failure("cannot be read from its begin");
    }
    return demand(TIFFClientOpen("input", "rm", &descriptor, readDescriptor, refuseWrite, seekDescriptor, closeNothing,
                                 sizeOfDescriptor, nullptr, nullptr));
}

OpenTiff openTiff(TiffOutput& output, bool isBig) {
    firstError.clear();
    return demand(TIFFClientOpen("output", isBig ? "w8m" : "wm", &output, readOutput, writeOutput, seekOutput,
                                 closeNothing, sizeOfOutput, nullptr, nullptr));
}

} // namespace tekoimg

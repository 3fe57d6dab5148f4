#include "driver/files.hpp"

#include <filesystem>
#include <system_error>

namespace teko {

namespace {

void reportUnopened(const char* path) {
    std::fprintf(stderr, "Cannot open '%s'\n", path);
}

bool isSameRegularFile(const char* one, const char* other) {
    std::error_code error; // where a path cannot be examined, fopen decides
    return std::filesystem::is_regular_file(one, error) && std::filesystem::equivalent(one, other, error);
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

} // namespace teko

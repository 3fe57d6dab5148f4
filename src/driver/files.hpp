// SPDX-License-Identifier: Apache-2.0
// Opening the files of a run.
#pragma once

#include "codec/fileHeader.hpp"

#include <cstdio>
#include <memory>

namespace teko {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// Opens a file as std::fopen does. When that fails, says so on standard error and returns null.
File openFile(const char* path, const char* mode);

// Opens a file for writing, empty. Fails like openFile, and leaves the file alone, when it is the regular file
// that inputPath names, by whatever link.
File openOutput(const char* path, const char* inputPath);

// A header from a file's position; bytes that are missing count as 0.
FileHeader readHeader(std::FILE* file);
// And to it, with one fwrite. Nobody looks whether it arrives: a full device shows up later.
void writeHeader(const FileHeader& header, std::FILE* file);

} // namespace teko

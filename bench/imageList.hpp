// SPDX-License-Identifier: Apache-2.0
// The images of a benchmark, from a text file: one a line, tab-separated
//
//   name  bytesPerPixel  bitsPerSample  width  height  path of the raw file
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace teko::bench {

struct ImageEntry {
    std::string name;
    int bytesPerPixel = 0; // 1 grey of 8 bits, 2 grey of 16 bits, 3 RGB
    int bitsPerSample = 0;
    int width = 0;
    int height = 0;
    std::string path;

    bool isColour() const { return bytesPerPixel == 3; }
    int channels() const { return isColour() ? 3 : 1; }
    std::size_t bytesPerSample() const { return bytesPerPixel == 2 ? 2 : 1; }
    std::size_t pixels() const { return static_cast<std::size_t>(width) * static_cast<std::size_t>(height); }
    std::size_t samples() const { return pixels() * static_cast<std::size_t>(channels()); }
    std::size_t rawBytes() const { return samples() * bytesPerSample(); }
    std::size_t rowBytes() const { return rawBytes() / static_cast<std::size_t>(height); }
    const char* kind() const;
};

// Throw std::runtime_error for what cannot be read or makes no sense.
std::vector<ImageEntry> readImageList(const std::string& path);
std::vector<unsigned char> readBytes(const std::string& path);
std::vector<unsigned char> readRaw(const ImageEntry& entry);

} // namespace teko::bench

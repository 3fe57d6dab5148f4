// SPDX-License-Identifier: Apache-2.0
// PNG: grey of 1 to 16 bits and RGB of 8, interlaced or not. Alpha is lost; palettes and RGB of 16 bits are refused.
#pragma once

#include "image.hpp"
#include "pngCalls.hpp"
#include "source.hpp"

#include <set>

namespace tekoimg {

class PngReader final : public ImageReader {
public:
    // The source stays for as long as the reader.
    explicit PngReader(Source& source);
    ~PngReader() override;
    PngReader(const PngReader&) = delete;
    PngReader& operator=(const PngReader&) = delete;

    // Row by row, but of interlaced images, which are held whole.
    void read(std::byte* row) override;
    void finish() override;

private:
    void describe();
    void setTransformations();
    void nameLosses();
    void readInterlaced();

    Source& source;
    PngErrors errors;
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::set<std::string> unknownChunks; // by their names
    int passes = 1;
    Room whole; // of interlaced images
    std::size_t row = 0;
};

} // namespace tekoimg

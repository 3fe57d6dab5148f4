// SPDX-License-Identifier: Apache-2.0
// TIFF: grey of 8 or 16 bits, signed or not, RGB of 8; strips without compression.
#pragma once

#include "image.hpp"
#include "tiffStream.hpp"

namespace tekoimg {

// Significant bits stand in MaxSampleValue. Beyond 4 GB it is a BigTIFF.
class TiffWriter final : public ImageWriter {
public:
    // The output stays for as long as the writer.
    TiffWriter(Output& output, const teko::Image& image);

    void write(const std::byte* row) override;
    void finish() override;

private:
    void setFields(const teko::Image& image);
    [[noreturn]] void fail() const;

    TiffOutput to;
    OpenTiff tiff;
    std::uint32_t row = 0;
};

} // namespace tekoimg

// SPDX-License-Identifier: Apache-2.0
// PNG: grey of 1, 2, 4, 8 or 16 bits, RGB of 8.
#pragma once

#include "image.hpp"
#include "output.hpp"
#include "pngCalls.hpp"

namespace tekoimg {

// Samples of other numbers of bits stay as they are in 8 or 16.
class PngWriter final : public ImageWriter {
public:
    // The output stays for as long as the writer.
    PngWriter(Output& itsOutput, const teko::Image& image);
    ~PngWriter() override;
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;

    void write(const std::byte* row) override;
    void finish() override;

private:
    void start(const teko::Image& image, int depth);

    Output& output;
    PngErrors errors;
    png_structp png = nullptr;
    png_infop info = nullptr;
};

} // namespace tekoimg

// SPDX-License-Identifier: Apache-2.0
// Arrays of NumPy, version 1, in C order, least significant byte first.
#pragma once

#include "image.hpp"
#include "output.hpp"

namespace tekoimg {

class NpyWriter final : public ImageWriter {
public:
    // The output stays for as long as the writer.
    NpyWriter(Output& itsOutput, const teko::Image& itsImage);

    void write(const std::byte* row) override;
    void finish() override {}

private:
    Output& output;
    std::vector<std::byte> line;
    bool isSwapped;
};

} // namespace tekoimg

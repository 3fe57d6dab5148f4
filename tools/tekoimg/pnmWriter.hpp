// SPDX-License-Identifier: Apache-2.0
// PGM, PPM and PBM, raw, and PAM.
#pragma once

#include "image.hpp"
#include "output.hpp"

namespace tekoimg {

enum class PnmKind { pbm, pgm, ppm, pnm, pam };

class PnmWriter final : public ImageWriter {
public:
    // The output stays for as long as the writer. Throws Failure where the image is of another kind. A plain pnm is PGM
    // or PPM.
    PnmWriter(Output& itsOutput, const Picture& itsPicture, PnmKind kind);

    void write(const std::byte* row) override;
    void finish() override {}

private:
    Output& output;
    teko::Image image;
    bool isBitmap;
    std::vector<std::byte> line;
};

} // namespace tekoimg

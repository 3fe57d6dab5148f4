// SPDX-License-Identifier: Apache-2.0
// Calls of libtiff, whose messages are kept for a sentence.
#pragma once

#include "output.hpp"

#include <memory>
#include <string>
#include <tiffio.h>

namespace tekoimg {

// libtiff's messages of this thread are kept and not printed. Called once, before there are threads.
void keepTiffMessages();
// The first error of libtiff on this thread since the last call.
std::string takeTiffError();

struct CloseTiff {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using OpenTiff = std::unique_ptr<TIFF, CloseTiff>;

// A descriptor that can be read anywhere. It stays open, and the variable stays where it is, for as long as the TIFF.
OpenTiff openTiff(int& descriptor);

// What libtiff writes goes to an output. That a write failed is kept: libtiff does not tell of all.
struct TiffOutput {
    Output& output;
    std::string error; // the first
};
OpenTiff openTiff(TiffOutput& output, bool isBig);

} // namespace tekoimg

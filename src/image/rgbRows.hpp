// A row of interleaved 8-bit pixels, taken apart into three rows of samples and put together.
#pragma once

#include "target/target.hpp"

namespace teko {

// `width` pixels of three bytes each; the low 8 bits of the samples are stored. Every target gives the same.
struct RgbRowKernels {
    void (*split)(const unsigned char* bytes, long width, short* first, short* second, short* third);
    void (*join)(const short* first, const short* second, const short* third, long width, unsigned char* bytes);
};

const RgbRowKernels& rgbRowKernels(Target target);

} // namespace teko

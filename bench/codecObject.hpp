// SPDX-License-Identifier: Apache-2.0
// One revision of the codec behind a C interface, so that one process can load two of them and call them in turn.
#pragma once

#include <cstddef>

extern "C" {

// A raw image: `path` is for the caller alone. Shapes as in a compressed file's header.
struct TekoBenchImage {
    int bytesPerPixel;
    int bitsPerSample;
    int width;
    int height;
};

// A complete file where rate is 0, else one within that share of the raw size. Returns the bytes in `coded`, which has
// enough, or 0 when that fails.
using TekoBenchEncode = std::size_t (*)(const TekoBenchImage* image, const unsigned char* raw, std::size_t rawBytes,
                                        float rate, unsigned char* coded);
// The raw image of a whole or a cut file. Returns 0 when that fails.
using TekoBenchDecode = int (*)(const TekoBenchImage* image, const unsigned char* coded, std::size_t codedBytes,
                                unsigned char* raw, std::size_t rawBytes);
}

namespace teko::bench {

constexpr const char* encodeFunction = "tekoBenchEncode";
constexpr const char* decodeFunction = "tekoBenchDecode";

} // namespace teko::bench

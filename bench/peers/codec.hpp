// SPDX-License-Identifier: Apache-2.0
// What the comparison asks of a codec: lossless, on one thread, from raw bytes in memory to coded bytes in memory
// and back. Both directions start with nothing allocated and include the change between raw bytes and whatever the
// codec's library takes. They throw std::runtime_error when the library reports a failure.
#pragma once

#include "bench/bytes.hpp"
#include "bench/imageList.hpp"

namespace teko::bench {

struct PeerCodec {
    const char* name;
    const char* setting;
    bool (*takes)(const ImageEntry& entry);
    Bytes (*encode)(const ImageEntry& entry, ByteView raw);
    void (*decode)(const ImageEntry& entry, ByteView coded, std::span<unsigned char> raw);
};

inline bool takesEverything(const ImageEntry&) {
    return true;
}

inline void require(bool success, const char* what) {
    if (!success) {
        throw std::runtime_error(what);
    }
}

extern const PeerCodec openJpegCodec;
extern const PeerCodec charLsCodec;
extern const PeerCodec libjxlCodec;
extern const PeerCodec libpngCodec;
extern const PeerCodec libpngSubCodec;
extern const PeerCodec webpCodec;
extern const PeerCodec zstdCodec;

} // namespace teko::bench

// SPDX-License-Identifier: Apache-2.0
#include "codec/byteBudget.hpp"

namespace teko {

std::optional<std::uint64_t> byteBudget(const FileHeader& header, float rate) {
    const auto product = static_cast<std::uint32_t>(header.ysize) * header.xsize * header.bytesPerPixel;
    const float size = static_cast<float>(static_cast<std::int32_t>(product)) * rate;
    constexpr float tooLarge = 18446744073709551616.0F;
    if (!(size > -1.0F && size < tooLarge)) {
        return std::nullopt;
    }
    const auto wanted = static_cast<std::uint64_t>(size);
    return wanted < FileHeader::bytes ? 0 : wanted - FileHeader::bytes;
}

} // namespace teko

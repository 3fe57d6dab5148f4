// SPDX-License-Identifier: Apache-2.0
#include "library/imageLayout.hpp"

#include "library/structures.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <limits>

namespace teko::library {

namespace {

// The farthest that a sample may be from the first one in one direction: sums of three such products stay in 64 bits.
constexpr std::int64_t farthestPitch = std::int64_t{1} << 44;

constexpr std::uint32_t longestSide = 65535;

bool isKnownOrder(std::uint32_t order) {
    return order == TEKO_HOST_ORDER || order == TEKO_LITTLE_ENDIAN || order == TEKO_BIG_ENDIAN;
}

bool hasMostSignificantFirst(std::uint32_t order) {
    return order == TEKO_BIG_ENDIAN || (order == TEKO_HOST_ORDER && std::endian::native == std::endian::big);
}

bool isSuitablySigned(const teko_image& image, const ImageKind& kind) {
    return image.is_signed == 0 ||
           (image.is_signed == 1 && kind.bytesPerSample == 2 && (image.bits == 0 || image.bits == 16));
}

struct Direction {
    std::int64_t count;
    std::int64_t pitch;
};

std::array<Direction, 3> directionsOf(const ImageLayout& layout, int rows) {
    return {Direction{rows, layout.rowPitch}, Direction{layout.width, layout.pixelPitch},
            Direction{layout.kind->channels, layout.channelPitch}};
}

} // namespace

teko_status ImageLayout::from(const teko_image* described, ImageLayout& layout, Bits bits) {
    teko_image image;
    if (described == nullptr || !takeStructure(described, image)) {
        return TEKO_ERROR_ARGUMENT;
    }
    image.bits = bits == Bits::ofTheImage ? image.bits : 0;
    const ImageKind* const kind = image.kind <= 3 ? imageKindOf(static_cast<int>(image.kind)) : nullptr;
    if (kind == nullptr) {
        return TEKO_ERROR_KIND;
    }
    if (image.width > longestSide || image.height > longestSide ||
        std::uint64_t{image.width} * image.height > std::numeric_limits<std::int32_t>::max()) {
        return TEKO_ERROR_SHAPE;
    }
    const std::uint32_t mostBits = 8 * static_cast<std::uint32_t>(kind->bytesPerSample);
    if (image.bits > mostBits || !isSuitablySigned(image, *kind) || !isKnownOrder(image.byte_order)) {
        return TEKO_ERROR_ARGUMENT;
    }
    layout.kind = kind;
    layout.bits = static_cast<int>(image.bits == 0 ? mostBits : image.bits);
    layout.width = static_cast<int>(image.width);
    layout.height = static_cast<int>(image.height);
    layout.flipsSign = image.is_signed != 0;
    layout.swapsBytes = kind->bytesPerSample == 2 && hasMostSignificantFirst(image.byte_order);
    layout.channelPitch = image.channel_pitch != 0 ? image.channel_pitch : kind->bytesPerSample;
    layout.pixelPitch = image.pixel_pitch != 0 ? image.pixel_pitch : kind->bytesPerPixel;
    layout.rowPitch = image.row_pitch != 0 ? image.row_pitch : layout.width * layout.pixelPitch;
    for (const Direction& direction : directionsOf(layout, layout.height)) {
        if (direction.pitch > farthestPitch || direction.pitch < -farthestPitch) {
            return TEKO_ERROR_ARGUMENT;
        }
    }
    return TEKO_OK;
}

bool ImageLayout::hasRawRows() const {
    return !flipsSign && !swapsBytes && pixelPitch == kind->bytesPerPixel &&
           (kind->channels == 1 || channelPitch == kind->bytesPerSample);
}

bool ImageLayout::isApart() const {
    if (isEmpty()) {
        return true;
    }
    std::array<Direction, 3> directions = directionsOf(*this, height);
    std::sort(directions.begin(), directions.end(),
              [](const Direction& a, const Direction& b) { return std::abs(a.pitch) < std::abs(b.pitch); });
    std::int64_t taken = kind->bytesPerSample;
    for (const Direction& direction : directions) {
        if (direction.count > 1) {
            if (std::abs(direction.pitch) < taken) {
                return false;
            }
            taken += (direction.count - 1) * std::abs(direction.pitch);
        }
    }
    return true;
}

Extent ImageLayout::extent(const void* samples, int rows) const {
    if (isEmpty() || rows == 0) {
        return {0, 0};
    }
    std::int64_t before = 0;
    std::int64_t behind = kind->bytesPerSample;
    for (const Direction& direction : directionsOf(*this, rows)) {
        const std::int64_t farthest = (direction.count - 1) * direction.pitch;
        before -= std::min(farthest, std::int64_t{0});
        behind += std::max(farthest, std::int64_t{0});
    }
    const auto first = reinterpret_cast<std::uintptr_t>(samples);
    return {first - static_cast<std::uintptr_t>(before), first + static_cast<std::uintptr_t>(behind)};
}

} // namespace teko::library

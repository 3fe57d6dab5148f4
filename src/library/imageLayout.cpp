// SPDX-License-Identifier: Apache-2.0
#include "library/imageLayout.hpp"

#include "library/call.hpp"

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

// Of samples of two bytes, in memory of that teko_byte_order on this machine.
bool hasMostSignificantFirst(std::uint32_t order) {
    return order == TEKO_BIG_ENDIAN || (order == TEKO_HOST_ORDER && std::endian::native == std::endian::big);
}

// Only samples of 16 bits may be signed, and say so by 0 or 1.
bool isSuitablySigned(const teko_image& image, const ImageKind& kind) {
    return image.is_signed == 0 ||
           (image.is_signed == 1 && kind.bytesPerSample == 2 && (image.bits == 0 || image.bits == 16));
}

// Rows, pixels or channels: how many there are, and the bytes from one to the next.
struct Direction {
    std::int64_t count;
    std::int64_t pitch;
};

std::array<Direction, 3> directionsOf(const ImageLayout& layout, int rows) {
    return {Direction{rows, layout.rowPitch}, Direction{layout.width, layout.pixelPitch},
            Direction{layout.kind->channels, layout.channelPitch}};
}

constexpr unsigned char signBit = 0x80;

// Calls move(raw, sample) with the place of each sample of a row in a raw row and in the caller's memory. Pitches of
// pixels that are usual are known to the compiler, which makes vectors of the loops.
template <typename Move>
void forEachSample(const ImageLayout& layout, Move move) {
    const std::ptrdiff_t rawPitch = layout.kind->bytesPerPixel;
    const auto alongRow = [&](std::ptrdiff_t raw, std::ptrdiff_t sample, auto pixelPitch) {
        for (std::ptrdiff_t x = 0; x < layout.width; ++x) {
            move(raw + x * rawPitch, sample + x * pixelPitch);
        }
    };
    for (int c = 0; c < layout.kind->channels; ++c) {
        const std::ptrdiff_t raw = std::ptrdiff_t{c} * layout.kind->bytesPerSample;
        const std::ptrdiff_t sample = c * layout.channelPitch;
        if (layout.pixelPitch == 1) {
            alongRow(raw, sample, std::integral_constant<std::ptrdiff_t, 1>());
        } else if (layout.pixelPitch == 2) {
            alongRow(raw, sample, std::integral_constant<std::ptrdiff_t, 2>());
        } else {
            alongRow(raw, sample, layout.pixelPitch);
        }
    }
}

// A row of the caller's to a raw row, where samples of two bytes have the least significant first.
void gatherRow(const ImageLayout& layout, const unsigned char* __restrict from, unsigned char* __restrict raw) {
    if (layout.kind->bytesPerSample == 1) {
        forEachSample(layout, [=](std::ptrdiff_t to, std::ptrdiff_t sample) { raw[to] = from[sample]; });
        return;
    }
    const int low = layout.swapsBytes ? 1 : 0;
    const unsigned char flip = layout.flipsSign ? signBit : 0;
    forEachSample(layout, [=](std::ptrdiff_t to, std::ptrdiff_t sample) {
        raw[to] = from[sample + low];
        raw[to + 1] = static_cast<unsigned char>(from[sample + 1 - low] ^ flip);
    });
}

// A raw row to a row of the caller's.
void scatterRow(const ImageLayout& layout, const unsigned char* __restrict raw, unsigned char* __restrict to) {
    if (layout.kind->bytesPerSample == 1) {
        forEachSample(layout, [=](std::ptrdiff_t from, std::ptrdiff_t sample) { to[sample] = raw[from]; });
        return;
    }
    const int low = layout.swapsBytes ? 1 : 0;
    const unsigned char flip = layout.flipsSign ? signBit : 0;
    forEachSample(layout, [=](std::ptrdiff_t from, std::ptrdiff_t sample) {
        to[sample + low] = raw[from];
        to[sample + 1 - low] = static_cast<unsigned char>(raw[from + 1] ^ flip);
    });
}

// Memory for a raw row, null where the caller's are such.
TakenArray<unsigned char> rowFor(const ImageLayout& layout) {
    return layout.hasRawRows() ? nullptr : takeArray<unsigned char>(layout.rowBytes());
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

LayoutSource::LayoutSource(const ImageLayout& imageLayout) : layout(imageLayout), gathered(rowFor(layout)) {}

void LayoutSource::startAt(const void* samples) {
    row = static_cast<const unsigned char*>(samples);
    done = 0;
}

const unsigned char* LayoutSource::next() {
    const unsigned char* const from = row + done++ * layout.rowPitch;
    if (!gathered) {
        return from;
    }
    gatherRow(layout, from, gathered.get());
    return gathered.get();
}

LayoutSink::LayoutSink(const ImageLayout& imageLayout) : layout(imageLayout), gathered(rowFor(layout)) {}

void LayoutSink::startAt(void* samples) {
    row = static_cast<unsigned char*>(samples);
    done = 0;
}

unsigned char* LayoutSink::next() {
    if (!gathered) {
        return row + done++ * layout.rowPitch;
    }
    scatter();
    isFilled = true;
    return gathered.get();
}

bool LayoutSink::finish() {
    scatter();
    return true;
}

void LayoutSink::scatter() {
    if (isFilled) {
        scatterRow(layout, gathered.get(), row + done++ * layout.rowPitch);
        isFilled = false;
    }
}

} // namespace teko::library

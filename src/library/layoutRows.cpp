// SPDX-License-Identifier: Apache-2.0
#include "library/layoutRows.hpp"

namespace teko::library {

namespace {

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

// Raw samples of two bytes have the least significant first.
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

TakenArray<unsigned char> rowFor(const ImageLayout& layout) {
    return layout.hasRawRows() ? nullptr : takeArray<unsigned char>(layout.rowBytes());
}

} // namespace

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

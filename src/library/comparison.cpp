// SPDX-License-Identifier: Apache-2.0
// teko_compare: how far two images differ.
#include "library/call.hpp"
#include "library/imageLayout.hpp"

#include <cmath>
#include <cstdlib>
#include <limits>

namespace teko::library {

namespace {

// Two images of the same kind and sides: where they lie, and how.
struct Images {
    ImageLayout layout;
    const void* samples;
    ImageLayout otherLayout;
    const void* otherSamples;

    // Sets the layouts. Returns TEKO_OK, or why the two cannot be compared.
    teko_status from(const teko_image* image, const teko_image* otherImage) {
        teko_status status = ImageLayout::from(image, layout);
        if (status == TEKO_OK) {
            status = ImageLayout::from(otherImage, otherLayout);
        }
        if (status != TEKO_OK) {
            return status;
        }
        if (layout.kind != otherLayout.kind || layout.width != otherLayout.width ||
            layout.height != otherLayout.height || layout.flipsSign != otherLayout.flipsSign) {
            return TEKO_ERROR_MISMATCH;
        }
        return layout.lacks(samples) || layout.lacks(otherSamples) ? TEKO_ERROR_ARGUMENT : TEKO_OK;
    }
};

// The sample at that place of a raw row.
int sampleAt(const unsigned char* row, std::size_t i, int bytesPerSample) {
    return bytesPerSample == 1 ? row[i] : row[2 * i] | row[2 * i + 1] << 8;
}

// In decibels; infinite without a difference.
double peakSignalToNoiseRatio(double mse, int bits) {
    const double peak = static_cast<double>((std::int64_t{1} << bits) - 1);
    return mse > 0.0 ? 10.0 * std::log10(peak * peak / mse) : std::numeric_limits<double>::infinity();
}

// Squares of differences of 16 bits, added up by rows: no sum loses a bit before 2^53. Throws std::bad_alloc.
teko_difference differenceOf(const Images& images) {
    const ImageLayout& layout = images.layout;
    LayoutSource source(layout);
    LayoutSource otherSource(images.otherLayout);
    source.startAt(images.samples);
    otherSource.startAt(images.otherSamples);
    const int bytesPerSample = layout.kind->bytesPerSample;
    const std::size_t rowSamples = layout.rowBytes() / static_cast<std::size_t>(bytesPerSample);
    int largest = 0;
    double sum = 0.0;
    for (int y = 0; y < layout.height && layout.width > 0; ++y) {
        const unsigned char* const row = source.next();
        const unsigned char* const otherRow = otherSource.next();
        std::uint64_t sumOfRow = 0;
        for (std::size_t i = 0; i < rowSamples; ++i) {
            const int apart = std::abs(sampleAt(row, i, bytesPerSample) - sampleAt(otherRow, i, bytesPerSample));
            largest = std::max(largest, apart);
            sumOfRow += static_cast<std::uint64_t>(std::int64_t{apart} * apart);
        }
        sum += static_cast<double>(sumOfRow);
    }
    const double mse = layout.isEmpty() ? 0.0 : sum / static_cast<double>(layout.samples());
    return {sizeof(teko_difference), mse, peakSignalToNoiseRatio(mse, layout.bits),
            static_cast<std::uint32_t>(largest)};
}

} // namespace

} // namespace teko::library

using namespace teko::library;

extern "C" teko_status teko_compare(const teko_image* image, const void* samples, const teko_image* other_image,
                                    const void* other_samples, teko_difference* difference) noexcept {
    if (difference == nullptr || !hasSize(difference)) {
        return TEKO_ERROR_ARGUMENT;
    }
    Images images{{}, samples, {}, other_samples};
    const teko_status status = images.from(image, other_image);
    if (status != TEKO_OK) {
        return status;
    }
    CallerMemory memory;
    return inMemoryOf(memory, [&] {
        giveStructure(differenceOf(images), difference);
        return TEKO_OK;
    });
}

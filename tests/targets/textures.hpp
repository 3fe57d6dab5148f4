// SPDX-License-Identifier: Apache-2.0
// Images to decompose, of the kinds that decide how: samples exactly at the sizes from which other steps are needed,
// small rows beside large ones, sums that wrap.
#pragma once

#include "support/laidOutImage.hpp"

#include <array>
#include <random>
#include <vector>

namespace teko {

using Random = std::mt19937_64;

enum class Texture {
    eightBit,  // as from a file
    constant,  // one value, any
    threshold, // every magnitude is 0 or one of the sizes below, or one less
    rows,      // each row has a size of its own, most are small
    spikes,    // as from a file, with single samples of any size
    adverse,   // the signs, and here and there the sizes, that make an intermediate result as large as it can be
    anything   // every bit pattern
};

constexpr std::array allTextures{Texture::eightBit, Texture::constant, Texture::threshold, Texture::rows,
                                 Texture::spikes,   Texture::adverse,  Texture::anything};

// Magnitudes where the fast procedures take other steps, or could.
template <typename T>
std::vector<long> sizesThatMatter() {
    std::vector<long> sizes{255,  449,  450,  600,  601,  606,  607,  640,  700,  728,  729,   800,   1000, 1023,
                            1024, 1025, 1212, 1213, 1300, 1400, 1638, 1639, 2047, 2048, 2049,  2400,  2798, 2799,
                            3100, 3700, 4095, 4096, 4097, 5500, 6000, 6001, 7000, 8192, 16384, 32767, 32768};
    if constexpr (sizeof(T) > sizeof(short)) {
        sizes.insert(sizes.end(), {23'999'999, 24'000'000, 24'000'001, 24'999'999, 25'000'000, 25'000'001});
        for (const int bits : {16, 21, 23, 24, 25, 28, 31, 32, 59, 62}) {
            sizes.insert(sizes.end(), {(1L << bits) - 1, 1L << bits, (1L << bits) + 1});
        }
    }
    return sizes;
}

namespace texture {

// size - 1 or -size, which bound each other exactly; now and then 0 or -1.
inline long extremeSample(long size, Random& random) {
    const bool isSmall = random() % 4 == 0;
    const bool isNegative = random() % 2 == 0;
    return isNegative ? -(isSmall ? 1 : size) : (isSmall ? 1 : size) - 1;
}

// The signs around a sample that add up in what becomes of it, along a row or a column: those of the filter's
// response. Spaces have no part in it.
struct Response {
    const char* signs; // of the samples from six before to seven behind
    int parity;        // of the sample's place
};

constexpr std::array responses{
    Response{"   + -+- +    ", 1},  // a predicted sample
    Response{"  + -+-+- +   ", 0},  // two predicted samples: what an update adds
    Response{"  + -+++- +   ", 0},  // an updated sample
    Response{"     -+-      ", 0},  // one before its update
    Response{"  +--+-+--+   ", 1},  // sixteen times the prediction of a sample that was not updated
    Response{"  +--+++--+   ", 1},  // a sample before its prediction
    Response{"  +- +-+ -+   ", 1}}; // how four samples rise and fall before they are updated

constexpr int responseLength = 14;

// One response down the columns, and every response along the rows, over and over; rows of one size, but for a few.
class AdverseSamples {
public:
    AdverseSamples(const std::vector<long>& sizes, Random& randomNumbers)
        : random(randomNumbers), down(responses[random() % responses.size()]), shift(static_cast<int>(random() % 7)) {
        rowSizes.fill(sizes[random() % sizes.size()]);
        for (std::size_t i = random() % 4; i > 0; --i) {
            rowSizes[random() % rowSizes.size()] = random() % 2 == 0 ? sizes.back() : sizes[random() % sizes.size()];
        }
    }

    long at(int y, int x) {
        const std::size_t row = placeIn(down, y);
        const Response& along = responses[static_cast<std::size_t>(x / responseLength) % responses.size()];
        const char signs[] = {down.signs[row], along.signs[placeIn(along, x)]};
        if (signs[0] == ' ' || signs[1] == ' ') {
            return extremeSample(rowSizes[row], random);
        }
        return signs[0] == signs[1] ? rowSizes[row] - 1 : -rowSizes[row];
    }

private:
    // The centre of a response falls on places of its parity.
    std::size_t placeIn(const Response& response, int k) const {
        return static_cast<std::size_t>((k + 2 * shift + response.parity) % responseLength);
    }

    Random& random;
    Response down;
    int shift;
    std::array<long, responseLength> rowSizes{};
};

} // namespace texture

template <typename T>
void paint(LaidOutImage<T>& image, Texture kind, Random& random) {
    const std::vector<long> sizes = sizesThatMatter<T>();
    const std::size_t largest = random() % sizes.size();
    const auto anySize = [&] { return sizes[random() % (largest + 1)]; };
    const auto fileSample = [&] { return static_cast<long>(random() % 256); };
    const auto anyBits = [&] { return static_cast<long>(random()) >> random() % (8 * sizeof(T)); };
    const long value = kind == Texture::constant ? anyBits() : sizes[largest];
    std::vector<long> rowSizes;
    for (int y = 0; y < image->height; ++y) {
        rowSizes.push_back(random() % 4 == 0 ? anySize() : 200);
    }
    // Wide samples beyond what their kernels take are clamped, so those must not be everywhere.
    const auto all = static_cast<std::ptrdiff_t>(sizeof(T) == sizeof(short) ? sizes.size() : largest + 1);
    texture::AdverseSamples adverse({sizes.begin(), sizes.begin() + all}, random);
    image.fill([&](int, int y, int x) {
        switch (kind) {
        case Texture::constant:
            return value;
        case Texture::threshold:
            return texture::extremeSample(value, random);
        case Texture::rows:
            return texture::extremeSample(rowSizes[static_cast<std::size_t>(y)], random);
        case Texture::spikes:
            return random() % 300 == 0 ? anyBits() : fileSample();
        case Texture::adverse:
            return adverse.at(y, x);
        case Texture::anything:
            return anyBits();
        case Texture::eightBit:
            break;
        }
        return fileSample();
    });
}

} // namespace teko

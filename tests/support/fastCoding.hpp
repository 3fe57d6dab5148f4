// SPDX-License-Identifier: Apache-2.0
// Coding the coefficients of whole images with what fast targets do it: every class in turn, in pieces of any length.
#pragma once

#include "coding/codedStream.hpp"
#include "fast/kernels/kernels.hpp"
#include "fast/ways/coefficients.hpp"
#include "support/coefficientClasses.hpp"
#include "wavelet/wavelet.hpp"

#include <algorithm>
#include <limits>
#include <random>

namespace teko {

// Whether the fast encoder takes that image. Refusing magnitudes without a plane is its own affair.
template <typename T>
bool suitsFastEncoder(const ImageData<T>& image) {
    const int levels = numberOfLevels(image.width, image.height);
    bool suits = levels >= 0;
    for (int channel = 0; channel < image.channels && suits && sizeof(T) > sizeof(short); ++channel) {
        forEachOfClass(image, channel, 0, 0, [&](T sample) {
            constexpr long beyond = 1L << (highestSlicedPlane<T> + 1);
            suits = suits && sample > -beyond && sample < beyond;
        });
    }
    return suits;
}

// Rows of one class go as pairs or in pieces, all others in pieces.
template <typename Row, typename Take, typename TakePairs>
void passRow(const std::vector<Row>& row, bool asPairs, std::minstd_rand& random, Take take, TakePairs takePairs) {
    if (asPairs) {
        std::vector<Row> halves[2];
        for (std::size_t i = 0; i < row.size(); ++i) {
            halves[i % 2].push_back(row[i]);
        }
        takePairs(halves[0].data(), halves[1].data(), static_cast<int>(row.size()));
        return;
    }
    for (std::size_t passed = 0; passed < row.size();) {
        const std::size_t n = std::min<std::size_t>(row.size() - passed, 1 + random() % 100);
        take(row.data() + passed, static_cast<int>(n));
        passed += n;
    }
}

// As short rows, where they are and it so happens.
template <typename T>
void passRow(const std::vector<RowSample<T>>& row, int c, bool asPairs, CoefficientSink<T>& sink,
             std::minstd_rand& random) {
    const bool isShort = std::all_of(row.begin(), row.end(), [](RowSample<T> sample) {
        return sample >= -std::numeric_limits<short>::max() && sample <= std::numeric_limits<short>::max();
    });
    if (isShort && random() % 2 == 0) {
        passRow(
            std::vector<short>(row.begin(), row.end()), asPairs, random,
            [&](const short* samples, int n) { sink.take16(c, samples, n); },
            [&](const short* even, const short* odd, int n) { sink.take16Pairs(c, even, odd, n); });
    } else {
        passRow(
            row, asPairs, random, [&](const RowSample<T>* samples, int n) { sink.take(c, samples, n); },
            [&](const RowSample<T>* even, const RowSample<T>* odd, int n) { sink.takePairs(c, even, odd, n); });
    }
}

template <typename T>
void passChannel(const ImageData<T>& image, int channel, CoefficientSink<T>& sink, std::minstd_rand& random) {
    const int levels = numberOfLevels(image.width, image.height);
    for (int y = 0; y < image.height; ++y) {
        const T* from = image.planes[channel] + static_cast<long>(y) * image.stride;
        for (int c = 0; c <= levels && y % classRowStep(c) == 0; ++c) {
            const ClassColumns columns = classColumns(c, levels, y);
            std::vector<RowSample<T>> row;
            for (int x = columns.first; x < image.width; x += columns.step) {
                row.push_back(static_cast<RowSample<T>>(from[x]));
            }
            passRow<T>(row, c, columns.first == 0 && random() % 3 != 0, sink, random);
        }
    }
}

// What writeWavelet does, with a fast target and for an image that suits: it is left with folded values.
template <typename T>
void writeFast(ImageData<T>& image, Target target, BitStreamer& out) {
    std::minstd_rand random(static_cast<unsigned>(image.width + 70 * image.height));
    CoefficientEncoder<T> encoder(shapeOf(image.width, image.height, image.channels), kernelsOf(target).planes<T>());
    for (int channel = 0; channel < image.channels; ++channel) {
        passChannel(image, channel, encoder.channel(channel), random);
        forEachOfClass(image, channel, 0, 0, [](T& sample) { sample = fold(sample); });
    }
    encoder.write(out);
}

// What readWavelet does, with a fast target where that can hold the stream.
template <typename T>
int readFast(ImageData<T>& image, Target target, BitStreamer& in) {
    const int topPlane = readTopPlane(in);
    const int levels = numberOfLevels(image.width, image.height);
    if (levels < 0 || topPlane > highestSlicedPlane<T>) {
        return readBelowTopPlane(Wavelet<T>(), image, topPlane, in).endedEarly ? 1 : 0;
    }
    std::minstd_rand random(static_cast<unsigned>(image.width + 70 * image.height));
    const ImageShape shape = shapeOf(image.width, image.height, image.channels);
    const auto sliced = kernelsOf(target).planes<T>().makeSliced(shape);
    ByteStreamer bytes;
    moveReader(in, bytes);
    const int endedEarly = sliced->read(topPlane, bytes);
    moveReader(bytes, in);
    for (int channel = 0; channel < image.channels; ++channel) {
        for (int c = 0; c <= levels; ++c) {
            const long longest = random() % 2 == 0 ? 200 : 20000;
            std::vector<RowSample<T>> values(static_cast<std::size_t>(classSamples(shape, c)));
            const bool areSmall = sliced->magnitudeBits(channel, c) < 16 && random() % 2 == 0;
            for (std::size_t taken = 0; taken < values.size();) {
                const long n =
                    std::min(static_cast<long>(values.size() - taken), 1 + static_cast<long>(random()) % longest);
                if (areSmall) {
                    std::copy_n(sliced->take16(channel, c, n), n, values.data() + taken);
                } else {
                    std::copy_n(sliced->take(channel, c, n), n, values.data() + taken);
                }
                taken += static_cast<std::size_t>(n);
            }
            setClass(image, channel, c, levels, values);
        }
    }
    return endedEarly;
}

} // namespace teko

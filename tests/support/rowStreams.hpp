// SPDX-License-Identifier: Apache-2.0
// Whole channels through the row streams.
#pragma once

#include "fast/kernels/kernels.hpp"
#include "fast/transform/rowStream.hpp"
#include "support/coefficientClasses.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

namespace teko {

// What comes out of a forward stream, class by class.
template <typename T>
class ClassCollector final : public CoefficientSink<T> {
public:
    using Row = RowSample<T>;

    void take(int c, const Row* samples, int n) override {
        std::vector<T>& to = classes[c];
        to.insert(to.end(), samples, samples + n);
    }
    void takePairs(int c, const Row* even, const Row* odd, int n) override {
        for (int i = 0; i < n; ++i) {
            classes[c].push_back((i % 2 == 0 ? even : odd)[i / 2]);
        }
    }

    void take16(int c, const short* samples, int n) override {
        classes[c].insert(classes[c].end(), samples, samples + n);
    }
    void take16Pairs(int c, const short* even, const short* odd, int n) override {
        for (int i = 0; i < n; ++i) {
            classes[c].push_back((i % 2 == 0 ? even : odd)[i / 2]);
        }
    }

    std::vector<T> classes[maximumClasses];
};

// The coefficients of a channel of an image, for an inverse stream.
template <typename T>
class ClassProvider final : public CoefficientSource<T> {
public:
    ClassProvider(const ImageData<T>& image, int channel) {
        for (std::vector<T>& values : classesOf(image, channel, numberOfLevels(image.width, image.height))) {
            classes.push_back(Class(std::move(values)));
        }
    }

    const RowSample<T>* take(int c, int n) override { return of(c).take(n, of(c).next); }
    int magnitudeBits(int c) const override { return classes.at(static_cast<std::size_t>(c)).magnitudeBits; }
    const short* take16(int c, int n) override { return of(c).take(n, of(c).next16); }

    bool isUsedUp() const {
        return std::all_of(classes.begin(), classes.end(),
                           [](const Class& one) { return one.taken == one.values.size(); });
    }

private:
    struct Class {
        std::vector<T> values;
        int magnitudeBits;
        std::size_t taken = 0;
        std::vector<RowSample<T>> next = {};
        std::vector<short> next16 = {};

        explicit Class(std::vector<T>&& all) : values(std::move(all)) {
            unsigned long magnitudes = 0;
            for (const T value : values) {
                magnitudes |= static_cast<unsigned long>(std::abs(long{value}));
            }
            magnitudeBits = static_cast<int>(std::bit_width(magnitudes));
        }

        template <typename Row>
        const Row* take(int n, std::vector<Row>& given) {
            if (n > static_cast<long>(values.size() - taken)) {
                throw std::out_of_range("a class has no more values");
            }
            const T* const first = values.data() + taken;
            given = std::vector<Row>(first, first + n); // elsewhere than what was given before
            taken += static_cast<std::size_t>(n);
            return given.data();
        }
    };

    Class& of(int c) { return classes.at(static_cast<std::size_t>(c)); }

    std::vector<Class> classes;
};

// Puts a row into its place in a forward stream, as short ones where the stream takes them so. Returns whether it did.
template <typename T>
bool passShortRow(const T* samples, int width, ForwardStream<T>& stream) {
    const auto [least, largest] = std::minmax_element(samples, samples + width);
    PolyphaseRow<short>* const to = stream.next16();
    if (to == nullptr || *least < 0 || *largest > std::numeric_limits<short>::max()) {
        return false;
    }
    for (int x = 0; x < width; ++x) {
        (x % 2 == 0 ? to->even : to->odd)[x / 2] = static_cast<short>(samples[x]);
    }
    to->bound = *largest;
    stream.advance();
    return true;
}

// The same with the bound that the kernels of that target find, if it is not short.
template <typename T>
void passRow(const T* samples, int width, Target target, ForwardStream<T>& stream) {
    if (passShortRow(samples, width, stream)) {
        return;
    }
    const std::vector<RowSample<T>> row(samples, samples + width);
    auto& to = stream.next();
    to.bound = kernelsOf(target).rows<T>().split(row.data(), width, to.even, to.odd);
    stream.advance();
}

template <typename T, typename Row>
void mergeRow(const PolyphaseRow<Row>& row, int width, T* samples) {
    for (int x = 0; x < width; ++x) {
        samples[x] = (x % 2 == 0 ? row.even : row.odd)[x / 2];
    }
}

template <typename T>
void mergeRow(const AnyPolyphaseRow& row, int width, T* samples) {
    if (row.narrow != nullptr) {
        mergeRow(*row.narrow, width, samples);
    } else {
        mergeRow(*row.wide, width, samples);
    }
}

template <typename T>
void takeRow(InverseStream<T>& stream, int width, T* samples) {
    mergeRow(stream.next(), width, samples);
}

// The coefficients of a channel.
template <typename T>
ClassCollector<T> transformedByRows(const ImageData<T>& image, int channel, Target target) {
    ClassCollector<T> sink;
    ForwardStream<T> stream(image.width, image.height, kernelsOf(target), sink);
    for (int y = 0; y < image.height; ++y) {
        passRow(image.planes[channel] + static_cast<long>(y) * image.stride, image.width, target, stream);
    }
    return sink;
}

// The plain inverse, by rows. Returns whether every coefficient was asked for, once.
template <typename T>
bool untransformByRows(ImageData<T>& image, int channel, Target target) {
    ClassProvider<T> source(image, channel);
    InverseStream<T> stream(image.width, image.height, kernelsOf(target), source);
    for (int y = 0; y < image.height; ++y) {
        takeRow(stream, image.width, image.planes[channel] + static_cast<long>(y) * image.stride);
    }
    return source.isUsedUp();
}

} // namespace teko

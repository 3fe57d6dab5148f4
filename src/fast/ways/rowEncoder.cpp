// SPDX-License-Identifier: Apache-2.0
#include "fast/ways/rowEncoder.hpp"

#include "fast/kernels/kernels.hpp"

#include <algorithm>

namespace teko {

template <typename T>
RowEncoder<T>::RowEncoder(int width, int height, int channels, const Kernels& kernels)
    : coefficients(shapeOf(width, height, channels), kernels.planes<T>()) {
    for (int c = 0; c < channels; ++c) {
        transforms.emplace_back(width, height, kernels, coefficients.channel(c));
    }
}

template <typename T>
bool RowEncoder<T>::isReversible() const {
    return std::all_of(transforms.begin(), transforms.end(),
                       [](const ForwardStream<T>& transform) { return transform.isReversible(); });
}

template class RowEncoder<std::int16_t>;
template class RowEncoder<std::int64_t>;

namespace {

constexpr std::int64_t largestByte = 256; // bounds may be powers of two
constexpr std::int64_t largestWord = 65536;
constexpr std::int64_t largestShort = 32767;

template <typename Row>
PolyphaseRow<Row>& withBound(PolyphaseRow<Row>& row, std::int64_t largest) {
    row.largest = largest;
    return row;
}

bool encodeColour(RowSource& rows, int width, int count, const RawRowKernels& raws, RowEncoder<std::int16_t>& encoder) {
    constexpr int channels = 3;
    for (int y = 0; y < count; ++y) {
        const unsigned char* const row = rows.next();
        if (row == nullptr) {
            return false;
        }
        PolyphaseRow<std::int16_t> samples[channels];
        for (int c = 0; c < channels; ++c) {
            samples[c] = withBound(encoder.channel(c).next(), largestByte);
        }
        raws.splitColours(row, width, samples);
        for (int c = 0; c < channels; ++c) {
            encoder.channel(c).advance();
        }
    }
    return true;
}

bool encodeGrey(RowSource& rows, int width, int count, const RawRowKernels& raws,
                ForwardStream<std::int16_t>& transform) {
    for (int y = 0; y < count; ++y) {
        const unsigned char* const row = rows.next();
        if (row == nullptr) {
            return false;
        }
        raws.splitBytes(row, width, withBound(transform.next(), largestByte));
        transform.advance();
    }
    return true;
}

// The next row as a narrow one. Returns whether it is one.
bool putNarrow(const unsigned char* raw, int width, const RawRowKernels& raws, ForwardStream<std::int64_t>& transform) {
    PolyphaseRow<std::int16_t>* const row = transform.next16();
    if (row == nullptr) {
        return false;
    }
    row->largest = raws.splitWordsTo16(raw, width, *row);
    return row->largest <= largestShort;
}

} // namespace

bool encodeRows(RowSource& rows, int width, int count, int channels, const RawRowKernels& raws,
                RowEncoder<std::int16_t>& encoder) {
    return channels == 3 ? encodeColour(rows, width, count, raws, encoder)
                         : encodeGrey(rows, width, count, raws, encoder.channel(0));
}

bool encodeRows(RowSource& rows, int width, int count, int, const RawRowKernels& raws,
                RowEncoder<std::int64_t>& encoder) {
    ForwardStream<std::int64_t>& transform = encoder.channel(0);
    for (int y = 0; y < count; ++y) {
        const unsigned char* const row = rows.next();
        if (row == nullptr) {
            return false;
        }
        if (!putNarrow(row, width, raws, transform)) {
            raws.splitWords(row, width, withBound(transform.next(), largestWord));
        }
        transform.advance();
    }
    return true;
}

} // namespace teko

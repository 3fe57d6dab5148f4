// SPDX-License-Identifier: Apache-2.0
#include "fast/ways/rowWay.hpp"

#include "fast/kernels/kernels.hpp"
#include "wavelet/levels.hpp"

#include <algorithm>
#include <cassert>
#include <cstdint>

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
PolyphaseRow<Row>& withBound(PolyphaseRow<Row>& row, std::int64_t bound) {
    row.bound = bound;
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
    row->bound = raws.splitWordsTo16(raw, width, *row);
    return row->bound <= largestShort;
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

template <typename T>
RowDecoder<T>::RowDecoder(int width, int height, int channels, const Kernels& itsKernels)
    : shape(shapeOf(width, height, channels)), kernels(itsKernels), coefficients(shape, kernels.planes<T>()) {}

template <typename T>
void RowDecoder<T>::start(int halvings) {
    assert(transforms.empty());
    coefficients.start();
    for (int c = 0; c < shape.channels; ++c) {
        transforms.emplace_back(shape.width, shape.height, kernels, coefficients.channel(c), halvings);
    }
}

template class RowDecoder<std::int16_t>;
template class RowDecoder<std::int64_t>;

namespace {

// Takes the gain of the levels that are left out from the samples of a row; returns the row.
template <typename T>
const PolyphaseRow<RowSample<T>>& takeGainOut(const PolyphaseRow<RowSample<T>>& row, const RawRowForm& form) {
    if (form.halvings > 0) {
        const auto unscale = form.kernels.rows<T>().unscale;
        unscale(row.even, (form.width + 1) / 2, timesScaled(form.halvings));
        unscale(row.odd, form.width / 2, timesScaled(form.halvings));
    }
    return row;
}

template <typename T, typename Join, typename Clamp>
void joinRow(const PolyphaseRow<RowSample<T>>& row, const RawRowForm& form, Join join, Clamp clamp,
             unsigned char* raw) {
    takeGainOut<T>(row, form);
    if (form.limit != 0) {
        clamp(row.even, (form.width + 1) / 2, form.limit);
        clamp(row.odd, form.width / 2, form.limit);
    }
    join(row, form.width, raw);
}

void joinColours(RowDecoder<std::int16_t>& decoder, const RawRowForm& form, const RawRowKernels& raws,
                 unsigned char* raw) {
    const PolyphaseRow<std::int16_t> channels[3] = {takeGainOut<std::int16_t>(decoder.channel(0).next(), form),
                                                    takeGainOut<std::int16_t>(decoder.channel(1).next(), form),
                                                    takeGainOut<std::int16_t>(decoder.channel(2).next(), form)};
    if (form.limit != 0) {
        raws.joinColoursBelow(channels, form.width, form.limit, raw);
    } else {
        raws.joinColours(channels, form.width, raw);
    }
}

// put(raw) makes the next row there.
template <typename Put>
bool putRows(int count, RowSink& rows, Put put) {
    for (int y = 0; y < count; ++y) {
        unsigned char* const raw = rows.next();
        if (raw == nullptr) {
            return false;
        }
        put(raw);
    }
    return true;
}

} // namespace

bool decodeRows(RowDecoder<std::int16_t>& decoder, const RawRowForm& form, int count, RowSink& rows) {
    const RawRowKernels& raws = form.kernels.rawRows;
    if (form.channels == 3) {
        return putRows(count, rows, [&](unsigned char* raw) { joinColours(decoder, form, raws, raw); });
    }
    return putRows(count, rows, [&](unsigned char* raw) {
        joinRow<std::int16_t>(decoder.channel(0).next(), form, raws.joinBytes, raws.clamp, raw);
    });
}

bool decodeRows(RowDecoder<std::int64_t>& decoder, const RawRowForm& form, int count, RowSink& rows) {
    const RawRowKernels& raws = form.kernels.rawRows;
    return putRows(count, rows, [&](unsigned char* raw) {
        const AnyPolyphaseRow row = decoder.channel(0).next();
        if (row.narrow != nullptr) {
            joinRow<Int64In16>(*row.narrow, form, raws.joinWordsFrom16, raws.clamp, raw);
        } else {
            joinRow<std::int64_t>(*row.wide, form, raws.joinWords, raws.clampWide, raw);
        }
    });
}

} // namespace teko

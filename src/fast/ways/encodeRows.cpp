// SPDX-License-Identifier: Apache-2.0
#include "fast/ways/encodeRows.hpp"

#include "fast/rows/splitRawRows.hpp"

namespace teko {

namespace {

constexpr std::int64_t largestByte = 256; // bounds may be powers of two
constexpr std::int64_t largestWord = 65536;
constexpr std::int64_t largestShort = 32767;

template <typename Row>
SplitSamples<Row> samplesOf(SplitRow<Row>& row, std::int64_t largest) {
    row.largest = largest;
    return {row.even, row.odd};
}

bool encodeColour(RowSource& rows, int width, int count, const SplitRawRows& split, RowEncoder<std::int16_t>& encoder) {
    constexpr int channels = 3;
    for (int y = 0; y < count; ++y) {
        const unsigned char* const row = rows.next();
        if (row == nullptr) {
            return false;
        }
        SplitSamples<std::int16_t> samples[channels];
        for (int c = 0; c < channels; ++c) {
            samples[c] = samplesOf(encoder.channel(c).next(), largestByte);
        }
        split.colours(row, width, samples);
        for (int c = 0; c < channels; ++c) {
            encoder.channel(c).advance();
        }
    }
    return true;
}

bool encodeGrey(RowSource& rows, int width, int count, const SplitRawRows& split,
                ForwardStream<std::int16_t>& transform) {
    for (int y = 0; y < count; ++y) {
        const unsigned char* const row = rows.next();
        if (row == nullptr) {
            return false;
        }
        split.bytes(row, width, samplesOf(transform.next(), largestByte));
        transform.advance();
    }
    return true;
}

// The next row as one of short samples. Returns whether it is one.
bool putSmall(const unsigned char* raw, int width, const SplitRawRows& split, ForwardStream<std::int64_t>& transform) {
    SplitRow<std::int16_t>* const row = transform.nextSmall();
    if (row == nullptr) {
        return false;
    }
    row->largest = split.smallWords(raw, width, {row->even, row->odd});
    return row->largest <= largestShort;
}

} // namespace

bool encodeRows(RowSource& rows, int width, int count, int channels, Target target, RowEncoder<std::int16_t>& encoder) {
    const SplitRawRows& split = splitRawRows(target);
    return channels == 3 ? encodeColour(rows, width, count, split, encoder)
                         : encodeGrey(rows, width, count, split, encoder.channel(0));
}

bool encodeRows(RowSource& rows, int width, int count, int, Target target, RowEncoder<std::int64_t>& encoder) {
    const SplitRawRows& split = splitRawRows(target);
    ForwardStream<std::int64_t>& transform = encoder.channel(0);
    for (int y = 0; y < count; ++y) {
        const unsigned char* const row = rows.next();
        if (row == nullptr) {
            return false;
        }
        if (!putSmall(row, width, split, transform)) {
            split.words(row, width, samplesOf(transform.next(), largestWord));
        }
        transform.advance();
    }
    return true;
}

} // namespace teko

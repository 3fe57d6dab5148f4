// SPDX-License-Identifier: Apache-2.0
#include "codec/encodeRows.hpp"

#include "image/splitRawRows.hpp"

namespace teko {

namespace {

constexpr long largestByte = 256; // bounds may be powers of two
constexpr long largestWord = 65536;
constexpr long largestShort = 32767;

template <typename Row>
SplitSamples<Row> samplesOf(SplitRow<Row>& row, long largest) {
    row.largest = largest;
    return {row.even, row.odd};
}

bool encodeColour(RowSource& rows, int width, int height, const SplitRawRows& split, RowEncoder<short>& encoder) {
    constexpr int channels = 3;
    for (int y = 0; y < height; ++y) {
        const unsigned char* const row = rows.next();
        if (row == nullptr) {
            return false;
        }
        SplitSamples<short> samples[channels];
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

bool encodeGrey(RowSource& rows, int width, int height, const SplitRawRows& split, ForwardStream<short>& transform) {
    for (int y = 0; y < height; ++y) {
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
bool putSmall(const unsigned char* raw, int width, const SplitRawRows& split, ForwardStream<long>& transform) {
    SplitRow<short>* const row = transform.nextSmall();
    if (row == nullptr) {
        return false;
    }
    row->largest = split.smallWords(raw, width, {row->even, row->odd});
    return row->largest <= largestShort;
}

} // namespace

bool encodeRows(RowSource& rows, int width, int height, int channels, Target target, RowEncoder<short>& encoder) {
    const SplitRawRows& split = splitRawRows(target);
    return channels == 3 ? encodeColour(rows, width, height, split, encoder)
                         : encodeGrey(rows, width, height, split, encoder.channel(0));
}

bool encodeRows(RowSource& rows, int width, int height, int, Target target, RowEncoder<long>& encoder) {
    const SplitRawRows& split = splitRawRows(target);
    ForwardStream<long>& transform = encoder.channel(0);
    for (int y = 0; y < height; ++y) {
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

// SPDX-License-Identifier: Apache-2.0
#include "codec/decodeRows.hpp"

#include "image/joinRawRows.hpp"

namespace teko {

namespace {

template <typename Row>
SplitSamples<Row> samplesOf(const SplitRow<Row>& row) {
    return {row.even, row.odd};
}

// A limit of 0 is none.
template <typename Row, typename Join, typename Clamp>
void joinRow(const SplitRow<Row>& row, int width, int limit, Join join, Clamp clamp, unsigned char* raw) {
    if (limit != 0) {
        clamp(row.even, (width + 1) / 2, limit);
        clamp(row.odd, width / 2, limit);
    }
    join(samplesOf(row), width, raw);
}

bool decodeColour(RowDecoder<std::int16_t>& decoder, int width, int height, int limit, const JoinRawRows& join,
                  RowSink& rows) {
    for (int y = 0; y < height; ++y) {
        unsigned char* const raw = rows.next();
        if (raw == nullptr) {
            return false;
        }
        const SplitSamples<std::int16_t> channels[3] = {samplesOf(decoder.channel(0).next()),
                                                        samplesOf(decoder.channel(1).next()),
                                                        samplesOf(decoder.channel(2).next())};
        if (limit != 0) {
            join.coloursBelow(channels, width, limit, raw);
        } else {
            join.colours(channels, width, raw);
        }
    }
    return rows.finish();
}

// put(raw) makes the next row there.
template <typename Put>
bool decodeGrey(int height, RowSink& rows, Put put) {
    for (int y = 0; y < height; ++y) {
        unsigned char* const raw = rows.next();
        if (raw == nullptr) {
            return false;
        }
        put(raw);
    }
    return rows.finish();
}

} // namespace

bool decodeRows(RowDecoder<std::int16_t>& decoder, int width, int height, int channels, int limit, Target target,
                RowSink& rows) {
    const JoinRawRows& join = joinRawRows(target);
    if (channels == 3) {
        return decodeColour(decoder, width, height, limit, join, rows);
    }
    return decodeGrey(height, rows, [&](unsigned char* raw) {
        joinRow(decoder.channel(0).next(), width, limit, join.bytes, join.clamp, raw);
    });
}

bool decodeRows(RowDecoder<std::int64_t>& decoder, int width, int height, int, int limit, Target target,
                RowSink& rows) {
    const JoinRawRows& join = joinRawRows(target);
    return decodeGrey(height, rows, [&](unsigned char* raw) {
        const AnySplitRow row = decoder.channel(0).next();
        if (row.small != nullptr) {
            joinRow(*row.small, width, limit, join.smallWords, join.clamp, raw);
        } else {
            joinRow(*row.wide, width, limit, join.words, join.clampWide, raw);
        }
    });
}

} // namespace teko

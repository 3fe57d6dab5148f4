// SPDX-License-Identifier: Apache-2.0
#include "fast/ways/decodeRows.hpp"

#include "fast/rows/joinRawRows.hpp"
#include "wavelet/reduction.hpp"

namespace teko {

namespace {

template <typename Row>
SplitSamples<Row> samplesOf(const SplitRow<Row>& row) {
    return {row.even, row.odd};
}

// The next row of a channel, of samples T, its gain taken out.
template <typename T>
const SplitRow<RowSample<T>>& withoutGain(const SplitRow<RowSample<T>>& row, const RawRowForm& form) {
    if (form.halvings > 0) {
        const auto unscale = rowKernels<T>(form.target).unscale;
        unscale(row.even, (form.width + 1) / 2, timesScaled(form.halvings));
        unscale(row.odd, form.width / 2, timesScaled(form.halvings));
    }
    return row;
}

template <typename T, typename Join, typename Clamp>
void joinRow(const SplitRow<RowSample<T>>& row, const RawRowForm& form, Join join, Clamp clamp, unsigned char* raw) {
    withoutGain<T>(row, form);
    if (form.limit != 0) {
        clamp(row.even, (form.width + 1) / 2, form.limit);
        clamp(row.odd, form.width / 2, form.limit);
    }
    join(samplesOf(row), form.width, raw);
}

void joinColours(RowDecoder<std::int16_t>& decoder, const RawRowForm& form, const JoinRawRows& join,
                 unsigned char* raw) {
    const SplitSamples<std::int16_t> channels[3] = {
        samplesOf(withoutGain<std::int16_t>(decoder.channel(0).next(), form)),
        samplesOf(withoutGain<std::int16_t>(decoder.channel(1).next(), form)),
        samplesOf(withoutGain<std::int16_t>(decoder.channel(2).next(), form))};
    if (form.limit != 0) {
        join.coloursBelow(channels, form.width, form.limit, raw);
    } else {
        join.colours(channels, form.width, raw);
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
    const JoinRawRows& join = joinRawRows(form.target);
    if (form.channels == 3) {
        return putRows(count, rows, [&](unsigned char* raw) { joinColours(decoder, form, join, raw); });
    }
    return putRows(count, rows, [&](unsigned char* raw) {
        joinRow<std::int16_t>(decoder.channel(0).next(), form, join.bytes, join.clamp, raw);
    });
}

bool decodeRows(RowDecoder<std::int64_t>& decoder, const RawRowForm& form, int count, RowSink& rows) {
    const JoinRawRows& join = joinRawRows(form.target);
    return putRows(count, rows, [&](unsigned char* raw) {
        const AnySplitRow row = decoder.channel(0).next();
        if (row.small != nullptr) {
            joinRow<SmallLong>(*row.small, form, join.smallWords, join.clamp, raw);
        } else {
            joinRow<std::int64_t>(*row.wide, form, join.words, join.clampWide, raw);
        }
    });
}

} // namespace teko

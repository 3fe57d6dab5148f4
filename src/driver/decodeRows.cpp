#include "driver/decodeRows.hpp"

#include "driver/colourTransform.hpp"
#include "image/joinRawRows.hpp"
#include "image/sampleLimit.hpp"
#include "target/target.hpp"

#include <algorithm>
#include <memory>

namespace teko {

namespace {

constexpr std::size_t bytesAtOnce = 65536;

// The rows of a raw file, written several at a time: large enough pieces go to the system from their place.
class RawRowWriter {
public:
    RawRowWriter(std::FILE* raw, std::size_t rowBytes)
        : file(raw), size(rowBytes), held(std::max<std::size_t>(1, bytesAtOnce / std::max<std::size_t>(1, rowBytes))),
          memory(new unsigned char[held * size]) {}

    // Where the next row goes.
    unsigned char* next() {
        if (count == held) {
            write();
        }
        return memory.get() + size * count++;
    }

    void finish() {
        write();
        if (std::fflush(file) != 0) {
            throw 3; // what the last rows could not store shows only here
        }
    }

private:
    void write() {
        if (std::fwrite(memory.get(), size, count, file) != count) {
            throw 3;
        }
        count = 0;
    }

    std::FILE* file;
    std::size_t size;
    std::size_t held;
    std::size_t count = 0;
    std::unique_ptr<unsigned char[]> memory;
};

template <typename Row>
void clamp(const SplitSamples<Row>& samples, int width, int limit) {
    const auto clampPart = [limit](Row* part, int n) {
        std::transform(part, part + n, part, [limit](Row sample) { return clampedTo(limit, sample); });
    };
    clampPart(samples.even, (width + 1) / 2);
    clampPart(samples.odd, width / 2);
}

template <typename Row>
SplitSamples<Row> samplesOf(const SplitRow<Row>& row) {
    return {row.even, row.odd};
}

template <typename Row, typename Join>
void putRow(const SplitRow<Row>& row, int width, int limit, Join join, RawRowWriter& rows) {
    const SplitSamples<Row> samples = samplesOf(row);
    if (limit != 0) {
        clamp(samples, width, limit);
    }
    join(samples, width, rows.next());
}

// Clamping is for whole samples, so it cannot be left to a kernel that makes no more than their low bits.
void joinClamped(const SplitSamples<short>* channels, int width, int limit, unsigned char* raw) {
    colourUntransformRow(channels[0].even, channels[1].even, channels[2].even, (width + 1) / 2);
    colourUntransformRow(channels[0].odd, channels[1].odd, channels[2].odd, width / 2);
    for (int c = 0; c < 3; ++c) {
        clamp(channels[c], width, limit);
        for (int x = 0; x < width; ++x) {
            const short sample = x % 2 == 0 ? channels[c].even[x / 2] : channels[c].odd[x / 2];
            raw[3 * x + c] = static_cast<unsigned char>(sample & 0xFF);
        }
    }
}

void decodeColour(RowDecoder<short>& decoder, int width, int height, int limit, RawRowWriter& rows) {
    const auto join = joinRawRows(activeTarget()).colours;
    for (int y = 0; y < height; ++y) {
        const SplitSamples<short> channels[3] = {samplesOf(decoder.channel(0).next()),
                                                 samplesOf(decoder.channel(1).next()),
                                                 samplesOf(decoder.channel(2).next())};
        if (limit != 0) {
            joinClamped(channels, width, limit, rows.next());
        } else {
            join(channels, width, rows.next());
        }
    }
    rows.finish();
}

} // namespace

void decodeRows(RowDecoder<short>& decoder, int width, int height, int channels, int limit, std::FILE* raw) {
    RawRowWriter rows(raw, static_cast<std::size_t>(channels) * static_cast<std::size_t>(width));
    if (channels == 3) {
        decodeColour(decoder, width, height, limit, rows);
    } else {
        for (int y = 0; y < height; ++y) {
            putRow(decoder.channel(0).next(), width, limit, joinRawRows(activeTarget()).bytes, rows);
        }
        rows.finish();
    }
}

void decodeRows(RowDecoder<long>& decoder, int width, int height, int, int limit, std::FILE* raw) {
    RawRowWriter rows(raw, 2 * static_cast<std::size_t>(width));
    const JoinRawRows& join = joinRawRows(activeTarget());
    for (int y = 0; y < height; ++y) {
        const AnySplitRow row = decoder.channel(0).next();
        if (row.small != nullptr) {
            putRow(*row.small, width, limit, join.smallWords, rows);
        } else {
            putRow(*row.wide, width, limit, join.words, rows);
        }
    }
    rows.finish();
}

} // namespace teko

#include "driver/decodeRows.hpp"

#include "image/joinRawRows.hpp"
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
SplitSamples<Row> samplesOf(const SplitRow<Row>& row) {
    return {row.even, row.odd};
}

// A limit of 0 is none.
template <typename Row, typename Join, typename Clamp>
void putRow(const SplitRow<Row>& row, int width, int limit, Join join, Clamp clamp, RawRowWriter& rows) {
    if (limit != 0) {
        clamp(row.even, (width + 1) / 2, limit);
        clamp(row.odd, width / 2, limit);
    }
    join(samplesOf(row), width, rows.next());
}

void decodeColour(RowDecoder<short>& decoder, int width, int height, int limit, RawRowWriter& rows) {
    const JoinRawRows& join = joinRawRows(activeTarget());
    for (int y = 0; y < height; ++y) {
        const SplitSamples<short> channels[3] = {samplesOf(decoder.channel(0).next()),
                                                 samplesOf(decoder.channel(1).next()),
                                                 samplesOf(decoder.channel(2).next())};
        if (limit != 0) {
            join.coloursBelow(channels, width, limit, rows.next());
        } else {
            join.colours(channels, width, rows.next());
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
        const JoinRawRows& join = joinRawRows(activeTarget());
        for (int y = 0; y < height; ++y) {
            putRow(decoder.channel(0).next(), width, limit, join.bytes, join.clamp, rows);
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
            putRow(*row.small, width, limit, join.smallWords, join.clamp, rows);
        } else {
            putRow(*row.wide, width, limit, join.words, join.clampWide, rows);
        }
    }
    rows.finish();
}

} // namespace teko

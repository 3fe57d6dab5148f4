#include "driver/encodeRows.hpp"

#include "image/splitRawRows.hpp"
#include "target/target.hpp"

#include <algorithm>
#include <memory>

namespace teko {

namespace {

constexpr std::size_t bytesAtOnce = 65536;

// The rows of a raw file, read several at a time: large enough pieces go from the system to their place.
class RawRowReader {
public:
    RawRowReader(std::FILE* raw, std::size_t rowBytes, int height)
        : file(raw), size(rowBytes), left(static_cast<std::size_t>(height)),
          held(std::max<std::size_t>(1, bytesAtOnce / std::max<std::size_t>(1, rowBytes))),
          memory(new unsigned char[std::min(held, left) * size]) {}

    // Throws 3 when the file ends early.
    const unsigned char* next() {
        if (ready == 0) {
            ready = std::min(held, left);
            if (std::fread(memory.get(), size, ready, file) != ready) {
                throw 3;
            }
            left -= ready;
            row = memory.get();
        } else {
            row += size;
        }
        --ready;
        return row;
    }

private:
    std::FILE* file;
    std::size_t size;
    std::size_t left; // rows
    std::size_t held;
    std::size_t ready = 0;
    std::unique_ptr<unsigned char[]> memory;
    const unsigned char* row = nullptr;
};

constexpr long largestByte = 256; // bounds may be powers of two
constexpr long largestWord = 65536;
constexpr long largestShort = 32767;

template <typename Row>
SplitSamples<Row> samplesOf(SplitRow<Row>& row, long largest) {
    row.largest = largest;
    return {row.even, row.odd};
}

void encodeColour(std::FILE* raw, int width, int height, RowEncoder<short>& encoder) {
    constexpr int channels = 3;
    RawRowReader rows(raw, static_cast<std::size_t>(channels) * static_cast<std::size_t>(width), height);
    const auto split = splitRawRows(activeTarget()).colours;
    for (int y = 0; y < height; ++y) {
        SplitSamples<short> samples[channels];
        for (int c = 0; c < channels; ++c) {
            samples[c] = samplesOf(encoder.channel(c).next(), largestByte);
        }
        split(rows.next(), width, samples);
        for (int c = 0; c < channels; ++c) {
            encoder.channel(c).advance();
        }
    }
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

void encodeRows(std::FILE* raw, int width, int height, int channels, RowEncoder<short>& encoder) {
    if (channels == 3) {
        encodeColour(raw, width, height, encoder);
    } else {
        RawRowReader rows(raw, static_cast<std::size_t>(width), height);
        for (int y = 0; y < height; ++y) {
            splitRawRows(activeTarget()).bytes(rows.next(), width, samplesOf(encoder.channel(0).next(), largestByte));
            encoder.channel(0).advance();
        }
    }
}

void encodeRows(std::FILE* raw, int width, int height, int, RowEncoder<long>& encoder) {
    RawRowReader rows(raw, 2 * static_cast<std::size_t>(width), height);
    const SplitRawRows& split = splitRawRows(activeTarget());
    ForwardStream<long>& transform = encoder.channel(0);
    for (int y = 0; y < height; ++y) {
        const unsigned char* const row = rows.next();
        if (!putSmall(row, width, split, transform)) {
            split.words(row, width, samplesOf(transform.next(), largestWord));
        }
        transform.advance();
    }
}

} // namespace teko

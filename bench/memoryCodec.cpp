// SPDX-License-Identifier: Apache-2.0
#include "bench/memoryCodec.hpp"

#include <algorithm>

namespace teko::bench {

namespace {

FileHeader headerOf(const ImageEntry& entry) {
    return FileHeader::forImage(entry.bytesPerPixel, entry.bitsPerSample, entry.width, entry.height);
}

void demand(Status status) {
    if (status != Status::ok && status != Status::cut) {
        throw std::runtime_error("the codec ended with status " + std::to_string(static_cast<int>(status)));
    }
}

MemorySource sourceOf(const ImageEntry& entry, ByteView raw) {
    return {raw.data(), static_cast<std::ptrdiff_t>(entry.rowBytes())};
}

MemorySink sinkOf(const ImageEntry& entry, std::span<unsigned char> raw) {
    return {raw.data(), static_cast<std::ptrdiff_t>(entry.rowBytes())};
}

// Runs code(out) on a writer of `capacity` bytes behind `before` others. A stream cut by its budget keeps to the bytes;
// a whole one ends with a whole word, as in a file.
template <typename Code>
Bytes codedBehind(std::size_t before, std::uint64_t capacity, Code code) {
    Bytes coded(before + capacity);
    ByteStreamer out;
    out.setUpMemoryWriter(coded.memory.get() + before, static_cast<std::int64_t>(capacity));
    const Status status = code(out);
    demand(status);
    const std::uint64_t words = 4 * static_cast<std::uint64_t>((out.bitCount() + 31) / 32);
    coded.size = before + (status == Status::cut ? payloadBytes(out, capacity) : std::min(words, capacity));
    return coded;
}

Bytes encodeWithCapacity(const ImageEntry& entry, MemorySource rows, std::uint64_t capacity) {
    const FileHeader header = headerOf(entry);
    Bytes coded = codedBehind(FileHeader::bytes, capacity,
                              [&](ByteStreamer& out) { return encodeImage(header, activeTarget(), rows, out); });
    const auto bytes = header.format();
    std::copy(bytes.begin(), bytes.end(), coded.memory.get());
    return coded;
}

void decodeTo(const ImageEntry& entry, ByteView coded, MemorySink rows) {
    const ByteView payload = coded.subspan(FileHeader::bytes);
    ByteStreamer in;
    in.setUpMemoryReader(payload.data(), static_cast<std::int64_t>(payload.size()));
    demand(decodeImage(headerOf(entry), activeTarget(), in, rows));
}

} // namespace

void StagedCodec::transform(ByteView raw) {
    encoder.reset();
    encoder.emplace(headerOf(entry), activeTarget());
    demand(encoder->prepare());
    MemorySource rows = sourceOf(entry, raw);
    demand(encoder->read(rows));
    demand(encoder->transform());
}

Bytes StagedCodec::code(std::uint64_t capacity) {
    return codedBehind(0, capacity, [this](ByteStreamer& out) { return encoder->write(out); });
}

void StagedCodec::decode(ByteView payload) {
    decoder.reset();
    decoder.emplace(headerOf(entry), activeTarget());
    demand(decoder->prepare());
    ByteStreamer in;
    in.setUpMemoryReader(payload.data(), static_cast<std::int64_t>(payload.size()));
    demand(decoder->read(in));
}

void StagedCodec::restore(std::span<unsigned char> raw) {
    demand(decoder->transform());
    MemorySink rows = sinkOf(entry, raw);
    demand(decoder->write(rows));
}

Bytes encodeWhole(const ImageEntry& entry, ByteView raw) {
    return encodeWithCapacity(entry, sourceOf(entry, raw), codedCapacity(raw.size()));
}

Bytes encodeWithin(float rate, const ImageEntry& entry, ByteView raw) {
    return encodeWithCapacity(entry, sourceOf(entry, raw), byteBudget(headerOf(entry), rate).value());
}

void decodeWhole(const ImageEntry& entry, ByteView coded, std::span<unsigned char> raw) {
    decodeTo(entry, coded, sinkOf(entry, raw));
}

TiledCodec::TiledCodec(const ImageEntry& image)
    : pitch(static_cast<std::ptrdiff_t>(image.rowBytes())), tile(image), coded(image.pixels() / (side * side)) {
    if (image.width % side != 0 || image.height % side != 0) {
        throw std::runtime_error(image.name + ": not whole tiles");
    }
    tile.width = side;
    tile.height = side;
    const std::size_t across = static_cast<std::size_t>(image.width) / side;
    for (std::size_t i = 0; i < coded.size(); ++i) {
        places.push_back(i / across * side * image.rowBytes() + i % across * tile.rowBytes());
    }
}

void TiledCodec::encode(ByteView raw) {
    for (std::size_t i = 0; i < coded.size(); ++i) {
        coded[i] = encodeWithCapacity(tile, {raw.data() + places[i], pitch}, codedCapacity(tile.rawBytes()));
    }
}

void TiledCodec::decode(std::span<unsigned char> raw) const {
    for (std::size_t i = 0; i < coded.size(); ++i) {
        decodeTo(tile, coded[i].view(), {raw.data() + places[i], pitch});
    }
}

} // namespace teko::bench

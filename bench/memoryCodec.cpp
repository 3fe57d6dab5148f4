#include "bench/memoryCodec.hpp"

#include "coding/bitStreamer.hpp"
#include "coding/decoder.hpp"
#include "driver/colourTransform.hpp"
#include "driver/decodeRows.hpp"
#include "driver/encodeRows.hpp"
#include "driver/fileHeader.hpp"
#include "driver/files.hpp"

#include <algorithm>
#include <vector>

namespace teko::bench {

namespace {

constexpr std::size_t wordBytes = sizeof(std::uint32_t);
// Puts the payload behind the header on a whole word.
constexpr std::size_t headerStart = (wordBytes - FileHeader::bytes % wordBytes) % wordBytes;
constexpr std::size_t payloadStart = headerStart + FileHeader::bytes;

File openToRead(ByteView bytes) {
    return File(fmemopen(const_cast<unsigned char*>(bytes.data()), bytes.size(), "rb"));
}

// What is written to memory through a file. (A writing fmemopen would put a zero in the place of the last byte.)
struct MemoryTarget {
    unsigned char* next;
    std::size_t left;

    static ssize_t write(void* cookie, const char* data, std::size_t count) {
        auto& target = *static_cast<MemoryTarget*>(cookie);
        const std::size_t taken = std::min(count, target.left);
        std::memcpy(target.next, data, taken);
        target.next += taken;
        target.left -= taken;
        return static_cast<ssize_t>(taken);
    }
};

File openToWrite(MemoryTarget& target) {
    return File(fopencookie(&target, "wb", {nullptr, &MemoryTarget::write, nullptr, nullptr}));
}

FileHeader headerOf(const ImageEntry& entry) {
    return FileHeader::forImage(entry.bytesPerPixel, entry.bitsPerSample, entry.width, entry.height);
}

// Codes behind the room that a header needs. A stream cut by its budget keeps to the bytes; a whole one ends with a
// whole word, as in a file.
template <typename Write>
Bytes codeBehindHeader(std::uint64_t capacity, Write write) {
    Bytes coded(payloadStart + capacity + wordBytes);
    BitStreamer out;
    out.setUpMemoryWriter(coded.memory.get() + payloadStart, static_cast<std::int64_t>(capacity));
    try {
        write(out);
        coded.size = static_cast<std::size_t>((out.bitCount() + 31) / 32) * wordBytes;
    } catch (int) {
        coded.size = static_cast<std::size_t>((out.bitCount() + 7) / 8);
    }
    coded.start = payloadStart;
    coded.size = std::min(coded.size, static_cast<std::size_t>(capacity));
    return coded;
}

template <typename T>
Bytes encodePayload(const ImageEntry& entry, ByteView raw, std::uint64_t capacity) {
    if (RowEncoder<T>::suits(entry.width, entry.height)) {
        RowEncoder<T> encoder(entry.width, entry.height, entry.channels());
        encodeRows(openToRead(raw).get(), entry.width, entry.height, entry.channels(), encoder);
        return codeBehindHeader(capacity, [&](BitStreamer& out) { encoder.write(out); });
    }
    MemoryCodec<T> codec(entry);
    codec.readPlanes(raw);
    codec.applyColour();
    codec.transform();
    return codec.code(capacity);
}

template <typename T>
Bytes encode(const ImageEntry& entry, ByteView raw, std::uint64_t capacity) {
    Bytes coded = encodePayload<T>(entry, raw, capacity);
    coded.start = headerStart;
    coded.size += FileHeader::bytes;
    MemoryTarget header{coded.memory.get() + headerStart, FileHeader::bytes};
    headerOf(entry).write(openToWrite(header).get());
    return coded;
}

template <typename T>
bool decodeInRows(const ImageEntry& entry, ByteView payload, std::span<unsigned char> raw) {
    if (!RowDecoder<T>::suits(entry.width, entry.height)) {
        return false;
    }
    RowDecoder<T> decoder(entry.width, entry.height, entry.channels());
    BitStreamer in;
    in.setUpMemoryReader(const_cast<unsigned char*>(payload.data()), static_cast<std::int64_t>(payload.size()));
    const int topPlane = readTopPlane(in);
    if (!RowDecoder<T>::suits(topPlane)) {
        return false;
    }
    decoder.read(topPlane, in);
    MemoryTarget target{raw.data(), raw.size()};
    decodeRows(decoder, entry.width, entry.height, entry.channels(), 0, openToWrite(target).get());
    return true;
}

template <typename T>
void decode(const ImageEntry& entry, ByteView payload, std::span<unsigned char> raw) {
    if (decodeInRows<T>(entry, payload, raw)) {
        return;
    }
    MemoryCodec<T> codec(entry);
    codec.decode(payload);
    codec.untransform();
    codec.revertColour();
    codec.writePlanes(raw);
}

Bytes encodeWithCapacity(const ImageEntry& entry, ByteView raw, std::uint64_t capacity) {
    return entry.bytesPerPixel == 2 ? encode<long>(entry, raw, capacity) : encode<short>(entry, raw, capacity);
}

} // namespace

template <typename T>
MemoryCodec<T>::MemoryCodec(const ImageEntry& entry) : image(entry.width, entry.height, entry.channels()) {
    wavelet.filter = &filter;
}

template <typename T>
void MemoryCodec<T>::readPlanes(ByteView raw) {
    const File file = openToRead(raw);
    if constexpr (sizeof(T) == sizeof(short)) {
        image.rawRead8(file.get());
    } else {
        image.rawRead16(file.get());
    }
}

template <typename T>
void MemoryCodec<T>::applyColour() {
    if constexpr (sizeof(T) == sizeof(short)) {
        colourTransform(&image);
    }
}

template <typename T>
void MemoryCodec<T>::transform() {
    wavelet.transform(&image);
}

template <typename T>
Bytes MemoryCodec<T>::code(std::uint64_t capacity) {
    return codeBehindHeader(capacity, [this](BitStreamer& out) { wavelet.writeWavelet(&image, out); });
}

template <typename T>
void MemoryCodec<T>::decode(ByteView payload) {
    BitStreamer in;
    in.setUpMemoryReader(const_cast<unsigned char*>(payload.data()), static_cast<std::int64_t>(payload.size()));
    wavelet.readWavelet(&image, in);
}

template <typename T>
void MemoryCodec<T>::untransform() {
    wavelet.untransform(&image);
}

template <typename T>
void MemoryCodec<T>::revertColour() {
    if constexpr (sizeof(T) == sizeof(short)) {
        colourUntransform(&image);
    }
}

template <typename T>
void MemoryCodec<T>::writePlanes(std::span<unsigned char> raw) {
    MemoryTarget target{raw.data(), raw.size()};
    const File file = openToWrite(target);
    if constexpr (sizeof(T) == sizeof(short)) {
        image.rawWrite8(file.get(), 0);
    } else {
        image.rawWrite16(file.get(), 0);
    }
}

Bytes encodeWhole(const ImageEntry& entry, ByteView raw) {
    return encodeWithCapacity(entry, raw, codedCapacity(raw.size()));
}

Bytes encodeWithin(float rate, const ImageEntry& entry, ByteView raw) {
    return encodeWithCapacity(entry, raw, byteBudget(headerOf(entry), rate));
}

void decodeWhole(const ImageEntry& entry, ByteView coded, std::span<unsigned char> raw) {
    const ByteView payload = coded.subspan(FileHeader::bytes);
    std::vector<std::uint32_t> words; // only for a payload that does not start on a word
    ByteView aligned = payload;
    if (reinterpret_cast<std::uintptr_t>(payload.data()) % wordBytes != 0) {
        words.resize(payload.size() / wordBytes + 1);
        std::memcpy(words.data(), payload.data(), payload.size());
        aligned = ByteView(reinterpret_cast<const unsigned char*>(words.data()), payload.size());
    }
    if (entry.bytesPerPixel == 2) {
        decode<long>(entry, aligned, raw);
    } else {
        decode<short>(entry, aligned, raw);
    }
}

template class MemoryCodec<short>;
template class MemoryCodec<long>;

} // namespace teko::bench

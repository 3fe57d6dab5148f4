#include "bench/memoryCodec.hpp"

#include "coding/bitStreamer.hpp"
#include "coding/decoder.hpp"
#include "driver/colourTransform.hpp"
#include "driver/decodeRows.hpp"
#include "driver/encodeRows.hpp"
#include "driver/fileHeader.hpp"
#include "driver/files.hpp"
#include "filter/filter4_2.hpp"
#include "image/imageData.hpp"
#include "wavelet/wavelet.hpp"

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

void setUpReader(BitStreamer& in, ByteView payload) {
    in.setUpMemoryReader(const_cast<unsigned char*>(payload.data()), static_cast<std::int64_t>(payload.size()));
}

// As mode d clamps what is not complete.
int limitAfter(int endedEarly, const ImageEntry& entry) {
    return endedEarly == 0 ? 0 : 1 << entry.bitsPerSample;
}

// What images and targets without rows take: planes, stage by stage.
template <typename T>
struct Planes {
    explicit Planes(const ImageEntry& entry) : image(entry.width, entry.height, entry.channels()) {
        wavelet.filter = &filter;
    }

    Bytes encode(ByteView raw, std::uint64_t capacity) {
        const File file = openToRead(raw);
        sizeof(T) == sizeof(short) ? image.rawRead8(file.get()) : image.rawRead16(file.get());
        if constexpr (sizeof(T) == sizeof(short)) {
            colourTransform(&image);
        }
        wavelet.transform(&image);
        return codeBehindHeader(capacity, [this](BitStreamer& out) { wavelet.writeWavelet(&image, out); });
    }

    void decode(const ImageEntry& entry, BitStreamer& in, std::span<unsigned char> raw) {
        const int limit = limitAfter(wavelet.readWavelet(&image, in), entry);
        wavelet.untransform(&image);
        if constexpr (sizeof(T) == sizeof(short)) {
            colourUntransform(&image);
        }
        MemoryTarget target{raw.data(), raw.size()};
        const File file = openToWrite(target);
        sizeof(T) == sizeof(short) ? image.rawWrite8(file.get(), limit) : image.rawWrite16(file.get(), limit);
    }

    ImageData<T> image;
    Filter4_2<T> filter;
    Wavelet<T> wavelet;
};

template <typename T>
Bytes encodePayload(const ImageEntry& entry, ByteView raw, std::uint64_t capacity) {
    if (!RowCodec<T>::suits(entry)) {
        return Planes<T>(entry).encode(raw, capacity);
    }
    RowCodec<T> codec(entry);
    codec.transform(raw);
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
void decode(const ImageEntry& entry, ByteView payload, std::span<unsigned char> raw) {
    if (RowCodec<T>::suits(entry)) {
        RowCodec<T> codec(entry);
        codec.decode(payload);
        codec.restore(raw);
    } else {
        BitStreamer in;
        setUpReader(in, payload);
        Planes<T>(entry).decode(entry, in, raw);
    }
}

Bytes encodeWithCapacity(const ImageEntry& entry, ByteView raw, std::uint64_t capacity) {
    return entry.bytesPerPixel == 2 ? encode<long>(entry, raw, capacity) : encode<short>(entry, raw, capacity);
}

} // namespace

template <typename T>
bool RowCodec<T>::suits(const ImageEntry& entry) {
    return RowEncoder<T>::suits(entry.width, entry.height);
}

template <typename T>
void RowCodec<T>::transform(ByteView raw) {
    encoder.reset();
    encoder = std::make_unique<RowEncoder<T>>(entry.width, entry.height, entry.channels());
    encodeRows(openToRead(raw).get(), entry.width, entry.height, entry.channels(), *encoder);
}

template <typename T>
Bytes RowCodec<T>::code(std::uint64_t capacity) {
    return codeBehindHeader(capacity, [this](BitStreamer& out) { encoder->write(out); });
}

template <typename T>
void RowCodec<T>::decode(ByteView payload) {
    decoder.reset();
    decoder = std::make_unique<RowDecoder<T>>(entry.width, entry.height, entry.channels());
    BitStreamer in;
    setUpReader(in, payload);
    limit = limitAfter(decoder->read(readTopPlane(in), in), entry);
}

template <typename T>
void RowCodec<T>::restore(std::span<unsigned char> raw) {
    MemoryTarget target{raw.data(), raw.size()};
    decodeRows(*decoder, entry.width, entry.height, entry.channels(), limit, openToWrite(target).get());
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

template class RowCodec<short>;
template class RowCodec<long>;

} // namespace teko::bench

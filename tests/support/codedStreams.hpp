// SPDX-License-Identifier: Apache-2.0
// Coded streams in memory and in files: encoding into them and decoding from them.
#pragma once

#include "coding/bitStreamer.hpp"
#include "support/bytes.hpp"
#include "support/scratchFile.hpp"
#include "wavelet/wavelet.hpp"

#include <algorithm>

namespace teko {

// A memory writer over exactly so many bytes, with a fence behind them.
class MemoryTarget {
public:
    explicit MemoryTarget(std::size_t capacity) : bytes(capacity), memory(capacity / 4 + 3, fence) {
        stream.setUpMemoryWriter(memory.data(), static_cast<std::int64_t>(bytes));
    }

    BitStreamer stream;

    // The first `count` bytes of the buffer.
    Bytes content(std::size_t count) const { return {begin(), begin() + count}; }

    // What was written, to the byte of its last bit.
    Bytes written() const { return content(static_cast<std::size_t>(stream.bitCount() + 7) / 8); }

    bool fenceIsIntact() const {
        return std::all_of(begin() + bytes, begin() + memory.size() * 4,
                           [](std::uint8_t byte) { return byte == fence % 256; });
    }

private:
    static constexpr std::uint32_t fence = 0xEEEEEEEE;

    const std::uint8_t* begin() const { return reinterpret_cast<const std::uint8_t*>(memory.data()); }

    std::size_t bytes;
    std::vector<std::uint32_t> memory;
};

// The integer that an action throws, 0 if none.
template <typename Action>
int thrownBy(Action action) {
    try {
        action();
    } catch (int thrown) {
        return thrown;
    }
    return 0;
}

// More than the longest stream of any image of this shape.
template <typename T>
std::size_t ampleRoom(const ImageData<T>& image) {
    const auto width = static_cast<std::size_t>(image.width);
    const auto height = static_cast<std::size_t>(image.height);
    return 16384 + width * height * static_cast<std::size_t>(image.channels) * 4 * sizeof(T);
}

// The stream of a transformed image. The image is left with folded values.
template <typename T>
Bytes encodedBytes(ImageData<T>& image) {
    MemoryTarget target(ampleRoom(image));
    Wavelet<T>().writeWavelet(&image, target.stream);
    return target.written();
}

template <typename T>
Bytes encodedFile(ImageData<T>& image) {
    const ScratchFile file;
    BitStreamer stream;
    stream.setUpFileWriter(file.get());
    Wavelet<T>().writeWavelet(&image, stream);
    return file.contents();
}

// Both return the decoder's result.
template <typename T>
int decodeFromMemory(ImageData<T>& image, const Bytes& payload, Wavelet<T> wavelet = {}) {
    std::vector<std::uint32_t> memory((payload.size() + 3) / 4);
    std::copy(payload.begin(), payload.end(), reinterpret_cast<std::uint8_t*>(memory.data()));
    BitStreamer stream;
    stream.setUpMemoryReader(memory.data(), static_cast<std::int64_t>(payload.size()));
    return wavelet.readWavelet(&image, stream);
}

template <typename T>
int decodeFromFile(ImageData<T>& image, const Bytes& payload, Wavelet<T> wavelet = {}) {
    const ScratchFile file(payload);
    BitStreamer stream;
    stream.setUpFileReader(file.get());
    return wavelet.readWavelet(&image, stream);
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// Decoded classes that stay sliced until their values are asked for.
#pragma once

#include "fast/planes/classDecoder.hpp"
#include "memory/fillingMemory.hpp"
#include "memory/memory.hpp"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

// The classes of all channels, one behind the other in memory.
template <typename T>
class SlicedChannels {
public:
    // What images with planes up to topPlane take.
    static std::size_t bytesFor(const ImageShape& shape, int topPlane) {
        std::int64_t words = 0;
        for (int c = 0; c <= shape.levels; ++c) {
            words += wordsFor(classSamples(shape, c), rowsUpTo(topPlane));
        }
        return static_cast<std::size_t>(shape.channels) * static_cast<std::size_t>(words) * sizeof(Word);
    }

    // Writes to all bytesFor the top plane of the memory, which has as many and outlives this.
    SlicedChannels(const ImageShape& shape, int topPlane, unsigned char* memory)
        : rows(rowsUpTo(topPlane)), channels(static_cast<std::size_t>(shape.channels)) {
        std::int64_t blocks = 0;
        for (int c = 0; c <= shape.levels; ++c) {
            blocks += blocksFor(classSamples(shape, c));
        }
        counts.resize(channels.size() * static_cast<std::size_t>(blocks));
        place(shape, reinterpret_cast<PlaneWord*>(memory));
    }

    struct Channel {
        ClassState<T> classes[maximumClasses];
    };

    Vector<Channel>& all() { return channels; }
    const Vector<Channel>& all() const { return channels; }
    const Channel& of(int channel) const { return channels[static_cast<std::size_t>(channel)]; }

private:
    static std::int64_t blocksFor(std::int64_t samples) {
        const std::int64_t samplesInBlock = std::int64_t{64} * rowWordsFor(samples);
        return (samples + samplesInBlock - 1) / samplesInBlock;
    }
    static std::int64_t wordsFor(std::int64_t samples, int rows) {
        return blocksFor(samples) * rows * rowWordsFor(samples);
    }

    void place(const ImageShape& shape, PlaneWord* next) {
        std::uint32_t* nextCount = counts.data();
        for (Channel& channel : channels) {
            for (int c = 0; c <= shape.levels; ++c) {
                const std::int64_t samples = classSamples(shape, c);
                channel.classes[c].place(next, rows, samples, nextCount);
                next += wordsFor(samples, rows);
                nextCount += blocksFor(samples);
            }
        }
    }

    int rows;
    Vector<std::uint32_t> counts;
    Vector<Channel> channels;
};

template <typename T>
class SlicedClasses final : public SlicedImage<T> {
public:
    explicit SlicedClasses(const ImageShape& imageShape)
        : shape(imageShape), memory(SlicedChannels<T>::bytesFor(shape, highestSlicedPlane<T>)) {}

    int read(int topPlane, ByteStreamer& stream) override {
        assert(topPlane <= highestSlicedPlane<T> && !sliced);
        memory.adviseFilling(SlicedChannels<T>::bytesFor(shape, topPlane));
        SlicedChannels<T>& channels = sliced.emplace(shape, topPlane, memory.data());
        const int endedEarly = readSegments(channels.all(), shape.levels, topPlane, stream);
        for (auto& channel : channels.all()) {
            Vector<Readers>& ofChannel = readers.emplace_back();
            for (int c = 0; c <= shape.levels; ++c) {
                ofChannel.emplace_back(channel.classes[c]);
            }
        }
        return endedEarly;
    }

    bool contradictsItself() const override {
        const auto contradicts = [](const auto& channel) {
            return std::any_of(std::begin(channel.classes), std::end(channel.classes),
                               [](const ClassState<T>& state) { return state.contradictsItself; });
        };
        return std::any_of(sliced->all().begin(), sliced->all().end(), contradicts);
    }

    const RowSample<T>* take(int channel, int c, std::int64_t n) override {
        return readersOf(channel, c).ofAny.take(n);
    }
    const std::int16_t* takeSmall(int channel, int c, std::int64_t n) override {
        assert(magnitudeBits(channel, c) < 16);
        return readersOf(channel, c).ofSmall.take(n);
    }
    int magnitudeBits(int channel, int c) const override { return sliced->of(channel).classes[c].highestPlane + 1; }

private:
    // One of them is used.
    struct Readers {
        explicit Readers(const ClassState<T>& state) : ofAny(state), ofSmall(state) {}

        ClassReader<T, RowSample<T>> ofAny;
        ClassReader<T, std::int16_t> ofSmall;
    };

    Readers& readersOf(int channel, int c) {
        return readers[static_cast<std::size_t>(channel)][static_cast<std::size_t>(c)];
    }

    ImageShape shape;
    // For the highest top plane that there can be, so that memory is refused before anything is read, whatever the
    // stream is; planes that it has not are never touched.
    FillingMemory memory;
    std::optional<SlicedChannels<T>> sliced;
    Vector<Vector<Readers>> readers; // [channel][class]
};

template <typename T>
std::unique_ptr<SlicedImage<T>> makeSliced(const ImageShape& shape) {
    return std::make_unique<SlicedClasses<T>>(shape);
}

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END

// SPDX-License-Identifier: Apache-2.0
// Raw rows on their way to and from the row transform: every target, every length.
#include "fast/kernels/kernels.hpp"
#include "image/colourTransform.hpp"
#include "image/sampleLimit.hpp"
#include "support/targets.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

namespace teko {

namespace {

using RawBytes = std::vector<unsigned char>;

template <typename Sample>
Sample anySample(std::mt19937_64& random) {
    return static_cast<Sample>(static_cast<long>(random() % (1UL << 8 * sizeof(Sample))) +
                               std::numeric_limits<Sample>::min());
}

// The samples of one channel, of any values, with room around them.
template <typename Row>
struct Channel {
    static constexpr std::size_t before = 20;
    static constexpr std::size_t behind = 32; // what a kernel may write beyond the samples
    static constexpr std::size_t fence = 20;

    Channel(std::mt19937_64& random, int itsWidth)
        : width(static_cast<std::size_t>(itsWidth)), start(before - random() % 17),
          even(start + (width + 1) / 2 + behind + fence), odd(start + width / 2 + behind + fence) {
        std::generate(even.begin(), even.end(), [&] { return anySample<Row>(random); });
        std::generate(odd.begin(), odd.end(), [&] { return anySample<Row>(random); });
    }

    PolyphaseRow<Row> samples() { return {even.data() + start, odd.data() + start}; }
    Row& operator[](std::size_t x) { return (x % 2 == 0 ? even : odd)[start + x / 2]; }

    // Like another, but for what may be written.
    bool agreesWith(const Channel& other) const {
        return agree(even, other.even, start + (width + 1) / 2) && agree(odd, other.odd, start + width / 2);
    }

    std::size_t width;
    std::size_t start;
    std::vector<Row> even;
    std::vector<Row> odd;

private:
    static bool agree(const std::vector<Row>& one, const std::vector<Row>& other, std::size_t end) {
        const auto samplesEnd = static_cast<std::ptrdiff_t>(end);
        return std::equal(one.begin(), one.begin() + samplesEnd, other.begin()) &&
               std::equal(one.end() - fence, one.end(), other.end() - fence);
    }
};

template <typename Row>
using SplitOne = void (*)(const unsigned char*, int, const PolyphaseRow<Row>&);
template <typename Row>
using JoinOne = void (*)(const PolyphaseRow<Row>&, int, unsigned char*);

// One row of three channels.
struct Colours {
    explicit Colours(int width) : image(width, 1, 3) {}
    short& at(std::size_t c, std::size_t x) { return image.planes[c][x]; }

    ImageData<short> image;
};

class TargetRawRows : public testing::Test {
protected:
    template <typename Check>
    void forEveryWidth(Check check) {
        std::vector<int> widths;
        for (int width = 0; width <= 100; ++width) {
            widths.insert(widths.end(), {width, width});
        }
        widths.insert(widths.end(), {127, 128, 129, 255, 256, 257, 1000, 1023, 4096, 4099});
        for (const Target target : fastTargets()) {
            for (const int width : widths) {
                SCOPED_TRACE(testing::Message() << target << ", width " << width);
                check(target, width);
                if (HasFatalFailure()) {
                    return;
                }
            }
        }
    }

    // Bytes that start anywhere and end where their memory ends.
    RawBytes anyBytes(std::size_t count) {
        RawBytes bytes(count);
        std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<unsigned char>(random() & 0xFF); });
        return bytes;
    }

    template <typename Row>
    void checkSplit(SplitOne<Row> split, int width) {
        const auto pixels = static_cast<std::size_t>(width);
        const std::size_t start = random() % 33;
        const RawBytes raw = anyBytes(start + pixels * sampleBytes<Row>);
        Channel<Row> samples(random, width);
        Channel<Row> wanted = samples;
        for (std::size_t x = 0; x < pixels; ++x) {
            const unsigned char* sample = raw.data() + start + x * sampleBytes<Row>;
            wanted[x] = static_cast<Row>(sampleBytes<Row> == 1 ? sample[0] : sample[0] + 256 * sample[1]);
        }
        split(raw.data() + start, width, samples.samples());
        ASSERT_TRUE(samples.agreesWith(wanted));
    }

    // Nothing but the row is written.
    template <typename Row, std::size_t bytes>
    void checkJoin(JoinOne<Row> join, int width) {
        const auto pixels = static_cast<std::size_t>(width);
        const std::size_t start = random() % 33;
        RawBytes raw = anyBytes(start + pixels * bytes + 40);
        RawBytes wanted = raw;
        Channel<Row> samples(random, width);
        for (std::size_t x = 0; x < pixels; ++x) {
            for (std::size_t i = 0; i < bytes; ++i) {
                wanted[start + x * bytes + i] = static_cast<unsigned char>(samples[x] >> (8 * i) & 0xFF);
            }
        }
        join(samples.samples(), width, raw.data() + start);
        ASSERT_EQ(raw, wanted);
    }

    // Three channels of any samples, transformed back and kept below the limit if it is not 0. Nothing but the row is
    // written.
    template <typename Join>
    void checkColours(int width, int limit, Join join) {
        const auto pixels = static_cast<std::size_t>(width);
        const std::size_t start = random() % 33;
        RawBytes raw = anyBytes(start + 3 * pixels + 60);
        RawBytes wanted = raw;
        std::vector<Channel<short>> channels;
        Colours colours(width);
        for (std::size_t c = 0; c < 3; ++c) {
            channels.emplace_back(random, width);
            for (std::size_t x = 0; x < pixels; ++x) {
                colours.at(c, x) = channels[c][x];
            }
        }
        colourUntransform(&colours.image);
        for (std::size_t i = 0; i < 3 * pixels; ++i) {
            const short sample = colours.at(i % 3, i / 3);
            wanted[start + i] = static_cast<unsigned char>((limit == 0 ? sample : clampedTo(limit, sample)) & 0xFF);
        }
        const PolyphaseRow<short> samples[] = {channels[0].samples(), channels[1].samples(), channels[2].samples()};
        join(samples, raw.data() + start);
        ASSERT_EQ(raw, wanted);
    }

    // Nothing but n samples is changed.
    template <typename Row>
    void checkClamp(void (*clamp)(Row*, int, int), int n, int limit) {
        const auto count = static_cast<std::size_t>(n);
        const std::size_t start = random() % 17;
        std::vector<Row> row(start + count + 40);
        std::generate(row.begin(), row.end(), [&] { return anySample<Row>(random); });
        std::vector<Row> wanted = row;
        for (std::size_t i = start; i < start + count; ++i) {
            wanted[i] = clampedTo(limit, wanted[i]);
        }
        clamp(row.data() + start, n, limit);
        ASSERT_EQ(row, wanted);
    }

    // Of bits per sample, 0 to 31: the last is negative.
    int anyLimit() { return static_cast<int>(1U << random() % 32); }

    // Of a row in a file: short samples have one byte, int samples two.
    template <typename Row>
    static constexpr std::size_t sampleBytes = sizeof(Row) / 2;

    std::mt19937_64 random{13};
};

} // namespace

TEST_F(TargetRawRows, OfBytesAreTakenApart) {
    forEveryWidth([&](Target target, int width) { checkSplit<short>(kernelsOf(target).rawRows.splitBytes, width); });
}

TEST_F(TargetRawRows, OfWordsAreTakenApart) {
    forEveryWidth([&](Target target, int width) { checkSplit<int>(kernelsOf(target).rawRows.splitWords, width); });
}

TEST_F(TargetRawRows, OfWordsAreTakenApartIntoShorts) {
    forEveryWidth([&](Target target, int width) {
        const auto pixels = static_cast<std::size_t>(width);
        const std::size_t start = random() % 33;
        RawBytes raw = anyBytes(start + 2 * pixels);
        const unsigned mask = 0xFFFFU >> random() % 17;
        Channel<short> samples(random, width);
        Channel<short> wanted = samples;
        unsigned all = 0;
        for (std::size_t x = 0; x < pixels; ++x) {
            unsigned char* const sample = raw.data() + start + 2 * x;
            sample[0] = static_cast<unsigned char>(sample[0] & mask);
            sample[1] = static_cast<unsigned char>(sample[1] & mask >> 8);
            const auto value = static_cast<unsigned>(sample[0] + 256 * sample[1]);
            all |= value;
            wanted[x] = static_cast<short>(value < 32768 ? static_cast<int>(value) : static_cast<int>(value) - 65536);
        }
        EXPECT_EQ(kernelsOf(target).rawRows.splitWordsTo16(raw.data() + start, width, samples.samples()), all);
        ASSERT_TRUE(samples.agreesWith(wanted));
    });
}

TEST_F(TargetRawRows, AreMadeOfTheLowBytesOfSamples) {
    forEveryWidth([&](Target target, int width) { checkJoin<short, 1>(kernelsOf(target).rawRows.joinBytes, width); });
}

TEST_F(TargetRawRows, AreMadeOfTheLowWordsOfSamples) {
    forEveryWidth([&](Target target, int width) {
        checkJoin<int, 2>(kernelsOf(target).rawRows.joinWords, width);
        checkJoin<short, 2>(kernelsOf(target).rawRows.joinWordsFrom16, width);
    });
}

TEST_F(TargetRawRows, OfColoursAreTakenApartAndTransformed) {
    forEveryWidth([&](Target target, int width) {
        const auto pixels = static_cast<std::size_t>(width);
        const std::size_t start = random() % 33;
        const RawBytes raw = anyBytes(start + 3 * pixels);
        Colours colours(width);
        for (std::size_t i = 0; i < 3 * pixels; ++i) {
            colours.at(i % 3, i / 3) = raw[start + i];
        }
        colourTransform(&colours.image);
        std::vector<Channel<short>> channels(3, Channel<short>(random, width));
        std::vector<Channel<short>> wanted = channels;
        for (std::size_t i = 0; i < 3 * pixels; ++i) {
            wanted[i % 3][i / 3] = colours.at(i % 3, i / 3);
        }
        const PolyphaseRow<short> samples[] = {channels[0].samples(), channels[1].samples(), channels[2].samples()};
        kernelsOf(target).rawRows.splitColours(raw.data() + start, width, samples);
        for (std::size_t c = 0; c < 3; ++c) {
            ASSERT_TRUE(channels[c].agreesWith(wanted[c])) << "channel " << c;
        }
    });
}

TEST_F(TargetRawRows, OfColoursAreMadeOfTheLowBytesOfTransformedSamples) {
    forEveryWidth([&](Target target, int width) {
        checkColours(width, 0, [&](const PolyphaseRow<short>* samples, unsigned char* raw) {
            kernelsOf(target).rawRows.joinColours(samples, width, raw);
        });
    });
}

TEST_F(TargetRawRows, OfColoursAreMadeOfSamplesBelowALimit) {
    forEveryWidth([&](Target target, int width) {
        const int limit = anyLimit();
        SCOPED_TRACE(testing::Message() << "limit " << limit);
        checkColours(width, limit, [&](const PolyphaseRow<short>* samples, unsigned char* raw) {
            kernelsOf(target).rawRows.joinColoursBelow(samples, width, limit, raw);
        });
    });
}

TEST_F(TargetRawRows, AreKeptBelowALimit) {
    forEveryWidth([&](Target target, int width) {
        const int limit = anyLimit();
        SCOPED_TRACE(testing::Message() << "limit " << limit);
        checkClamp<short>(kernelsOf(target).rawRows.clamp, width, limit);
        checkClamp<int>(kernelsOf(target).rawRows.clampWide, width, limit);
    });
}

} // namespace teko

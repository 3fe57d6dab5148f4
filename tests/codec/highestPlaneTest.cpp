// SPDX-License-Identifier: Apache-2.0
// Images of 16 bits whose coefficients are as large as they can get: they take the same way as any other.
#include "codec/imageDecoder.hpp"
#include "codec/imageEncoder.hpp"
#include "fast/ways/rowWay.hpp"
#include "reference/lifting.hpp"
#include "support/bytes.hpp"
#include "support/targets.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

constexpr int side = 320;

// The weights of the detail of level 5 in the middle of a signal of `side` samples, times 2^20.
std::vector<std::int64_t> weights() {
    constexpr std::size_t step = 32;
    constexpr std::size_t middle = step / 2 + step * (side / step / 2 - 1);
    std::vector<std::int64_t> result;
    for (int i = 0; i < side; ++i) {
        reference::Signal signal(side);
        signal[static_cast<std::size_t>(i)] = std::int64_t{1} << 20;
        for (std::size_t spacing = 1; spacing < step; spacing *= 2) {
            reference::Signal level;
            for (std::size_t k = 0; k < signal.size(); k += spacing) {
                level.push_back(signal[k]);
            }
            level = reference::filtered(level,
                                        reference::forwardDriverRule(reference::Samples::sixtyFourBit, level.size()));
            for (std::size_t k = 0; k < level.size(); ++k) {
                signal[k * spacing] = level[k];
            }
        }
        result.push_back(signal[middle]);
    }
    return result;
}

// All samples are 0 or 65535, by the signs of the weights of one coefficient.
Bytes extremeRaw() {
    const std::vector<std::int64_t> weight = weights();
    Bytes raw;
    for (const std::int64_t down : weight) {
        for (const std::int64_t along : weight) {
            const auto byte = static_cast<std::uint8_t>(down * along > 0 ? 255 : 0);
            raw.insert(raw.end(), {byte, byte});
        }
    }
    return raw;
}

const FileHeader header = FileHeader::forImage(2, 16, side, side);

Bytes encoded(const Bytes& raw, Target target) {
    Bytes payload(4 * raw.size());
    ByteStreamer out;
    out.setUpMemoryWriter(payload.data(), static_cast<std::int64_t>(payload.size()));
    MemorySource rows(raw.data(), std::ptrdiff_t{2} * side);
    EXPECT_EQ(encodeImage(header, target, rows, out), Status::ok);
    payload.resize(static_cast<std::size_t>((out.bitCount() + 31) / 32 * 4));
    return payload;
}

Bytes decoded(const Bytes& payload, Target target, Status expected) {
    Bytes raw(std::size_t{2} * side * side);
    ByteStreamer in;
    in.setUpMemoryReader(payload.data(), static_cast<std::int64_t>(payload.size()));
    MemorySink rows(raw.data(), std::ptrdiff_t{2} * side);
    EXPECT_EQ(decodeImage(header, target, in, rows), expected);
    return raw;
}

} // namespace

TEST(HighestPlane, OfAnImageIsDecodedByRowsAndComesBack) {
    const Bytes raw = extremeRaw();
    const Bytes payload = encoded(raw, Target::plain);
    ASSERT_EQ(payload[0], 20) << "the top plane";
    EXPECT_TRUE(RowDecoder<std::int64_t>::suits(20));
    EXPECT_FALSE(RowDecoder<std::int64_t>::suits(21));
    const Bytes half = prefix(payload, payload.size() / 2);
    const Bytes approximation = decoded(half, Target::plain, Status::cut);
    for (const Target target : fastTargets()) {
        EXPECT_TRUE(encoded(raw, target) == payload) << target;
        EXPECT_TRUE(decoded(payload, target, Status::ok) == raw) << target;
        EXPECT_TRUE(decoded(half, target, Status::cut) == approximation) << target;
    }
}

} // namespace teko

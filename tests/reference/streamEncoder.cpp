// SPDX-License-Identifier: Apache-2.0
#include "reference/streamEncoder.hpp"

namespace teko::reference {
namespace {

std::vector<std::uint8_t> packed(const Bits& bits, std::size_t unitBits) {
    const std::size_t units = (bits.size() + unitBits - 1) / unitBits;
    std::vector<std::uint8_t> bytes(units * unitBits / 8);
    for (std::size_t i = 0; i < bits.size(); ++i) {
        if (bits[i]) {
            bytes[i / 8] = static_cast<std::uint8_t>(bytes[i / 8] | 1U << (i % 8));
        }
    }
    return bytes;
}

// The sequence of every class of a plane.
std::vector<Sequence> sequences(const Image& shape, const Plane& plane) {
    std::vector<Sequence> result;
    for (const std::vector<std::size_t>& positions : classPositions(shape)) {
        Sequence sequence;
        for (const std::size_t position : positions) {
            sequence.push_back(plane[position]);
        }
        result.push_back(sequence);
    }
    return result;
}

void append(Bits& bits, const Bits& more) {
    bits.insert(bits.end(), more.begin(), more.end());
}

} // namespace

void put(Bits& bits, std::uint64_t value, int n) {
    for (int i = 0; i < n; ++i) {
        bits.push_back((value >> i & 1U) != 0);
    }
}

Bits refinementSegment(const Sequence& sequence, int plane) {
    Bits bits;
    for (const std::int64_t coefficient : sequence) {
        if (bitLengthOf(magnitude(coefficient)) > plane + 1) {
            bits.push_back((magnitude(coefficient) >> plane & 1U) != 0);
        }
    }
    return bits;
}

Bits runSegment(const Sequence& sequence, int plane) {
    Sequence candidates;
    std::uint64_t events = 0;
    for (const std::int64_t coefficient : sequence) {
        const int length = bitLengthOf(magnitude(coefficient));
        if (length <= plane + 1) {
            candidates.push_back(coefficient);
            events += length == plane + 1 ? 1U : 0U;
        }
    }
    const int k = runLengthParameterOf(events, candidates.size());
    const std::uint64_t unit = std::uint64_t{1} << k;

    Bits bits;
    put(bits, static_cast<std::uint64_t>(k), 5);
    std::uint64_t passes = 0;
    for (const std::int64_t candidate : candidates) {
        if (bitLengthOf(magnitude(candidate)) <= plane) {
            ++passes;
            continue;
        }
        bits.insert(bits.end(), passes / unit, false);
        bits.push_back(true);
        put(bits, passes % unit, k);
        bits.push_back(candidate < 0);
        passes = 0;
    }
    bits.insert(bits.end(), (passes + unit - 1) / unit, false);
    return bits;
}

Bits codedStream(const Image& coefficients) {
    return codedStream(coefficients, topPlaneOfImage(coefficients));
}

Bits codedStream(const Image& coefficients, int topPlane) {
    const int levels = levelsOf(coefficients.width, coefficients.height);
    std::vector<std::vector<Sequence>> channels;
    for (const Plane& plane : coefficients.planes) {
        channels.push_back(sequences(coefficients, plane));
    }

    Bits bits;
    put(bits, static_cast<std::uint64_t>(topPlane), 8);
    for (int priority = topPlane + levels; priority >= 0; --priority) {
        for (const std::vector<Sequence>& classes : channels) {
            for (int c = 0; c <= levels; ++c) {
                const int plane = priority - c;
                if (plane >= 0 && plane <= topPlane) {
                    append(bits, refinementSegment(classes[static_cast<std::size_t>(c)], plane));
                    append(bits, runSegment(classes[static_cast<std::size_t>(c)], plane));
                }
            }
        }
    }
    return bits;
}

std::vector<std::uint8_t> toBytes(const Bits& bits) {
    return packed(bits, 8);
}

std::vector<std::uint8_t> toWholeWordBytes(const Bits& bits) {
    return packed(bits, 32);
}

} // namespace teko::reference

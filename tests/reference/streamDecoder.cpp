// SPDX-License-Identifier: Apache-2.0
#include "reference/streamDecoder.hpp"

namespace teko::reference {
namespace {

struct EndOfStream {};

class BitSource {
public:
    explicit BitSource(const std::vector<std::uint8_t>& payload) {
        const std::size_t wholeWords = payload.size() / 4;
        for (std::size_t i = 0; i < 32 * wholeWords; ++i) {
            bits.push_back((payload[i / 8] >> (i % 8) & 1U) != 0);
        }
    }

    bool take() {
        if (next == bits.size()) {
            throw EndOfStream{};
        }
        return bits[next++];
    }

    std::uint64_t take(int n) {
        std::uint64_t value = 0;
        for (int i = 0; i < n; ++i) {
            value += take() ? std::uint64_t{1} << i : 0;
        }
        return value;
    }

private:
    Bits bits;
    std::size_t next = 0;
};

// What is known of one coefficient: the plane of its event (-1 before), its sign, and magnitude bits below the
// event's plane, which arrive from the top down to plane `lowestKnown`.
struct Knowledge {
    int eventPlane = -1;
    bool negative = false;
    int lowestKnown = -1;
    std::uint64_t knownBits = 0;
};

std::uint64_t bitOfPlane(int plane) {
    return plane < 64 ? std::uint64_t{1} << plane : 0;
}

bool isSignificant(const Knowledge& known, Samples samples) {
    return known.eventPlane >= 0 && known.eventPlane <= static_cast<int>(samples) - 3;
}

// Twice the magnitude in the middle of the open interval, and the sign.
std::int64_t foldedMidpoint(const Knowledge& known, Samples samples) {
    if (known.eventPlane < 0) {
        return 0;
    }
    const std::uint64_t lowerEnd = bitOfPlane(known.eventPlane + 1) + 2 * known.knownBits;
    const std::uint64_t halfWidth = known.lowestKnown > 0 ? bitOfPlane(known.lowestKnown) : 0;
    return stored(static_cast<std::int64_t>(lowerEnd + halfWidth + (known.negative ? 1 : 0)), samples);
}

using Class = std::vector<Knowledge>;

void readRefinementSegment(BitSource& source, Class& sequence, int plane, Samples samples) {
    for (Knowledge& known : sequence) {
        if (isSignificant(known, samples) && known.eventPlane > plane) {
            known.knownBits += source.take() ? bitOfPlane(plane) : 0;
            known.lowestKnown = plane;
        }
    }
}

void readRunSegment(BitSource& source, Class& sequence, int plane, Samples samples) {
    std::vector<Knowledge*> candidates;
    for (Knowledge& known : sequence) {
        if (!isSignificant(known, samples)) {
            candidates.push_back(&known);
        }
    }
    const int k = static_cast<int>(source.take(5));
    std::uint64_t next = 0;
    while (next < candidates.size()) {
        const bool eventFollows = source.take();
        next += eventFollows ? source.take(k) : std::uint64_t{1} << k;
        if (eventFollows && next < candidates.size()) {
            const bool negative = source.take();
            *candidates[next] = Knowledge{plane, negative, plane, 0};
            ++next;
        }
    }
}

void readSegments(BitSource& source, std::vector<std::vector<Class>>& channels, int topPlane, int levels,
                  Samples samples) {
    for (int priority = topPlane + levels; priority >= 0; --priority) {
        for (std::vector<Class>& classes : channels) {
            for (int c = 0; c <= levels; ++c) {
                const int plane = priority - c;
                if (plane >= 0 && plane <= topPlane) {
                    readRefinementSegment(source, classes[static_cast<std::size_t>(c)], plane, samples);
                    readRunSegment(source, classes[static_cast<std::size_t>(c)], plane, samples);
                }
            }
        }
    }
}

Decoded reconstruct(const std::vector<std::vector<Class>>& channels, const Image& shape, Samples samples) {
    Decoded result{shape, shape, false};
    const std::vector<std::vector<std::size_t>> positions = classPositions(shape);
    for (std::size_t channel = 0; channel < channels.size(); ++channel) {
        for (std::size_t c = 0; c < positions.size(); ++c) {
            for (std::size_t i = 0; i < positions[c].size(); ++i) {
                const std::int64_t folded = foldedMidpoint(channels[channel][c][i], samples);
                result.folded.planes[channel][positions[c][i]] = folded;
                result.coefficients.planes[channel][positions[c][i]] = unfoldedValue(folded);
            }
        }
    }
    return result;
}

} // namespace

std::optional<Decoded> decodeStream(const std::vector<std::uint8_t>& payload, int width, int height, int channels,
                                    Samples samples) {
    BitSource source(payload);
    const Image shape(width, height, channels);
    std::vector<Class> classes;
    for (const std::vector<std::size_t>& positions : classPositions(shape)) {
        classes.emplace_back(positions.size());
    }
    std::vector<std::vector<Class>> known(static_cast<std::size_t>(channels), classes);

    int topPlane = 0;
    try {
        topPlane = static_cast<int>(source.take(8));
    } catch (const EndOfStream&) {
        return std::nullopt;
    }
    bool complete = true;
    try {
        readSegments(source, known, topPlane == 255 ? -1 : topPlane, levelsOf(width, height), samples);
    } catch (const EndOfStream&) {
        complete = false;
    }
    Decoded result = reconstruct(known, shape, samples);
    result.complete = complete;
    return result;
}

} // namespace teko::reference

// SPDX-License-Identifier: Apache-2.0
#include "reference/codingTerms.hpp"

#include <algorithm>

namespace teko::reference {

int levelsOf(int width, int height) {
    const int smaller = std::min(width, height);
    int levels = -1;
    while (levels < 5 && smaller >= 1 << (levels + 2)) {
        ++levels;
    }
    return levels;
}

int classOf(int x, int y, int levels) {
    if (levels < 1) {
        return 0;
    }
    int halvings = 0;
    while (halvings < levels && x % 2 == 0 && y % 2 == 0) {
        x /= 2;
        y /= 2;
        ++halvings;
    }
    return halvings;
}

std::vector<std::vector<std::size_t>> classPositions(const Image& shape) {
    const int levels = levelsOf(shape.width, shape.height);
    std::vector<std::vector<std::size_t>> positions(static_cast<std::size_t>(levels + 1));
    if (levels < 0) {
        return positions;
    }
    for (int y = 0; y < shape.height; ++y) {
        for (int x = 0; x < shape.width; ++x) {
            positions[static_cast<std::size_t>(classOf(x, y, levels))].push_back(shape.index(x, y));
        }
    }
    return positions;
}

std::uint64_t magnitude(std::int64_t coefficient) {
    const auto value = static_cast<std::uint64_t>(coefficient);
    return coefficient < 0 ? ~value + 1 : value;
}

int bitLengthOf(std::uint64_t value) {
    int length = 0;
    for (; value != 0; value /= 2) {
        ++length;
    }
    return length;
}

int topPlaneOfImage(const Image& coefficients) {
    int longest = 0;
    for (const Plane& plane : coefficients.planes) {
        for (const std::int64_t coefficient : plane) {
            longest = std::max(longest, bitLengthOf(magnitude(coefficient)));
        }
    }
    return std::max(longest - 1, 0);
}

std::int64_t foldedValue(std::int64_t coefficient, Samples samples) {
    const std::uint64_t folded = magnitude(coefficient) * 2 + (coefficient < 0 ? 1 : 0);
    return stored(static_cast<std::int64_t>(folded), samples);
}

std::int64_t unfoldedValue(std::int64_t folded) {
    const std::int64_t value = folded >> 1;
    return (folded & 1) != 0 ? -value : value;
}

int runLengthParameterOf(std::uint64_t events, std::uint64_t candidates) {
    constexpr int largest = 24;
    if (events == 0) {
        return largest;
    }
    const double density = static_cast<double>(events) / static_cast<double>(candidates);
    if (density > 0.21384) {
        return 0;
    }
    if (density > 0.11385) {
        return 2;
    }
    if (density > 0.05838) {
        return 3;
    }
    const auto wanted = static_cast<std::int64_t>(0.48 / density + 0.5);
    if (wanted <= 4) {
        return 2;
    }
    for (int k = 3; k < largest; ++k) {
        if (std::int64_t{1} << k >= wanted) {
            return k;
        }
    }
    return largest;
}

} // namespace teko::reference

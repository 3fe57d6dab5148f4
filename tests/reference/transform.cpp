// SPDX-License-Identifier: Apache-2.0
#include "reference/transform.hpp"

#include "reference/codingTerms.hpp"
#include "reference/lifting.hpp"

#include <algorithm>

namespace teko::reference {
namespace {

enum class Direction { forward, inverse };

// Columns that are long and far apart in memory go to the kernels, everything else to the drivers.
constexpr int longestDirectColumn = 512;

WidthRule ruleOf(Direction direction, bool kernel, Samples samples, std::size_t count) {
    if (direction == Direction::forward) {
        return kernel ? forwardKernelRule(samples) : forwardDriverRule(samples, count);
    }
    return kernel ? inverseKernelRule(samples) : inverseDriverRule(samples, count);
}

// Filters the samples of a plane whose indices are given.
void filterLine(Plane& plane, const std::vector<std::size_t>& line, Direction direction, bool kernel, Samples samples) {
    Signal signal;
    for (const std::size_t index : line) {
        signal.push_back(plane[index]);
    }
    const WidthRule rule = ruleOf(direction, kernel, samples, line.size());
    const Signal result = direction == Direction::forward ? filtered(signal, rule) : unfiltered(signal, rule);
    for (std::size_t i = 0; i < line.size(); ++i) {
        plane[line[i]] = result[i];
    }
}

void filterRows(const Image& shape, Plane& plane, int step, Direction direction, Samples samples) {
    for (int y = 0; y < shape.height; y += step) {
        std::vector<std::size_t> line;
        for (int x = 0; x < shape.width; x += step) {
            line.push_back(shape.index(x, y));
        }
        filterLine(plane, line, direction, false, samples);
    }
}

void filterColumns(const Image& shape, Plane& plane, int step, Direction direction, Samples samples) {
    for (int x = 0; x < shape.width; x += step) {
        std::vector<std::size_t> line;
        for (int y = 0; y < shape.height; y += step) {
            line.push_back(shape.index(x, y));
        }
        const bool kernel = shape.width * step > longestDirectColumn && line.size() > longestDirectColumn;
        filterLine(plane, line, direction, kernel, samples);
    }
}

} // namespace

Image transformed(const Image& image, Samples samples) {
    Image result = image;
    for (Plane& plane : result.planes) {
        for (int level = 0; level < levelsOf(image.width, image.height); ++level) {
            filterRows(image, plane, 1 << level, Direction::forward, samples);
            filterColumns(image, plane, 1 << level, Direction::forward, samples);
        }
    }
    return result;
}

Image untransformed(const Image& image, Samples samples) {
    Image result = image;
    const int deepest = std::max(levelsOf(image.width, image.height), 1) - 1;
    for (Plane& plane : result.planes) {
        for (int level = deepest; level >= 0; --level) {
            filterColumns(image, plane, 1 << level, Direction::inverse, samples);
            filterRows(image, plane, 1 << level, Direction::inverse, samples);
        }
    }
    return result;
}

Image colourTransformed(const Image& image) {
    Image result = image;
    for (std::size_t i = 0; i < image.planes[0].size(); ++i) {
        const std::int64_t red = image.planes[0][i];
        const std::int64_t green = image.planes[1][i];
        const std::int64_t blue = image.planes[2][i];
        result.planes[0][i] = stored((red + 2 * green + blue) >> 2, Samples::sixteenBit);
        result.planes[1][i] = stored(red - green, Samples::sixteenBit);
        result.planes[2][i] = stored(blue - green, Samples::sixteenBit);
    }
    return result;
}

Image colourUntransformed(const Image& image) {
    Image result = image;
    for (std::size_t i = 0; i < image.planes[0].size(); ++i) {
        const std::int64_t luminance = image.planes[0][i];
        const std::int64_t redDifference = image.planes[1][i];
        const std::int64_t blueDifference = image.planes[2][i];
        const std::int64_t green = luminance - ((redDifference + blueDifference) >> 2);
        result.planes[0][i] = stored(redDifference + green, Samples::sixteenBit);
        result.planes[1][i] = stored(green, Samples::sixteenBit);
        result.planes[2][i] = stored(blueDifference + green, Samples::sixteenBit);
    }
    return result;
}

} // namespace teko::reference

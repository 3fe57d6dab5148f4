// SPDX-License-Identifier: Apache-2.0
// The terms that the coded stream is defined in: levels, classes, sequences, magnitudes, planes, and k.
#pragma once

#include "reference/image.hpp"

namespace teko::reference {

using Sequence = std::vector<std::int64_t>;

// The bits of a coded stream, one by one.
using Bits = std::vector<bool>;

// The largest L of at most 5 for which neither side is below 2^(L + 1); -1 when there is none.
int levelsOf(int width, int height);

// The class of position (x, y): the number of times that both can be halved, up to `levels`.
int classOf(int x, int y, int levels);

// For each class, the indices of its values in a plane, in scan order.
std::vector<std::vector<std::size_t>> classPositions(const Image& shape);

std::uint64_t magnitude(std::int64_t coefficient);

// The number of significant bits.
int bitLengthOf(std::uint64_t value);

// The highest plane that is coded: that of the highest magnitude bit of the image, or 0.
int topPlaneOfImage(const Image& coefficients);

// 2|c|, and 1 more for negative c, as a sample keeps it; and what a sample that holds a folded value stands for.
std::int64_t foldedValue(std::int64_t coefficient, Samples samples);
std::int64_t unfoldedValue(std::int64_t folded);

// The run-length parameter of a segment with that many events among its candidates.
int runLengthParameterOf(std::uint64_t events, std::uint64_t candidates);

} // namespace teko::reference

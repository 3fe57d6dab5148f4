// SPDX-License-Identifier: Apache-2.0
// What files and samples have to be, from the reference: the codec once more, slow and plain.
#pragma once

#include "pictures.hpp"
#include "reference/codingTerms.hpp"

#include <optional>

namespace teko::plain {

struct Stream {
    Bytes header;
    reference::Bits bits;

    Bytes whole() const;
    // As a budget of so many bytes for the file leaves it, at least 10: what `teko C` writes.
    Bytes within(std::size_t budget) const;
};

Stream encoded(const Picture& picture);

struct Decoded {
    bool isComplete;
    Bytes samples;
};

// Nothing where there is no image. The sides are halved `reduce` times.
std::optional<Decoded> decoded(const Bytes& file, int reduce = 0);

// max(10, rate * raw size), the product in single precision.
std::size_t budget(const Picture& picture, float rate);

} // namespace teko::plain

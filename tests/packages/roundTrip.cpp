// SPDX-License-Identifier: Apache-2.0
// A program of somebody else's in C++20. Status 0 if a picture comes back.
#include <cstdint>
#include <span>
#include <teko/teko.hpp>
#include <vector>

int main() {
    const teko::Image image{teko::Kind::grey16, 40, 30};
    std::vector<std::uint16_t> samples(image.packedBytes() / 2);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<std::uint16_t>(i * i % 60000);
    }
    const teko::File file = teko::encode(image, std::span<const std::uint16_t>(samples));
    std::vector<std::uint16_t> decoded(samples.size());
    teko::decode(file.bytes(), image, std::span(decoded));
    return samples == decoded && file.isExact() ? 0 : 1;
}

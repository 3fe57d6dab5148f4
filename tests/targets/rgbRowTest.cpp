// Taking colour rows apart and putting them together: every target, every length.
#include "image/rgbRows.hpp"
#include "support/targets.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

namespace teko {

namespace {

constexpr std::size_t fence = 40;
constexpr std::size_t longest = 210;

// Memory with room around a row that starts anywhere.
template <typename Sample>
std::vector<Sample> anySamples(std::mt19937_64& random, std::size_t count) {
    std::vector<Sample> samples(2 * fence + count);
    std::generate(samples.begin(), samples.end(), [&] {
        return static_cast<Sample>(static_cast<long>(random() % (1UL << 8 * sizeof(Sample))) +
                                   std::numeric_limits<Sample>::min());
    });
    return samples;
}

} // namespace

TEST(TargetRgbRows, AreTakenApartIntoThreeRowsAndNothingElse) {
    std::mt19937_64 random{13};
    for (const Target target : fastTargets()) {
        for (std::size_t width = 0; width < longest; ++width) {
            const auto bytes = anySamples<unsigned char>(random, 3 * width);
            const std::size_t start = fence - random() % 20;
            std::vector<short> rows[3];
            for (auto& row : rows) {
                row = anySamples<short>(random, width);
            }
            std::vector<short> wanted[] = {rows[0], rows[1], rows[2]};
            for (std::size_t i = 0; i < 3 * width; ++i) {
                wanted[i % 3][start + i / 3] = bytes[start + i];
            }
            rgbRowKernels(target).split(bytes.data() + start, static_cast<long>(width), rows[0].data() + start,
                                        rows[1].data() + start, rows[2].data() + start);
            for (int c = 0; c < 3; ++c) {
                ASSERT_EQ(rows[c], wanted[c]) << target << ", width " << width;
            }
        }
    }
}

TEST(TargetRgbRows, AreMadeOfTheLowBytesOfSamplesAndNothingElse) {
    std::mt19937_64 random{14};
    for (const Target target : fastTargets()) {
        for (std::size_t width = 0; width < longest; ++width) {
            auto bytes = anySamples<unsigned char>(random, 3 * width);
            const std::size_t start = fence - random() % 20;
            std::vector<short> rows[3];
            for (auto& row : rows) {
                row = anySamples<short>(random, width);
            }
            std::vector<unsigned char> wanted = bytes;
            for (std::size_t i = 0; i < 3 * width; ++i) {
                wanted[start + i] = static_cast<unsigned char>(rows[i % 3][start + i / 3] & 0xFF);
            }
            rgbRowKernels(target).join(rows[0].data() + start, rows[1].data() + start, rows[2].data() + start,
                                       static_cast<long>(width), bytes.data() + start);
            ASSERT_EQ(bytes, wanted) << target << ", width " << width;
        }
    }
}

} // namespace teko

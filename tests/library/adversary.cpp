// SPDX-License-Identifier: Apache-2.0
#include "adversary.hpp"

#include "calls.hpp"

#include <map>

namespace teko {

namespace {

// Numbers of a signal as sums of its samples: the weight of each sample.
using Weights = std::vector<double>;
using Signal = std::vector<Weights>;

constexpr std::uint32_t mostLevels = 5;

std::size_t mirrored(std::ptrdiff_t position, std::size_t count) {
    const auto last = static_cast<std::ptrdiff_t>(count) - 1;
    while (position < 0 || position > last) {
        position = position < 0 ? -position : 2 * last - position;
    }
    return static_cast<std::size_t>(position);
}

void add(Weights& sum, double factor, const Weights& weights) {
    for (std::size_t i = 0; i < sum.size(); ++i) {
        sum[i] += factor * weights[i];
    }
}

// The sum that the predict step of odd position i rounds.
Weights predictSum(const Signal& signal, std::size_t i) {
    Weights sum(signal.front().size());
    const auto at = static_cast<std::ptrdiff_t>(i);
    for (const auto& [offset, factor] : {std::pair{-1, 9.0}, {1, 9.0}, {-3, -1.0}, {3, -1.0}}) {
        add(sum, factor, signal[mirrored(at + offset, signal.size())]);
    }
    return sum;
}

// The filter without its roundings.
void filter(Signal& signal) {
    const std::size_t count = signal.size();
    for (std::size_t i = 1; i < count; i += 2) {
        add(signal[i], -1.0 / 16, predictSum(signal, i));
    }
    for (std::size_t i = 0; i < count; i += 2) {
        const auto at = static_cast<std::ptrdiff_t>(i);
        add(signal[i], 0.25, signal[mirrored(at - 1, count)]);
        add(signal[i], 0.25, signal[mirrored(at + 1, count)]);
        for (double& weight : signal[i]) {
            weight *= 152.0 / 128;
        }
    }
}

Signal everySecond(const Signal& signal) {
    Signal result;
    for (std::size_t i = 0; i < signal.size(); i += 2) {
        result.push_back(signal[i]);
    }
    return result;
}

// What a line of so many samples is when level `level` starts.
const Signal& signalAt(std::uint32_t side, std::uint32_t level) {
    static std::map<std::pair<std::uint32_t, std::uint32_t>, Signal> known;
    Signal& signal = known[{side, level}];
    if (signal.empty() && level == 0) {
        signal.assign(side, Weights(side));
        for (std::size_t i = 0; i < side; ++i) {
            signal[i][i] = 1;
        }
    } else if (signal.empty()) {
        signal = signalAt(side, level - 1);
        filter(signal);
        signal = everySecond(signal);
    }
    return signal;
}

bool isLit(double weight, bool isNegative) {
    return (weight > 0) != isNegative;
}

} // namespace

std::uint32_t Adversary::side() {
    // Those whose deepest level has two to five samples are likelier.
    static constexpr std::uint32_t telltale[] = {4, 5, 8, 9, 16, 17, 32, 33, 40, 47, 60, 63, 64, 65, 66, 69, 70};
    return below(3) == 0 ? 4 + below(67) : telltale[below(std::size(telltale))];
}

// Along a line: of the sum that a pass of the level rounds, or of what the level takes or leaves.
std::vector<double> Adversary::weights(std::uint32_t side, std::uint32_t level, bool isPassOfLevel) {
    Signal signal = signalAt(side, level);
    const auto count = static_cast<std::uint32_t>(signal.size());
    if (isPassOfLevel) {
        return predictSum(signal, 1 + 2 * below(count / 2));
    }
    if (below(2) == 0) {
        filter(signal);
    }
    return signal[below(count)];
}

Picture Adversary::next() {
    const std::uint32_t kind = below(2) == 0 ? TEKO_GREY8 : TEKO_RGB8;
    const std::uint32_t width = side();
    const std::uint32_t height = below(3) == 0 ? side() : width;
    if (below(20) == 0) {
        Picture noise{kind, width, height};
        for (std::size_t i = 0; i < noise.count(); ++i) {
            noise.append(255 * below(2));
        }
        return noise;
    }
    std::uint32_t levels = 0;
    while (levels < mostLevels && 2U << (levels + 1) <= std::min(width, height)) {
        ++levels;
    }
    const std::uint32_t level = levels - 1 - (below(4) == 0 ? below(levels) : 0);
    const bool isAlongRows = below(2) == 0;
    const std::vector<double> across = weights(width, level, isAlongRows);
    const std::vector<double> down = weights(height, level, !isAlongRows);
    const bool isNegative = below(2) == 0;
    const std::uint32_t pattern = below(4);
    Picture picture{kind, width, height};
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            const std::uint32_t sample = isLit(across[x] * down[y], isNegative) ? 255 : 0;
            picture.append(sample);
            if (kind == TEKO_RGB8) { // differences of channels swing twice as far
                picture.append(pattern == 0 ? sample : 255 - sample);
                picture.append(pattern == 1 ? 255 - sample : sample);
            }
        }
    }
    disturb(picture);
    return picture;
}

void Adversary::disturb(Picture& picture) {
    static constexpr std::uint32_t numbers[] = {0, 0, 1, 3, 20, 100, 400};
    const std::uint32_t number = numbers[below(std::size(numbers))];
    for (std::uint32_t i = 0; i < number; ++i) {
        std::uint8_t& sample = picture.samples[below(static_cast<std::uint32_t>(picture.samples.size()))];
        sample = static_cast<std::uint8_t>(below(2) == 0 ? 255 - sample : below(256));
    }
}

Picture blockedAdversary() {
    constexpr std::uint32_t window = 256; // what the weights of a sum in its middle reach
    constexpr std::uint32_t level = 3;
    constexpr std::uint32_t odd = 17;
    Signal rows = signalAt(window, level);
    filter(rows);
    const Weights& across = rows[odd];
    const Weights down = predictSum(signalAt(window, level), odd);
    Picture picture{TEKO_RGB8, 520, 4200};
    constexpr std::uint32_t left = 128;
    constexpr std::uint32_t top = 2048;
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        for (std::uint32_t x = 0; x < picture.width; ++x) {
            const bool isInside = x - left < window && y - top < window;
            const bool isWhite = isInside && isLit(across[x - left] * down[y - top], false);
            picture.append(isWhite ? 255 : 0);
            picture.append(isWhite ? 0 : 255);
            picture.append(isWhite ? 255 : 0);
        }
    }
    return picture;
}

bool comesBack(const Picture& picture, const Bytes& file) {
    const DecodedPicture decoded = decode(file);
    return decoded.status == TEKO_OK && decoded.samples == picture.samples;
}

} // namespace teko

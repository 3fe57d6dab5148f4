// SPDX-License-Identifier: Apache-2.0
// Makes a photograph-like sample: hills under a sky with clouds, textures of many sizes, hard edges, and the
// noise of a sensor. Always the same for the same size. usage: makeSample WIDTH HEIGHT > FILE.ppm
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

// A number in 0 .. 1 that looks random and depends on nothing but its arguments.
double hash(int x, int y, int seed) {
    std::uint32_t h = static_cast<std::uint32_t>(x) * 0x9E3779B1U ^ static_cast<std::uint32_t>(y) * 0x85EBCA77U ^
                      static_cast<std::uint32_t>(seed) * 0xC2B2AE3DU;
    h = (h ^ h >> 15) * 0x2C1B3C6DU;
    h = (h ^ h >> 12) * 0x297A2D39U;
    return static_cast<double>(h ^ h >> 15) / 4294967295.0;
}

double smooth(double t) {
    return t * t * (3 - 2 * t);
}

double valueNoise(double x, double y, int seed) {
    const int ix = static_cast<int>(std::floor(x));
    const int iy = static_cast<int>(std::floor(y));
    const double fx = smooth(x - ix);
    const double top = std::lerp(hash(ix, iy, seed), hash(ix + 1, iy, seed), fx);
    const double bottom = std::lerp(hash(ix, iy + 1, seed), hash(ix + 1, iy + 1, seed), fx);
    return std::lerp(top, bottom, smooth(y - iy));
}

// Octaves of noise in -1 .. 1, each half as strong and twice as fine as the one before.
double fractalNoise(double x, double y, int octaves, int seed) {
    double sum = 0;
    double weight = 0.5;
    for (int i = 0; i < octaves; ++i) {
        sum += weight * (2 * valueNoise(x, y, seed + i) - 1);
        weight /= 2;
        x *= 2;
        y *= 2;
    }
    return sum;
}

using Colour = std::array<double, 3>;

Colour mix(const Colour& a, const Colour& b, double t) {
    return {std::lerp(a[0], b[0], t), std::lerp(a[1], b[1], t), std::lerp(a[2], b[2], t)};
}

Colour sky(double u, double v) {
    const double cloud = std::clamp(1.6 * fractalNoise(3 * u, 7 * v, 7, 11) + 0.2, 0.0, 1.0);
    return mix(mix({70, 120, 190}, {190, 210, 225}, v), {245, 245, 240}, 0.8 * cloud);
}

// Three ridges, the nearer the darker and the rougher; the ground of the first that the ray meets.
Colour scene(double u, double v) {
    constexpr std::array<Colour, 3> ground{{{60, 85, 45}, {85, 105, 75}, {120, 140, 140}}};
    for (std::size_t i = 0; i < ground.size(); ++i) {
        const double distance = static_cast<double>(i);
        const double base = 0.8 - 0.17 * distance;
        const double frequency = 2.0 + 1.5 * distance;
        const double ridge = base + 0.13 * fractalNoise(frequency * u, 3.7, 8, 31 + static_cast<int>(i));
        if (v > ridge) {
            const double scale = 12.0 * (distance + 1);
            const double texture = fractalNoise(scale * u, 2 * scale * v, 9, 57 + static_cast<int>(i));
            const double light = 1 + (1.1 - 0.35 * distance) * texture;
            const Colour& g = ground[i];
            return {g[0] * light, g[1] * light, g[2] * light};
        }
    }
    return sky(u, v);
}

} // namespace

int main(int argc, char** argv) {
    const int width = argc == 3 ? std::atoi(argv[1]) : 0;
    const int height = argc == 3 ? std::atoi(argv[2]) : 0;
    if (width < 1 || height < 1) {
        std::fputs("usage: makeSample WIDTH HEIGHT > FILE.ppm\n", stderr);
        return 1;
    }
    std::printf("P6\n%d %d\n255\n", width, height);
    std::vector<unsigned char> row(static_cast<std::size_t>(width) * 3);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Colour colour = scene(static_cast<double>(x) / height, static_cast<double>(y) / height);
            for (std::size_t c = 0; c < 3; ++c) {
                const int seed = 90 + static_cast<int>(c);
                const double sensor = 3.0 * (hash(x, y, seed) + hash(x, y, seed + 3) - 1);
                const double level = std::clamp(colour[c] + sensor, 0.0, 255.0);
                row[static_cast<std::size_t>(x) * 3 + c] = static_cast<unsigned char>(std::lround(level));
            }
        }
        std::fwrite(row.data(), 1, row.size(), stdout);
    }
    return 0;
}

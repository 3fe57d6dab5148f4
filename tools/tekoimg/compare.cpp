// SPDX-License-Identifier: Apache-2.0
// How far two images lie apart.
#include "commands.hpp"
#include "failure.hpp"
#include "formats.hpp"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <limits>

namespace tekoimg {

namespace {

// One of both, with its name in what it throws.
class Side {
public:
    Side(const std::string& itsName, const Settings& settings) : name(itsName) {
        named([&] {
            source.emplace(name);
            reader = openAny(*source, {settings.isSigned, 0, settings.memory});
            row.resize(reader->rowBytes());
        });
    }
    const teko::Image& image() const { return reader->image(); }
    const std::byte* next() {
        named([this] { reader->read(row.data()); });
        return row.data();
    }
    void finish() {
        named([this] { reader->finish(); });
    }

private:
    template <typename Call>
    void named(Call&& call) {
        try {
            call();
        } catch (const Failure& failure) {
            throw Failure(name + ": " + failure.what());
        }
    }

    std::string name;
    std::optional<Source> source;
    std::unique_ptr<ImageReader> reader;
    std::vector<std::byte> row;
};

void requireAlike(const teko::Image& a, const teko::Image& b) {
    if (a.width != b.width || a.height != b.height || a.kind != b.kind) {
        throw Failure("the images are not of one kind and size (" + shown(a) + " and " + shown(b) +
                      "); bring one to the other's first");
    }
    if (a.isSigned != b.isSigned) {
        throw Failure("one image is signed and the other is not; --signed takes .tk files for signed");
    }
}

struct Sum {
    double squares = 0;
    std::uint32_t largest = 0;
};

Sum sumOf(Side& a, Side& b) {
    teko::Image row = a.image();
    row.height = 1;
    teko::Image otherRow = b.image();
    otherRow.height = 1;
    row.bits = otherRow.bits = 0;
    Sum sum;
    for (std::uint32_t y = 0; y < a.image().height; ++y) {
        const std::byte* const samples = a.next();
        const teko_difference difference = teko::compare(row, samples, otherRow, b.next());
        sum.squares += difference.mse * row.width * row.channels();
        sum.largest = std::max(sum.largest, difference.largest);
    }
    a.finish();
    b.finish();
    return sum;
}

void print(const teko::Image& image, const Sum& sum) {
    const double samples = static_cast<double>(image.width) * image.height * image.channels();
    const double mse = sum.squares / samples;
    const double peak = largestOf(bitsOf(image));
    const double psnr = sum.largest == 0 ? std::numeric_limits<double>::infinity() : 10 * std::log10(peak * peak / mse);
    std::printf("mse %.6g, psnr %.2f dB, largest difference %u\n", mse, psnr, static_cast<unsigned>(sum.largest));
    if (std::fflush(stdout) != 0) {
        throw Failure("standard output cannot be written: " + systemReason(errno));
    }
}

} // namespace

int compare(const Settings& settings) {
    if (settings.inputs[0] == pipeName && settings.inputs[1] == pipeName) {
        throw Failure("standard input, -, can be read once");
    }
    Side a(settings.inputs[0], settings);
    Side b(settings.inputs[1], settings);
    requireAlike(a.image(), b.image());
    const Sum sum = sumOf(a, b);
    if (!settings.isQuiet) {
        print(a.image(), sum);
    }
    return sum.largest == 0 ? 0 : 1;
}

} // namespace tekoimg

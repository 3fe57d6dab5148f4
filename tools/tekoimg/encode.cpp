// SPDX-License-Identifier: Apache-2.0
// Images of other formats become .tk files.
#include "commands.hpp"
#include "failure.hpp"
#include "formats.hpp"
#include "output.hpp"
#include "sampleRange.hpp"

#include <cstring>
#include <limits>

namespace tekoimg {

namespace {

bool hasBudget(const Settings& settings) {
    return settings.bytes || settings.rate;
}

teko::Options optionsOf(const Settings& settings) {
    if (settings.bytes) {
        return teko::Options::toBytes(static_cast<std::size_t>(*settings.bytes));
    }
    return settings.rate ? teko::Options::toRate(*settings.rate) : teko::Options();
}

teko::Image describedBy(const ImageReader& reader, const Settings& settings) {
    teko::Image image = reader.image();
    const auto depth = 8 * static_cast<std::uint32_t>(image.bytesPerSample());
    if (settings.bits > depth) {
        throw Failure("has samples of " + std::to_string(depth) + " bits; give --bits up to that");
    }
    if (settings.bits != 0 && image.isSigned) {
        throw Failure("has signed samples, whose bits are 16; leave --bits out");
    }
    image.bits = settings.bits != 0 ? settings.bits : image.bits;
    return image;
}

// The rows of an input that cannot be read twice, where they are needed twice.
struct KeptRows {
    bool isWanted;
    std::vector<std::byte> bytes;
};

teko::File encodeRows(ImageReader& reader, const teko::Image& image, const Settings& settings, KeptRows& kept) {
    teko::Encoder encoder(image, optionsOf(settings));
    std::vector<std::byte> row(reader.rowBytes());
    for (std::uint32_t y = 0; y < image.height; ++y) {
        reader.read(row.data());
        if (!isWithin(image, row, largestOf(bitsOf(image)))) {
            throw Failure("has samples above its " + std::to_string(bitsOf(image)) + " bits; encode it with --bits " +
                          std::to_string(8 * image.bytesPerSample()));
        }
        encoder.push(row.data(), 1);
        if (kept.isWanted) {
            kept.bytes.insert(kept.bytes.end(), row.begin(), row.end());
        }
    }
    reader.finish();
    return encoder.finish();
}

// The rows of the input once more.
class Again {
public:
    Again(const Job& job, const KeptRows& itsKept) : kept(itsKept) {
        if (!kept.isWanted) {
            source.emplace(job.input);
            reader = openImage(*source);
        }
    }
    void read(std::vector<std::byte>& row) {
        if (reader) {
            reader->read(row.data());
        } else {
            std::memcpy(row.data(), kept.bytes.data() + done, row.size());
            done += row.size();
        }
    }
    bool hasSides(const teko::Image& image) const {
        return !reader || (reader->image().width == image.width && reader->image().height == image.height &&
                           reader->image().kind == image.kind);
    }

private:
    const KeptRows& kept;
    std::size_t done = 0;
    std::optional<Source> source;
    std::unique_ptr<ImageReader> reader;
};

[[noreturn]] void refuseAsInexact() {
    throw Failure(
        "does not come back unchanged from a .tk, as images with a side of 2 or 3 do and some that were built "
        "for it; it is not written: keep it in its own format, or give --bytes or --rate for an "
        "approximation");
}

// What was written, read again and decoded, against the input, read again.
void verify(const Job& job, const teko::Image& image, Output& output, const KeptRows& kept) {
    const std::vector<std::byte> file = output.readBack();
    TekoReader decoded(file, {image.isSigned, 0, std::numeric_limits<std::uint64_t>::max()});
    Again again(job, kept);
    const bool isAlike = again.hasSides(image) && decoded.status() == TEKO_OK;
    std::vector<std::byte> expected(decoded.rowBytes());
    std::vector<std::byte> actual(decoded.rowBytes());
    for (std::uint32_t y = 0; isAlike && y < image.height; ++y) {
        again.read(expected);
        decoded.read(actual.data());
        if (expected != actual) {
            throw Failure("differs in row " + std::to_string(y + 1) +
                          " from what its .tk decodes to; it is not written: look whether the image is being changed, "
                          "and test the memory of this machine");
        }
    }
    if (!isAlike) {
        throw Failure("is not the image any more that it was, or its .tk was not written as it is; run it again when "
                      "nothing changes the image");
    }
}

void encodeOne(const Job& job, const Settings& settings, Remarks& remarks) {
    Source source(job.input);
    const std::unique_ptr<ImageReader> reader = openImage(source);
    const teko::Image image = describedBy(*reader, settings);
    Output output(job.output, settings.isForced);
    const bool isVerified = !settings.isUnverified && !hasBudget(settings);
    KeptRows kept{isVerified && !source.isRepeatable(), {}};
    {
        const teko::File file = encodeRows(*reader, image, settings, kept);
        heedLosses(reader->losses(), "a .tk", settings, remarks);
        if (!file.isExact() && !hasBudget(settings)) {
            refuseAsInexact();
        }
        output.write(file.bytes().data(), file.bytes().size());
    }
    if (isVerified) {
        verify(job, image, output, kept);
    }
    output.commit();
}

} // namespace

int encode(const Settings& settings) {
    const Plan plan = planOutputs(settings, {isImageExtension, ".tk"});
    return runJobs(plan, settings, "encoded",
                   [&](const Job& job, Remarks& remarks) { encodeOne(job, settings, remarks); });
}

} // namespace tekoimg

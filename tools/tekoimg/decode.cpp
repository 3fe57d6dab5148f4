// SPDX-License-Identifier: Apache-2.0
// .tk files become images of other formats.
#include "commands.hpp"
#include "failure.hpp"
#include "formats.hpp"
#include "output.hpp"
#include "sampleRange.hpp"

namespace tekoimg {

namespace {

std::string endingFor(const std::string& format) {
    return format.empty() ? ".png" : format == "tiff" ? ".tif" : "." + format;
}

// The format of an output: as asked for, else by its name.
std::string endingOf(const Job& job, const Settings& settings) {
    if (!settings.format.empty() || job.output == pipeName) {
        return endingFor(settings.format);
    }
    std::string ending = extensionOf(job.output);
    if (!isImageExtension(ending)) {
        throw Failure("would become " + job.output + ", whose ending names no format; give --format, or one of " +
                      knownExtensions());
    }
    return ending;
}

Picture pictureOf(const teko::Image& image, const std::string& ending, const Settings& settings) {
    Picture picture{image, largestOf(bitsOf(image))};
    if (settings.maxval == 0) {
        return picture;
    }
    const std::uint32_t depth = 8 * static_cast<std::uint32_t>(image.bytesPerSample());
    if (settings.maxval > largestOf(depth) || image.isSigned) {
        throw Failure("has no samples that --maxval " + std::to_string(settings.maxval) + " is for; leave it out");
    }
    picture.maxval = settings.maxval;
    picture.image.bits = bitsFor(settings.maxval);
    const bool saysMaxval = ending[1] == 'p' && ending != ".png";
    if (!saysMaxval && settings.maxval != largestOf(picture.image.bits)) {
        throw Failure("can have the maxval " + std::to_string(settings.maxval) +
                      " in PNM and PAM alone; choose --format pnm");
    }
    return picture;
}

void heedStatus(const TekoReader& reader, const Settings& settings, Remarks& remarks) {
    if (reader.status() == TEKO_DAMAGED && !settings.isSalvaged) {
        throw Failure("is damaged; fetch it again, or let --salvage write what can be made of it");
    }
    if (reader.status() == TEKO_CUT && settings.isStrict) {
        throw Failure("ends early: it is cut, and --strict wants complete files");
    }
    if (reader.status() == TEKO_CUT) {
        remarks.push_back("ends early: the image is an approximation");
    }
    if (reader.status() == TEKO_DAMAGED) {
        remarks.push_back("is damaged: the image is what can be made of it");
    }
    if (reader.bytesBehind() > 0) {
        remarks.push_back("has " + std::to_string(reader.bytesBehind()) + " bytes behind the image");
    }
}

// Approximations may leave a maxval that is no 2^n - 1; other images have no business to.
void limit(const TekoReader& reader, const Picture& picture, std::span<std::byte> row) {
    if (isWithin(picture.image, row, picture.maxval)) {
        return;
    }
    if (reader.status() == TEKO_OK) {
        throw Failure("has samples above " + std::to_string(picture.maxval) + "; decode it with --maxval " +
                      std::to_string(largestOf(8 * static_cast<std::uint32_t>(picture.image.bytesPerSample()))));
    }
    clampTo(picture.image, row, picture.maxval);
}

void decodeOne(const Job& job, const Settings& settings, Remarks& remarks) {
    const std::string ending = endingOf(job, settings);
    Source source(job.input);
    TekoReader reader(source, {settings.isSigned, 0, settings.memory});
    heedStatus(reader, settings, remarks);
    const Picture picture = pictureOf(reader.image(), ending, settings);
    Output output(job.output, settings.isForced);
    const std::unique_ptr<ImageWriter> writer = makeWriter(ending, output, picture);
    heedLosses(writer->losses(), ending.substr(1), settings, remarks);
    std::vector<std::byte> row(reader.rowBytes());
    for (std::uint32_t y = 0; y < picture.image.height; ++y) {
        reader.read(row.data());
        limit(reader, picture, row);
        writer->write(row.data());
    }
    writer->finish();
    output.commit();
}

} // namespace

int decode(const Settings& settings) {
    const Naming naming{[](const std::string& extension) { return extension == ".tk"; }, endingFor(settings.format)};
    const Plan plan = planOutputs(settings, naming);
    return runJobs(plan, settings, "decoded",
                   [&](const Job& job, Remarks& remarks) { decodeOne(job, settings, remarks); });
}

} // namespace tekoimg

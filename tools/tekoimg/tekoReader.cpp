// SPDX-License-Identifier: Apache-2.0
#include "tekoReader.hpp"

#include "failure.hpp"

namespace tekoimg {

namespace {

const char* cureOf(teko_status status) {
    switch (status) {
    case TEKO_ERROR_SHAPE:
        return "sides are 2 to 65535, with less than 2^31 pixels: keep this image in its own format, or take it apart "
               "into tiles";
    case TEKO_ERROR_NOT_TEKO:
    case TEKO_ERROR_KIND:
        return "fetch it again, or look what it is";
    case TEKO_ERROR_TOO_SHORT:
        return "fetch it again";
    case TEKO_ERROR_BUDGET:
        return "give more --bytes, a larger --rate or --percent";
    case TEKO_ERROR_MAX_MEMORY:
        return "where the file is to be trusted, --memory allows more";
    case TEKO_ERROR_OUT_OF_MEMORY:
        return "run it with fewer --jobs, or where there is more memory";
    case TEKO_ERROR_RANGE:
        return "keep this image in its own format";
    default:
        return "this is a defect of tekoimg: please report it";
    }
}

} // namespace

void failWith(const teko::Error& error) {
    throw Failure(std::string("is refused: ") + error.what() + "; " + cureOf(error.status()));
}

TekoReader::TekoReader(Source& source, const TekoReading& reading) : ImageReader("teko") {
    open(source.readAll(), reading);
}

TekoReader::TekoReader(std::span<const std::byte> file, const TekoReading& reading) : ImageReader("teko") {
    open(file, reading);
}

void TekoReader::open(std::span<const std::byte> file, const TekoReading& reading) {
    try {
        bytes = file.size();
        described = teko::describe(file).reduced(reading.reduce);
        requireSides(described);
        if (reading.isSigned && described.kind != teko::Kind::grey16) {
            throw Failure("has samples of 8 bits, which are not signed; leave --signed out");
        }
        described.isSigned = reading.isSigned;
        described.bits = reading.isSigned ? 16 : described.bits;
        teko::Options options = teko::Options::reducedBy(reading.reduce);
        options.max_memory = reading.maxMemory;
        decoder.emplace(file, described, options);
    } catch (const teko::Error& error) {
        failWith(error);
    }
}

void TekoReader::read(std::byte* row) {
    try {
        decoder->pull(row, 1);
    } catch (const teko::Error& error) {
        failWith(error);
    }
}

} // namespace tekoimg

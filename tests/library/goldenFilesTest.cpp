// SPDX-License-Identifier: Apache-2.0
// The stored files: the library writes and reads them as the program does.
#include "calls.hpp"
#include "fixtures/fixtureImages.hpp"
#include "golden/goldenTable.hpp"
#include "support/sha256.hpp"
#include "support/temporaryDirectory.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

// The program takes what is missing of a header for zeros; the library refuses it.
constexpr std::size_t headerBytes = 10;

Bytes stored(const std::string& directory, const std::string& name, const std::string& ending) {
    return TemporaryDirectory::readFile(goldenPath(directory + name + ending));
}

Bytes rawOf(const GoldenCase& row) {
    return stored("raw/", row.at("image"), ".raw");
}

std::string titleOf(const GoldenCase& row) {
    std::string title;
    for (const auto& [column, text] : row) {
        title.append(column).append(" ").append(text).append(" ");
    }
    return title;
}

Picture pictureOf(const GoldenCase& row, const Bytes& samples) {
    const auto number = [&](const char* column) { return static_cast<std::uint32_t>(std::stoul(row.at(column))); };
    return {number("bytes/pixel"), number("xsize"), number("ysize"), number("bits/pixel"), samples};
}

teko_options optionsOf(const GoldenCase& row) {
    return row.at("mode") == "C" ? toRate(std::stod(row.at("rate"))) : options();
}

// What the library makes of a file, in the words of the tables.
std::string decodedAs(const Bytes& file, const Bytes& samples) {
    const DecodedPicture decoded = decode(file);
    if (decoded.status == TEKO_ERROR_NOT_TEKO) {
        return "refused";
    }
    if (decoded.status == TEKO_ERROR_KIND) {
        return Sha256::of({});
    }
    if (decoded.status < 0) {
        return "abnormal";
    }
    if (decoded.samples == samples) {
        return "raw";
    }
    return Sha256::of(decoded.samples);
}

void expectEncoded(const GoldenCase& row, const Picture& picture) {
    const Encoded encoded = encode(picture, optionsOf(row));
    if (row.at("decoded") == "abnormal") {
        EXPECT_EQ(encoded, (Encoded{TEKO_ERROR_BUDGET, {}}));
        return;
    }
    EXPECT_EQ(std::to_string(encoded.file.size()), row.at("codedBytes"));
    EXPECT_EQ(Sha256::of(encoded.file), row.at("codedSha256"));
    EXPECT_EQ(decodedAs(encoded.file, picture.samples), row.at("decoded"));
    EXPECT_EQ(encoded.status == TEKO_OK,
              decode(encoded.file) == (DecodedPicture{TEKO_OK, picture.samples, encoded.file.size()}));
    if (row.at("mode") == "c") {
        EXPECT_EQ(encoded.status, row.at("decoded") == "raw" ? TEKO_OK : TEKO_INEXACT);
    }
}

} // namespace

TEST(LibraryGolden, ImagesGiveTheStoredFiles) {
    for (const GoldenCase& row : goldenTable("encode.tsv")) {
        SCOPED_TRACE(titleOf(row));
        expectEncoded(row, pictureOf(row, rawOf(row)));
    }
}

TEST(LibraryGolden, PrefixesGiveTheStoredSamples) {
    for (const GoldenCase& row : goldenTable("cut.tsv")) {
        SCOPED_TRACE(titleOf(row));
        const Bytes raw = rawOf(row);
        const Bytes coded = stored("coded/", row.at("image"), ".tk");
        const Bytes file = prefix(coded, std::stoul(row.at("bytes")));
        if (file.size() < headerBytes) {
            EXPECT_EQ(decode(file).status, TEKO_ERROR_TOO_SHORT);
        } else {
            EXPECT_EQ(decodedAs(file, raw), row.at("decoded"));
        }
    }
}

TEST(LibraryGolden, FilesOfEarlierVersionsGiveTheirSamplesAndAreWrittenTheSame) {
    for (const GoldenCase& row : goldenTable("../fixtures/files.tsv")) {
        SCOPED_TRACE(titleOf(row));
        const Bytes coded = stored("../fixtures/coded/", row.at("file"), ".tk");
        if (row.at("mode") == "-") {
            if (coded.size() < headerBytes) {
                EXPECT_EQ(decode(coded).status, TEKO_ERROR_TOO_SHORT);
            } else {
                EXPECT_EQ(decodedAs(coded, {0}), row.at("decoded"));
            }
            continue;
        }
        const Shape shape{std::stoi(row.at("bytes/pixel")), std::stoi(row.at("bits/pixel")), std::stoi(row.at("xsize")),
                          std::stoi(row.at("ysize"))};
        const Picture picture = pictureOf(row, fixture::image(row.at("rule"), shape));
        expectEncoded(row, picture);
        EXPECT_EQ(decodedAs(coded, picture.samples), row.at("decoded"));
    }
}

} // namespace teko

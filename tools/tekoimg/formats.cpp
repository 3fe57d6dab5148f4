// SPDX-License-Identifier: Apache-2.0
#include "formats.hpp"

#include "failure.hpp"
#include "npyReader.hpp"
#include "npyWriter.hpp"
#include "pngReader.hpp"
#include "pngWriter.hpp"
#include "pnmReader.hpp"
#include "pnmWriter.hpp"
#include "tiffReader.hpp"
#include "tiffWriter.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>

namespace tekoimg {

namespace {

using namespace std::string_view_literals;

constexpr std::array extensions = {".npy"sv, ".pam"sv, ".pbm"sv, ".pgm"sv, ".png"sv,
                                   ".pnm"sv, ".ppm"sv, ".tif"sv, ".tiff"sv};

std::string_view beginOf(Source& source) {
    const auto begin = source.peek(16);
    return {reinterpret_cast<const char*>(begin.data()), begin.size()};
}

bool isTiff(std::string_view begin) {
    return begin.starts_with("II*\0"sv) || begin.starts_with("MM\0*"sv) || begin.starts_with("II+\0"sv) ||
           begin.starts_with("MM\0+"sv);
}

// Others that people have, by their names.
[[noreturn]] void refuse(std::string_view begin) {
    const struct {
        std::string_view start;
        const char* what;
    } others[] = {{"\xFF\xD8\xFF"sv, "JPEG"},      {"GIF8"sv, "GIF"}, {"BM"sv, "BMP"},
                  {"RIFF"sv, "WebP or RIFF"},      {"Pf"sv, "PFM"},   {"PF"sv, "PFM"},
                  {"\0\0\0\x0CjP"sv, "JPEG 2000"}, {"%PDF"sv, "PDF"}, {"TK10"sv, "a .tk already"}};
    if (begin.empty()) {
        throw Failure("is empty; fetch or make it again");
    }
    for (const auto& other : others) {
        if (begin.starts_with(other.start)) {
            throw Failure(std::string("is ") + other.what + "; tekoimg reads PNM, PAM, PNG, TIFF and .npy");
        }
    }
    throw Failure("is no image that tekoimg knows: it reads PNM, PAM, PNG, TIFF and .npy");
}

std::string inSmallLetters(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

} // namespace

std::unique_ptr<ImageReader> openImage(Source& source) {
    const std::string_view begin = beginOf(source);
    if (begin.starts_with("\x89PNG\r\n\x1A\n"sv)) {
        return std::make_unique<PngReader>(source);
    }
    if (begin.starts_with("\x93NUMPY"sv)) {
        return std::make_unique<NpyReader>(source);
    }
    if (isTiff(begin)) {
        return std::make_unique<TiffReader>(source);
    }
    if (begin.size() >= 2 && begin[0] == 'P' && begin[1] >= '1' && begin[1] <= '7') {
        return std::make_unique<PnmReader>(source);
    }
    refuse(begin);
}

std::unique_ptr<ImageReader> openAny(Source& source, const TekoReading& reading) {
    if (beginOf(source).starts_with("TK10"sv)) {
        return std::make_unique<TekoReader>(source, reading);
    }
    return openImage(source);
}

std::string extensionOf(const std::string& path) {
    return inSmallLetters(std::filesystem::path(path).extension());
}

bool isImageExtension(std::string_view extension) {
    return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
}

std::string knownExtensions() {
    std::string text;
    for (const std::string_view extension : extensions) {
        text += (text.empty() ? "" : ", ") + std::string(extension);
    }
    return text;
}

std::unique_ptr<ImageWriter> makeWriter(std::string_view extension, Output& output, const Picture& picture) {
    if (extension == ".png") {
        return std::make_unique<PngWriter>(output, picture.image);
    }
    if (extension == ".npy") {
        return std::make_unique<NpyWriter>(output, picture.image);
    }
    if (extension == ".tif" || extension == ".tiff") {
        return std::make_unique<TiffWriter>(output, picture.image);
    }
    const PnmKind kind = extension == ".pbm"   ? PnmKind::pbm
                         : extension == ".pgm" ? PnmKind::pgm
                         : extension == ".ppm" ? PnmKind::ppm
                         : extension == ".pam" ? PnmKind::pam
                                               : PnmKind::pnm;
    return std::make_unique<PnmWriter>(output, picture, kind);
}

} // namespace tekoimg

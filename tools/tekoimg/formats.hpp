// SPDX-License-Identifier: Apache-2.0
// Which formats there are: inputs are known by their first bytes, outputs by their names.
#pragma once

#include "image.hpp"
#include "output.hpp"
#include "source.hpp"
#include "tekoReader.hpp"

#include <string_view>

namespace tekoimg {

// An image of any format but .tk. Throws Failure for what is none.
std::unique_ptr<ImageReader> openImage(Source& source);
// One of any format, .tk among them.
std::unique_ptr<ImageReader> openAny(Source& source, const TekoReading& reading);

// With the dot, in small letters: ".png"; empty where there is none.
std::string extensionOf(const std::string& path);
// Whether files of that extension in a folder are images of other formats than .tk.
bool isImageExtension(std::string_view extension);
// ".pgm, .png ...", of outputs
std::string knownExtensions();

// The output stays for as long as the writer. The extension is one of an image. Throws Failure where the format does
// not hold such an image.
std::unique_ptr<ImageWriter> makeWriter(std::string_view extension, Output& output, const Picture& picture);

} // namespace tekoimg

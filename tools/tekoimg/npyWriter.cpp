// SPDX-License-Identifier: Apache-2.0
#include "npyWriter.hpp"

#include <algorithm>
#include <bit>

namespace tekoimg {

namespace {

std::string headerOf(const teko::Image& image) {
    const char* const type = image.bytesPerSample() == 1 ? "|u1" : image.isSigned ? "<i2" : "<u2";
    std::string dictionary = std::string("{'descr': '") + type + "', 'fortran_order': False, 'shape': (" +
                             std::to_string(image.height) + ", " + std::to_string(image.width) +
                             (image.channels() == 3 ? ", 3" : "") + "), }";
    constexpr std::size_t before = 10;
    constexpr std::size_t alignment = 64;
    const std::size_t all = (before + dictionary.size() + 1 + alignment - 1) / alignment * alignment;
    dictionary.resize(all - before - 1, ' ');
    dictionary += '\n';
    const std::size_t length = dictionary.size();
    std::string start = "\x93NUMPY";
    start += {1, 0, static_cast<char>(length & 0xFF), static_cast<char>(length >> 8)};
    return start + dictionary;
}

} // namespace

NpyWriter::NpyWriter(Output& itsOutput, const teko::Image& image)
    : output(itsOutput), line(std::size_t{image.width} * image.channels() * image.bytesPerSample()),
      isSwapped(image.bytesPerSample() == 2 && std::endian::native == std::endian::big) {
    const std::uint32_t depth = 8 * static_cast<std::uint32_t>(image.bytesPerSample());
    if (bitsOf(image) != depth && !image.isSigned) {
        notHeld.push_back("that its samples have " + std::to_string(bitsOf(image)) + " bits");
    }
    const std::string header = headerOf(image);
    output.write(header.data(), header.size());
}

void NpyWriter::write(const std::byte* row) {
    if (!isSwapped) {
        output.write(row, line.size());
        return;
    }
    for (std::size_t i = 0; i + 1 < line.size(); i += 2) {
        line[i] = row[i + 1];
        line[i + 1] = row[i];
    }
    output.write(line.data(), line.size());
}

} // namespace tekoimg

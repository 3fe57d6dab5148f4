// SPDX-License-Identifier: Apache-2.0
#include "npyReader.hpp"

#include "failure.hpp"
#include "npyHeader.hpp"

#include <bit>
#include <cstring>
#include <utility>

namespace tekoimg {

namespace {

constexpr std::size_t longestHeader = 65536;

std::string textOf(const std::vector<std::uint32_t>& shape) {
    std::string text = "(";
    for (std::size_t i = 0; i < shape.size(); ++i) {
        text += (i > 0 ? ", " : "") + std::to_string(shape[i]);
    }
    return text + ")";
}

} // namespace

NpyReader::NpyReader(Source& itsSource) : ImageReader("NPY"), source(itsSource) {
    const NpyHeader dictionary = parseNpyHeader(header());
    setType(dictionary.type);
    setShape(dictionary.shape);
    if (dictionary.isFortranOrder) {
        throw Failure("is in Fortran order; save numpy.ascontiguousarray of it");
    }
    if (described.isSigned) {
        lose("signedness (decode with --signed)");
    }
}

// Version 1 has two bytes for the length of the header, version 2 four.
std::string NpyReader::header() {
    unsigned char start[8] = {};
    unsigned char length[4] = {};
    if (source.read(start, 8) != 8 || std::memcmp(start, "\x93NUMPY", 6) != 0) {
        throw Failure("is no .npy");
    }
    if (start[6] != 1 && start[6] != 2) {
        throw Failure("is a .npy of version " + std::to_string(start[6]) + "; save it with version 1 or 2");
    }
    const std::size_t bytes = start[6] == 1 ? 2 : 4;
    const bool isThere = source.read(length, bytes) == bytes;
    const std::size_t size =
        length[0] | std::size_t{length[1]} << 8 | std::size_t{length[2]} << 16 | std::size_t{length[3]} << 24;
    if (isThere && size > longestHeader) {
        throw Failure("is no .npy that can be read: its header has " + std::to_string(size) + " bytes");
    }
    std::string text(size, ' ');
    if (!isThere || source.read(text.data(), size) != size) {
        throw Failure("ends within its header; fetch or make it again");
    }
    return text;
}

void NpyReader::setType(const std::string& type) {
    const std::string kind = type.size() == 3 ? type.substr(1) : "";
    const char order = type.empty() ? ' ' : type[0];
    const bool isKnownOrder = order == '<' || order == '>' || order == '=' || order == '|';
    if (kind == "u1" && isKnownOrder) {
        described.kind = teko::Kind::grey8;
    } else if ((kind == "u2" || kind == "i2") && isKnownOrder && order != '|') {
        described.kind = teko::Kind::grey16;
        described.isSigned = kind == "i2";
        isSwapped = order != '=' && (order == '<') != (std::endian::native == std::endian::little);
    } else {
        throw Failure("has samples of type '" + type + "'; a .tk holds uint8, uint16 and int16: convert with astype");
    }
    described.bits = 8 * static_cast<std::uint32_t>(described.bytesPerSample());
}

void NpyReader::setShape(const std::vector<std::uint32_t>& shape) {
    const bool isColour = shape.size() == 3 && shape[2] == 3;
    if (shape.size() != 2 && !isColour) {
        throw Failure("has the shape " + textOf(shape) + "; a .tk holds (h, w) and (h, w, 3): reshape or slice it");
    }
    if (isColour && described.kind != teko::Kind::grey8) {
        throw Failure("is RGB of 16 bits, which a .tk does not hold; bring it to uint8, or save each channel");
    }
    described.kind = isColour ? teko::Kind::rgb8 : described.kind;
    described.height = shape[0];
    described.width = shape[1];
    requireSides(described);
}

void NpyReader::read(std::byte* to) {
    const std::size_t bytes = rowBytes();
    if (source.read(to, bytes) != bytes) {
        throw Failure("ends in row " + std::to_string(row + 1) + " of " + std::to_string(described.height) +
                      "; fetch or make it again");
    }
    ++row;
    for (std::size_t i = 0; isSwapped && i < bytes; i += 2) {
        std::swap(to[i], to[i + 1]);
    }
}

void NpyReader::finish() {
    if (!source.isAtEnd()) {
        throw Failure("goes on behind its last row; save one array a file");
    }
}

} // namespace tekoimg

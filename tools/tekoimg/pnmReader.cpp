// SPDX-License-Identifier: Apache-2.0
#include "pnmReader.hpp"

#include "failure.hpp"

#include <string_view>

namespace tekoimg {

namespace {

constexpr std::uint32_t largestNumber = 1U << 30;

bool isSpace(int byte) {
    return byte == ' ' || (byte >= '\t' && byte <= '\r');
}
bool isDigit(int byte) {
    return byte >= '0' && byte <= '9';
}

} // namespace

PnmReader::PnmReader(Source& itsSource) : ImageReader("PNM"), source(itsSource) {
    if (source.get() != 'P') {
        throw Failure("is no PNM or PAM");
    }
    const int kind = source.get();
    if (kind >= '1' && kind <= '6') {
        readPnmHeader(static_cast<char>(kind));
    } else if (kind == '7') {
        readPamHeader();
    } else {
        throw Failure("is no PNM or PAM: it begins with P, but not with P1 to P7");
    }
    requireSides(described);
    if (hasComment) {
        lose("comments");
    }
    describeMaxval();
    const std::size_t samples = std::size_t{described.width} * stored;
    line.resize(isBitmap ? (described.width + 7) / 8 : samples * described.bytesPerSample());
}

void PnmReader::readPnmHeader(char kind) {
    isPlain = kind <= '3';
    isBitmap = kind == '1' || kind == '4';
    const bool isColour = kind == '3' || kind == '6';
    if (!isSpace(behindNumber = source.get()) && behindNumber != '#') {
        throw Failure("is no PNM: something stands between P and the width");
    }
    if (behindNumber == '#') {
        skipComment();
    }
    described.width = number("width");
    described.height = number("height");
    maxval = isBitmap ? 1 : number("maxval");
    setSamples(isColour ? 3 : 1, isColour ? "RGB" : "GRAYSCALE");
    endHeader();
}

// One white space ends the header. A comment there would be samples for other readers.
void PnmReader::endHeader() {
    if (!isSpace(behindNumber)) {
        throw Failure("is no PNM: no white space ends its header");
    }
}

void PnmReader::readPamHeader() {
    if (source.get() != '\n') {
        throw Failure("is no PAM: its first line is not P7");
    }
    std::uint32_t depth = 0;
    std::string type;
    while (true) {
        const std::string keyword = word(skipSpace());
        if (keyword == "ENDHDR") {
            if (behindNumber != '\n') {
                throw Failure("is no PAM: something follows ENDHDR in its line");
            }
            break;
        }
        readPamLine(keyword, depth, type);
    }
    if (maxval == 0 || depth == 0) {
        throw Failure("is no PAM: its header has no DEPTH or no MAXVAL");
    }
    setSamples(depth, type);
}

void PnmReader::readPamLine(const std::string& keyword, std::uint32_t& depth, std::string& type) {
    if (keyword == "WIDTH") {
        described.width = number("WIDTH");
    } else if (keyword == "HEIGHT") {
        described.height = number("HEIGHT");
    } else if (keyword == "DEPTH") {
        depth = number("DEPTH");
    } else if (keyword == "MAXVAL") {
        maxval = number("MAXVAL");
    } else if (keyword == "TUPLTYPE") {
        if (!type.empty()) {
            type += ' ';
        }
        type += word(skipSpace());
    } else {
        throw Failure("is no PAM: its header has the line '" + keyword + "'");
    }
}

void PnmReader::setSamples(std::uint32_t depth, const std::string& type) {
    constexpr std::string_view alpha = "_ALPHA";
    const bool endsInAlpha = type.size() >= alpha.size() && type.ends_with(alpha);
    const std::string colours = endsInAlpha ? type.substr(0, type.size() - alpha.size()) : type;
    const bool hasAlpha = type.empty() ? depth == 2 || depth == 4 : endsInAlpha;
    stored = depth;
    const std::uint32_t channels = depth - (hasAlpha ? 1 : 0);
    const bool isGrey = channels == 1 && (type.empty() || colours == "GRAYSCALE" || colours == "BLACKANDWHITE");
    const bool isColour = channels == 3 && (type.empty() || colours == "RGB");
    if (!isGrey && !isColour) {
        throw Failure("has " + std::to_string(depth) + " channels of type '" + type +
                      "'; a .tk holds grey and RGB: take channels apart with pamchannel");
    }
    if (maxval == 0 || maxval > 65535) {
        throw Failure("has the maxval " + std::to_string(maxval) + ", which is not 1 to 65535");
    }
    if (isColour && maxval > 255) {
        throw Failure("is RGB of 16 bits, which a .tk does not hold; bring it to 8 bits with pamdepth 255, or take its "
                      "channels apart with pamchannel");
    }
    if (hasAlpha) {
        lose("alpha");
    }
    described.kind = isColour ? teko::Kind::rgb8 : maxval > 255 ? teko::Kind::grey16 : teko::Kind::grey8;
}

void PnmReader::describeMaxval() {
    described.bits = bitsFor(maxval);
    if (maxval != largestOf(described.bits)) {
        lose("maxval " + std::to_string(maxval) + " (decode with --maxval " + std::to_string(maxval) + ")");
    }
}

void PnmReader::skipComment() {
    hasComment = true;
    int byte = 0;
    do {
        byte = source.get();
    } while (byte != '\n' && byte != '\r' && byte >= 0);
}

// Returns the first byte behind white space and comments.
int PnmReader::skipSpace() {
    int byte = source.get();
    while (isSpace(byte) || byte == '#') {
        if (byte == '#') {
            skipComment();
        }
        byte = source.get();
    }
    return byte;
}

std::string PnmReader::word(int first) {
    std::string text;
    int byte = first;
    while (byte >= 0 && !isSpace(byte) && text.size() < 32) {
        text += static_cast<char>(byte);
        byte = source.get();
    }
    behindNumber = byte;
    if (text.empty() || byte < 0) {
        throw Failure("ends within its header; fetch or make it again");
    }
    return text;
}

std::uint32_t PnmReader::number(const char* what) {
    return numberFrom(skipSpace(), what);
}

std::uint32_t PnmReader::numberFrom(int first, const char* what) {
    std::uint32_t value = 0;
    int byte = first;
    if (!isDigit(byte)) {
        throw Failure(std::string(byte < 0 ? "ends before its " : "has no number for its ") + what +
                      "; fetch or make it again");
    }
    for (; isDigit(byte); byte = source.get()) {
        value = value * 10 + static_cast<std::uint32_t>(byte - '0');
        if (value > largestNumber) {
            throw Failure(std::string("has too large a number for its ") + what);
        }
    }
    behindNumber = byte;
    return value;
}

std::string PnmReader::place() const {
    return "row " + std::to_string(row + 1) + " of " + std::to_string(described.height);
}

void PnmReader::read(std::byte* to) {
    if (isPlain) {
        readPlain(to);
    } else {
        if (source.read(line.data(), line.size()) != line.size()) {
            throw Failure("ends in " + place() + "; fetch or make it again");
        }
        isBitmap ? readBits(to) : readRaw(to);
    }
    ++row;
}

void PnmReader::putSample(std::byte* to, std::size_t place, std::uint32_t sample) const {
    if (sample > maxval) {
        throw Failure("has the sample " + std::to_string(sample) + " above its maxval " + std::to_string(maxval) +
                      " in " + this->place() + "; correct the maxval");
    }
    if (described.bytesPerSample() == 2) {
        reinterpret_cast<std::uint16_t*>(to)[place] = static_cast<std::uint16_t>(sample);
    } else {
        to[place] = static_cast<std::byte>(sample);
    }
}

// Of bitmaps each digit is a sample, with or without space.
void PnmReader::readPlain(std::byte* to) {
    const std::size_t samples = std::size_t{described.width} * stored;
    for (std::size_t i = 0; i < samples; ++i) {
        const int first = skipSpace();
        if (first < 0) {
            throw Failure("ends in " + place() + "; fetch or make it again");
        }
        if (isBitmap) {
            if (first != '0' && first != '1') {
                throw Failure("has something else than 0 and 1 in " + place());
            }
            putSample(to, i, first == '0' ? 1 : 0);
            continue;
        }
        putSample(to, i, numberFrom(first, "sample"));
        if (behindNumber >= 0 && !isSpace(behindNumber)) {
            throw Failure("has something else than numbers in " + place());
        }
    }
}

void PnmReader::readBits(std::byte* to) {
    for (std::size_t x = 0; x < described.width; ++x) {
        const unsigned black = std::to_integer<unsigned>(line[x / 8]) >> (7 - x % 8) & 1U;
        to[x] = static_cast<std::byte>(1 - black);
    }
}

// Most significant byte first. Alpha, the last channel, stays behind.
void PnmReader::readRaw(std::byte* to) {
    const std::size_t channels = described.channels();
    const std::size_t bytes = described.bytesPerSample();
    for (std::size_t x = 0; x < described.width; ++x) {
        for (std::size_t c = 0; c < channels; ++c) {
            const std::byte* const sample = line.data() + (x * stored + c) * bytes;
            const auto first = std::to_integer<std::uint32_t>(sample[0]);
            putSample(to, x * channels + c,
                      bytes == 1 ? first : first << 8 | std::to_integer<std::uint32_t>(sample[1]));
        }
    }
}

void PnmReader::finish() {
    const int byte = isPlain ? skipSpace() : source.get();
    if (byte >= 0) {
        throw Failure("goes on behind its last row; take it apart with pamsplit, or correct its sides");
    }
}

} // namespace tekoimg

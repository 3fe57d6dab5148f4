// SPDX-License-Identifier: Apache-2.0
// An image that comes row by row, and one that goes row by row, whatever the format.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <teko/teko.hpp>
#include <utility>
#include <vector>

namespace tekoimg {

using Names = std::vector<std::string>;

/**
 * Rows are packed, samples of 16 bits in the order of this machine. Constructors read the header, and throw Failure
 * where there is no image or one that no .tk can hold.
 */
class ImageReader {
public:
    virtual ~ImageReader() = default;

    // Packed, in the order of this machine.
    const teko::Image& image() const { return described; }
    // What the file has and a .tk has not, in words; complete after finish().
    const Names& losses() const { return notHeld; }
    // "PNG"
    const std::string& format() const { return name; }
    std::size_t rowBytes() const {
        return std::size_t{described.width} * described.channels() * described.bytesPerSample();
    }

    // The next row. Throws Failure where it is damaged or missing.
    virtual void read(std::byte* row) = 0;
    // After the last row: whether the file ends as it has to.
    virtual void finish() {}

protected:
    explicit ImageReader(std::string itsName) : name(std::move(itsName)) {}
    void lose(const std::string& what) { notHeld.push_back(what); }

    teko::Image described;

private:
    std::string name;
    Names notHeld;
};

// What a file to be made says of its samples.
struct Picture {
    teko::Image image;
    std::uint32_t maxval = 0; // 2^bits - 1, or less
};

// Memory that takes none until it is written to: a short file may claim to hold a large image.
using Room = std::unique_ptr<std::byte[]>;
inline Room roomOf(std::size_t bytes) {
    return Room(new std::byte[bytes]);
}

class ImageWriter {
public:
    virtual ~ImageWriter() = default;

    // What the .tk says and the format has no place for, in words.
    const Names& losses() const { return notHeld; }

    virtual void write(const std::byte* row) = 0;
    virtual void finish() = 0;

protected:
    Names notHeld;
};

// Throws Failure for sides that no .tk has.
void requireSides(const teko::Image& image);
// "768 x 512, RGB, 8 bits"
std::string shown(const teko::Image& image);

// The bits that hold 0 .. maxval.
inline std::uint32_t bitsFor(std::uint32_t maxval) {
    std::uint32_t bits = 1;
    while (bits < 32 && maxval >> bits != 0) {
        ++bits;
    }
    return bits;
}
inline std::uint32_t largestOf(std::uint32_t bits) {
    return (1U << bits) - 1;
}
inline std::uint32_t bitsOf(const teko::Image& image) {
    return image.bits != 0 ? image.bits : 8 * static_cast<std::uint32_t>(image.bytesPerSample());
}

} // namespace tekoimg

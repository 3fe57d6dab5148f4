// SPDX-License-Identifier: Apache-2.0
// The first image of a TIFF: grey of 8 and 16 bits and RGB of 8, in strips or tiles, in either order of bytes.
#pragma once

#include "image.hpp"
#include "source.hpp"
#include "tiffStream.hpp"

namespace tekoimg {

class TiffReader final : public ImageReader {
public:
    // The source stays for as long as the reader.
    explicit TiffReader(Source& source);

    void read(std::byte* row) override;
    void finish() override;

private:
    void describe();
    void setKind();
    void setBits();
    void nameLosses();
    std::uint32_t field(std::uint32_t tag, std::uint32_t otherwise) const;
    bool has(std::uint32_t tag) const;
    void readBand();
    void readTiles(std::uint16_t plane);
    void readStrip(std::uint16_t plane);
    void place(const std::byte* from, std::size_t fromPitch, std::size_t x, std::size_t columns, std::uint16_t plane);

    int descriptor;
    OpenTiff tiff;
    bool isTiled = false;
    bool isPlanar = false;
    bool isInverted = false;  // white is 0
    std::size_t stored = 1;   // channels in the file
    std::size_t bandRows = 0; // of a strip or of the tiles of a row
    std::size_t pieceBytes = 0;
    std::size_t row = 0;
    Room band;  // the rows that are read together, as they are given
    Room piece; // a strip or a tile
};

} // namespace tekoimg

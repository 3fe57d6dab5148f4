// SPDX-License-Identifier: Apache-2.0
// PBM, PGM and PPM, plain and raw, and PAM.
#pragma once

#include "image.hpp"
#include "source.hpp"

namespace tekoimg {

/**
 * Strict: a number is digits, a sample is at most the maxval, the file has every row and nothing behind the last one.
 * Of bitmaps, white becomes 1 and black 0, as PAM has it.
 */
class PnmReader final : public ImageReader {
public:
    // Begins at the P. The source stays for as long as the reader.
    explicit PnmReader(Source& itsSource);

    void read(std::byte* row) override;
    void finish() override;

private:
    void readPnmHeader(char kind);
    void readPamHeader();
    void readPamLine(const std::string& keyword, std::uint32_t& depth, std::string& type);
    void setSamples(std::uint32_t depth, const std::string& type);
    void describeMaxval();
    int skipSpace();
    std::uint32_t number(const char* what);
    std::uint32_t numberFrom(int first, const char* what);
    std::string word(int first);
    void skipComment();
    void endHeader();
    void readPlain(std::byte* row);
    void readBits(std::byte* row);
    void readRaw(std::byte* row);
    void putSample(std::byte* row, std::size_t place, std::uint32_t sample) const;
    std::string place() const;

    Source& source;
    bool isPlain = false;
    bool isBitmap = false;
    bool hasComment = false;
    int behindNumber = -1; // the byte that ended it
    std::uint32_t maxval = 0;
    std::uint32_t stored = 1; // channels in the file
    std::uint32_t row = 0;
    std::vector<std::byte> line;
};

} // namespace tekoimg

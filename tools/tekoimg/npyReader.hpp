// SPDX-License-Identifier: Apache-2.0
// Arrays of NumPy: uint8, uint16, int16 of shape (h, w) and uint8 of shape (h, w, 3).
#pragma once

#include "image.hpp"
#include "source.hpp"

namespace tekoimg {

class NpyReader final : public ImageReader {
public:
    // The source stays for as long as the reader.
    explicit NpyReader(Source& itsSource);

    void read(std::byte* row) override;
    void finish() override;

private:
    std::string header();
    void setType(const std::string& type);
    void setShape(const std::vector<std::uint32_t>& shape);

    Source& source;
    bool isSwapped = false;
    std::uint32_t row = 0;
};

} // namespace tekoimg

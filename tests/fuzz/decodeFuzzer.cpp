// SPDX-License-Identifier: Apache-2.0
// Any file at all as a coded one: both ways to decode it end as they have to, and alike.
#include "driver/runs.hpp"
#include "fuzz/input.hpp"
#include "support/fileHeaders.hpp"
#include "support/memoryFile.hpp"

#include <limits>
#include <new>

namespace teko::fuzz {

namespace {

constexpr int longestSide = 66;
constexpr int mostSamples = 1200;
constexpr int noMemory = -1;

struct End {
    int status = 0;
    int thrown = 0; // an integer, or noMemory
    Bytes raw = {};

    bool operator==(const End&) const = default;
};

bool isKnown(const FileHeader& header) {
    return header.bytesPerPixel >= 1 && header.bytesPerPixel <= 3;
}

long samplesIn(const FileHeader& header) {
    return static_cast<long>(header.xsize) * header.ysize;
}

bool isRefused(const FileHeader& header) {
    return samplesIn(header) > std::numeric_limits<std::int32_t>::max();
}

// Images that would take long become small ones; those that must be refused stay.
FileHeader limited(FileHeader header) {
    if (isRefused(header)) {
        return header;
    }
    header.xsize = static_cast<std::uint16_t>(header.xsize % (longestSide + 1));
    header.ysize = static_cast<std::uint16_t>(header.ysize % (longestSide + 1));
    const long samples = samplesIn(header) * (header.bytesPerPixel == 3 ? 3 : 1);
    header.ysize = static_cast<std::uint16_t>(samples > mostSamples ? header.ysize % 20 : header.ysize);
    return header;
}

// Bytes of the header that are missing stay so.
void limitSides(Bytes& file) {
    const FileHeader header = limited(headerOf(file));
    std::copy_n(bytesOf(header).begin(), std::min<std::size_t>(file.size(), FileHeader::bytes), file.begin());
}

End endOf(const std::string& coded, const NamedMemoryFile& output, StreamPlace place) {
    End end;
    const std::string raw = output.path();
    try {
        end.status = decompress(coded.c_str(), raw.c_str(), place);
    } catch (int thrown) {
        end.thrown = thrown;
    } catch (const std::bad_array_new_length&) {
        end.thrown = noMemory;
    }
    end.raw = output.content();
    return end;
}

// What does not depend on the coded bits.
void requirePrescribedEnd(const Bytes& file, const End& end) {
    const FileHeader header = headerOf(file);
    if (!header.isRecognized()) {
        require(end == End{1, 0, {}}, "a file of another kind is refused");
    } else if (!isKnown(header)) {
        require(end == End{}, "an unknown kind gives an empty file");
    } else if (isRefused(header)) {
        require(end == End{0, noMemory, {}}, "too many samples are refused");
    } else if (file.size() < FileHeader::bytes + 4) {
        require(end == End{0, 3, {}}, "a stream needs a word");
    } else {
        const auto bytes = static_cast<std::size_t>(samplesIn(header) * header.bytesPerPixel);
        require(end.status == 0 && end.thrown == 0 && end.raw.size() == bytes, "everything else is an image");
    }
}

} // namespace

} // namespace teko::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace teko;
    using namespace teko::fuzz;
    static const NamedMemoryFile coded;
    static const NamedMemoryFile raw;
    Bytes file(data, data + size);
    limitSides(file);
    coded.set(file);
    const End fromFile = endOf(coded.path(), raw, StreamPlace::file);
    const End fromMemory = endOf(coded.path(), raw, StreamPlace::memory);
    requirePrescribedEnd(file, fromFile);
    require(fromFile == fromMemory, "modes d and D are alike");
    return 0;
}

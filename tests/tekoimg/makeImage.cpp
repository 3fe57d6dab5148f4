// SPDX-License-Identifier: Apache-2.0
// makeImage KIND WIDTH HEIGHT FILE [EXPECTED]: writes an image of some kind, and as PNM the samples that it stands for.
// A kind is words between minus signs: png-16-interlaced, tiff-rgb-tiles-be, npy-u2-big-v2, pnm-5-1000.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <png.h>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tiffio.h>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

struct Wanted {
    std::set<std::string> words;
    unsigned width = 0;
    unsigned height = 0;
    unsigned channels = 1;
    unsigned maxval = 255;

    bool is(const std::string& word) const { return words.count(word) != 0; }
    unsigned bytes() const { return maxval > 255 ? 2 : 1; }
    // Smooth, with some noise in it.
    unsigned at(unsigned x, unsigned y, unsigned c) const {
        std::uint32_t scattered = (x * 73856093U) ^ (y * 19349663U) ^ (c * 83492791U);
        scattered = (scattered ^ scattered >> 13) * 0x9E3779B1U;
        const unsigned slope = (x * 3 + y * 5 + c * 40) % 256;
        return (slope * maxval / 255 + (scattered >> 24) * maxval / 4096) % (maxval + 1);
    }
};

void demand(bool holds, const char* what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

void save(const std::string& path, const Bytes& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    demand(file.flush().good(), "cannot write");
}

void append(Bytes& bytes, const std::string& text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}

void appendSample(Bytes& bytes, unsigned sample, unsigned width, bool isBigEndian) {
    for (unsigned i = 0; i < width; ++i) {
        bytes.push_back(static_cast<unsigned char>(sample >> 8 * (isBigEndian ? width - 1 - i : i) & 0xFF));
    }
}

// All samples, with further channels of a constant.
Bytes samplesOf(const Wanted& wanted, bool isBigEndian, unsigned further = 0) {
    Bytes bytes;
    for (unsigned y = 0; y < wanted.height; ++y) {
        for (unsigned x = 0; x < wanted.width; ++x) {
            for (unsigned c = 0; c < wanted.channels; ++c) {
                appendSample(bytes, wanted.at(x, y, c), wanted.bytes(), isBigEndian);
            }
            for (unsigned c = 0; c < further; ++c) {
                appendSample(bytes, wanted.maxval / 2, wanted.bytes(), isBigEndian);
            }
        }
    }
    return bytes;
}

Bytes rawPnm(const Wanted& wanted) {
    Bytes bytes;
    append(bytes, (wanted.channels == 3 ? "P6\n" : "P5\n") + std::to_string(wanted.width) + " " +
                      std::to_string(wanted.height) + "\n" + std::to_string(wanted.maxval) + "\n");
    const Bytes samples = samplesOf(wanted, true);
    bytes.insert(bytes.end(), samples.begin(), samples.end());
    return bytes;
}

void setPngExtras(const Wanted& wanted, png_structp png, png_infop info) {
    if (wanted.is("palette")) {
        png_color colours[256] = {};
        png_set_PLTE(png, info, colours, 256);
    }
    if (wanted.is("meta")) {
        char key[] = "Title";
        char value[] = "a test";
        png_text text = {};
        text.compression = PNG_TEXT_COMPRESSION_NONE;
        text.key = key;
        text.text = value;
        png_set_gAMA(png, info, 0.5);
        png_set_pHYs(png, info, 3000, 3000, PNG_RESOLUTION_METER);
        png_set_text(png, info, &text, 1);
    }
    if (wanted.is("chunks")) {
        png_byte some[1] = {};
        png_unknown_chunk chunks[2] = {{"acTL", some, 1, PNG_HAVE_IHDR}, {"teSt", some, 1, PNG_HAVE_IHDR}};
        png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_ALWAYS, nullptr, 0);
        png_set_unknown_chunks(png, info, chunks, 2);
    }
}

void makePng(const Wanted& wanted, const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    demand(file != nullptr, "cannot open");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    const bool hasAlpha = wanted.is("alpha");
    const int colour = (wanted.channels == 3 ? PNG_COLOR_MASK_COLOR : 0) | (hasAlpha ? PNG_COLOR_MASK_ALPHA : 0);
    int depth = 1;
    while ((1U << depth) - 1 < wanted.maxval) {
        ++depth;
    }
    png_set_IHDR(png, info, wanted.width, wanted.height, depth, wanted.is("palette") ? PNG_COLOR_TYPE_PALETTE : colour,
                 wanted.is("interlaced") ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    setPngExtras(wanted, png, info);
    png_write_info(png, info);
    png_set_packing(png);
    Bytes samples = samplesOf(wanted, true, hasAlpha ? 1 : 0);
    std::vector<png_bytep> rows(wanted.height);
    for (unsigned y = 0; y < wanted.height; ++y) {
        rows[y] = samples.data() + y * (samples.size() / wanted.height);
    }
    png_write_image(png, rows.data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    demand(std::fclose(file) == 0, "cannot write");
}

void setTiffFields(const Wanted& wanted, TIFF* tiff, unsigned further) {
    const bool isWide = wanted.bytes() == 2 || wanted.is("12");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, wanted.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, wanted.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, isWide ? 16 : 8);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, wanted.channels + further);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, wanted.is("planar") ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC,
                 wanted.is("white")     ? PHOTOMETRIC_MINISWHITE
                 : wanted.is("cmyk")    ? PHOTOMETRIC_SEPARATED
                 : wanted.is("palette") ? PHOTOMETRIC_PALETTE
                 : wanted.channels == 3 ? PHOTOMETRIC_RGB
                                        : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, wanted.is("lzw") ? COMPRESSION_LZW : COMPRESSION_NONE);
    if (further > 0) {
        const std::uint16_t alpha = EXTRASAMPLE_UNASSALPHA;
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &alpha);
    }
    if (wanted.is("12")) {
        TIFFSetField(tiff, TIFFTAG_MAXSAMPLEVALUE, 4095);
    }
    if (wanted.is("wrongmaximum")) {
        TIFFSetField(tiff, TIFFTAG_MAXSAMPLEVALUE, 100);
    }
    if (wanted.is("signed") || wanted.is("float")) {
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, wanted.is("float") ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_INT);
    }
    if (wanted.is("meta")) {
        TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_RIGHTTOP);
        TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 300.0);
        TIFFSetField(tiff, TIFFTAG_ICCPROFILE, 4, "fake");
        TIFFSetField(tiff, TIFFTAG_SOFTWARE, "a test");
    }
}

// Columns and rows from there, of all channels or one; what is beyond the image is 0.
Bytes region(const Wanted& wanted, unsigned x0, unsigned y0, unsigned columns, unsigned rows, int plane,
             unsigned further) {
    Bytes bytes;
    for (unsigned y = y0; y < y0 + rows; ++y) {
        for (unsigned x = x0; x < x0 + columns; ++x) {
            for (unsigned c = 0; c < wanted.channels + further; ++c) {
                if (plane < 0 || static_cast<unsigned>(plane) == c) {
                    const bool isInside = x < wanted.width && y < wanted.height && c < wanted.channels;
                    const unsigned sample = isInside ? wanted.at(x, y, c) : 0;
                    // libtiff takes the order of the machine and makes that of the file.
                    const auto word = static_cast<std::uint16_t>(sample);
                    const auto* const half = reinterpret_cast<const unsigned char*>(&word);
                    wanted.bytes() == 2 ? bytes.insert(bytes.end(), half, half + 2)
                                        : bytes.insert(bytes.end(), static_cast<unsigned char>(sample));
                }
            }
        }
    }
    return bytes;
}

void writeTiffSamples(const Wanted& wanted, TIFF* tiff, unsigned further) {
    const unsigned tile = 32;
    const unsigned strip = 13;
    if (wanted.is("tiles")) {
        TIFFSetField(tiff, TIFFTAG_TILEWIDTH, tile);
        TIFFSetField(tiff, TIFFTAG_TILELENGTH, tile);
    } else {
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, strip);
    }
    const int planes = wanted.is("planar") ? static_cast<int>(wanted.channels) : 1;
    for (int plane = 0; plane < planes; ++plane) {
        const int only = wanted.is("planar") ? plane : -1;
        for (unsigned y = 0; y < wanted.height; y += wanted.is("tiles") ? tile : strip) {
            if (!wanted.is("tiles")) {
                Bytes bytes = region(wanted, 0, y, wanted.width, std::min(strip, wanted.height - y), only, further);
                const auto number = TIFFComputeStrip(tiff, y, static_cast<std::uint16_t>(plane));
                demand(TIFFWriteEncodedStrip(tiff, number, bytes.data(), static_cast<tmsize_t>(bytes.size())) >= 0,
                       "cannot write");
                continue;
            }
            for (unsigned x = 0; x < wanted.width; x += tile) {
                Bytes bytes = region(wanted, x, y, tile, tile, only, further);
                demand(TIFFWriteTile(tiff, bytes.data(), x, y, 0, static_cast<std::uint16_t>(plane)) >= 0,
                       "cannot write");
            }
        }
    }
}

void makeTiff(const Wanted& wanted, const std::string& path) {
    TIFF* const tiff = TIFFOpen(path.c_str(), wanted.is("be") ? "wb" : "wl");
    demand(tiff != nullptr, "cannot open");
    const unsigned further = wanted.is("alpha") || wanted.is("cmyk") ? 1 : 0;
    for (int page = 0; page < (wanted.is("pages") ? 2 : 1); ++page) {
        setTiffFields(wanted, tiff, further);
        writeTiffSamples(wanted, tiff, further);
        demand(TIFFWriteDirectory(tiff) != 0, "cannot write");
    }
    TIFFClose(tiff);
}

void makeNpy(const Wanted& wanted, const std::string& path) {
    const bool isBig = wanted.is("big");
    const std::string type = wanted.is("f4")   ? "<f4"
                             : wanted.is("u1") ? "|u1"
                                               : std::string(isBig ? ">" : "<") + (wanted.is("i2") ? "i2" : "u2");
    std::string text = "{'descr': '" + type + "', 'fortran_order': " + (wanted.is("fortran") ? "True" : "False") +
                       ", 'shape': (" + std::to_string(wanted.height) + ", " + std::to_string(wanted.width) +
                       (wanted.channels == 3 ? ", 3" : "") + "), }";
    const unsigned before = wanted.is("v2") ? 12 : 10;
    text.resize((before + text.size() + 1 + 63) / 64 * 64 - before - 1, ' ');
    text += '\n';
    Bytes bytes;
    append(bytes, "\x93NUMPY");
    bytes.push_back(wanted.is("v2") ? 2 : 1);
    bytes.push_back(0);
    appendSample(bytes, static_cast<unsigned>(text.size()), before - 8, false);
    append(bytes, text);
    const Bytes samples = samplesOf(wanted, isBig);
    bytes.insert(bytes.end(), samples.begin(), samples.end());
    save(path, bytes);
}

void makePnm(const Wanted& wanted, const std::string& path) {
    if (wanted.is("5") || wanted.is("6")) {
        save(path, rawPnm(wanted));
        return;
    }
    Bytes bytes;
    const std::string sides = std::to_string(wanted.width) + " " + std::to_string(wanted.height) + "\n";
    if (wanted.is("7")) {
        const bool hasAlpha = wanted.is("alpha");
        append(bytes, "P7\nWIDTH " + std::to_string(wanted.width) + "\nHEIGHT " + std::to_string(wanted.height) +
                          "\nDEPTH " + std::to_string(wanted.channels + (hasAlpha ? 1 : 0)) + "\nMAXVAL " +
                          std::to_string(wanted.maxval) + "\nTUPLTYPE " + (wanted.channels == 3 ? "RGB" : "GRAYSCALE") +
                          (hasAlpha ? "_ALPHA" : "") + "\nENDHDR\n");
        const Bytes samples = samplesOf(wanted, true, hasAlpha ? 1 : 0);
        bytes.insert(bytes.end(), samples.begin(), samples.end());
        save(path, bytes);
        return;
    }
    const bool isBitmap = wanted.is("1");
    append(bytes, (isBitmap               ? "P1\n# a comment\n"
                   : wanted.channels == 3 ? "P3\n"
                                          : "P2\n") +
                      sides + (isBitmap ? "" : std::to_string(wanted.maxval) + "\n"));
    for (unsigned y = 0; y < wanted.height; ++y) {
        for (unsigned i = 0; i < wanted.width * wanted.channels; ++i) {
            const unsigned sample = wanted.at(i / wanted.channels, y, i % wanted.channels);
            append(bytes, isBitmap ? std::to_string(1 - sample) : std::to_string(sample) + (i % 9 == 8 ? "\n" : " "));
        }
        append(bytes, "\n");
    }
    save(path, bytes);
}

Wanted wantedBy(const std::string& kind, const char* width, const char* height) {
    Wanted wanted;
    std::istringstream words(kind);
    for (std::string word; std::getline(words, word, '-');) {
        wanted.words.insert(word);
        const unsigned number = static_cast<unsigned>(std::atoi(word.c_str()));
        const bool isPnm = wanted.is("pnm");
        if (isPnm && number > 7) {
            wanted.maxval = number;
        } else if (!isPnm && number > 0) {
            wanted.maxval = (1U << number) - 1;
        }
    }
    wanted.maxval = wanted.is("pnm") && wanted.is("1") ? 1 : wanted.is("u2") || wanted.is("i2") ? 65535 : wanted.maxval;
    wanted.channels = wanted.is("rgb") || wanted.is("cmyk") ? 3 : 1;
    wanted.width = static_cast<unsigned>(std::atoi(width));
    wanted.height = static_cast<unsigned>(std::atoi(height));
    return wanted;
}

} // namespace

int main(int argc, char** argv) {
    try {
        demand(argc == 5 || argc == 6, "usage: makeImage KIND WIDTH HEIGHT FILE [EXPECTED]");
        const Wanted wanted = wantedBy(argv[1], argv[2], argv[3]);
        if (wanted.is("png")) {
            makePng(wanted, argv[4]);
        } else if (wanted.is("tiff")) {
            makeTiff(wanted, argv[4]);
        } else if (wanted.is("npy")) {
            makeNpy(wanted, argv[4]);
        } else {
            makePnm(wanted, argv[4]);
        }
        if (argc == 6) {
            save(argv[5], rawPnm(wanted));
        }
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "makeImage: %s\n", failure.what());
        return 1;
    }
}

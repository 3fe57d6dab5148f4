// SPDX-License-Identifier: Apache-2.0
// One codec on one image in one direction, so that the memory of the process is that codec's.
// usage: comparePeers                                                     lists name and setting of the codecs
//        comparePeers LIST IMAGE CODEC encode|decode CODED REPETITIONS    encode writes the file CODED, decode reads it
//
// Prints one line, tab-separated: CODEC IMAGE KIND DIRECTION, bytes raw, bytes coded, pixels, peak memory of the
// process in KiB, then the processor time of each repetition in nanoseconds. A warm-up repetition is left out. Only
// CODEC IMAGE KIND DIRECTION and n/a when the codec does not take the image. Decoding is checked against the image.
#include "bench/memoryCodec.hpp"
#include "bench/peers/codec.hpp"
#include "bench/stopwatch.hpp"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace teko::bench {

namespace {

Bytes copyFrom(const ImageEntry&, ByteView raw) {
    Bytes copy(raw.size());
    copy.append(raw.data(), raw.size());
    return copy;
}

void copyBack(const ImageEntry&, ByteView coded, std::span<unsigned char> raw) {
    std::memcpy(raw.data(), coded.data(), coded.size());
}

const PeerCodec teko{"teko", "lossless", &takesEverything, &encodeWhole, &decodeWhole};
const PeerCodec copy{"copy", "a copy of the raw bytes: the memory that no codec can go below", &takesEverything,
                     &copyFrom, &copyBack};

const PeerCodec* const codecs[] = {&teko,           &openJpegCodec, &charLsCodec, &libjxlCodec, &libpngCodec,
                                   &libpngSubCodec, &webpCodec,     &zstdCodec,   &copy};

const PeerCodec& codecNamed(const std::string& name) {
    for (const PeerCodec* codec : codecs) {
        if (name == codec->name) {
            return *codec;
        }
    }
    throw std::runtime_error("no such codec: " + name);
}

ImageEntry imageNamed(const std::string& name, const std::string& list) {
    for (const ImageEntry& entry : readImageList(list)) {
        if (name == entry.name) {
            return entry;
        }
    }
    throw std::runtime_error("no such image: " + name);
}

struct Measurement {
    std::size_t codedBytes = 0;
    std::int64_t peakKibibytes = 0;
    std::vector<double> seconds;
};

// Of this program alone: what getrusage tells is at least that of the process that started it.
std::int64_t peakKibibytes() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        std::int64_t value = 0;
        if (word == "VmHWM:" && status >> value) {
            return value;
        }
    }
    throw std::runtime_error("the system does not tell the peak of memory");
}

Measurement measureEncoder(const PeerCodec& codec, const ImageEntry& entry, const std::string& codedPath,
                           int repetitions) {
    const std::vector<unsigned char> raw = readRaw(entry);
    Measurement result;
    Bytes coded = codec.encode(entry, raw);
    for (int i = 0; i < repetitions; ++i) {
        coded = Bytes();
        result.seconds.push_back(processorSecondsOf([&] { coded = codec.encode(entry, raw); }));
    }
    result.peakKibibytes = peakKibibytes();
    result.codedBytes = coded.size;
    std::ofstream file(codedPath, std::ios::binary);
    file.write(reinterpret_cast<const char*>(coded.view().data()), static_cast<std::streamsize>(coded.size));
    require(file.flush().good(), "the coded file cannot be written");
    return result;
}

Measurement measureDecoder(const PeerCodec& codec, const ImageEntry& entry, const std::string& codedPath,
                           int repetitions) {
    const std::vector<unsigned char> coded = readBytes(codedPath);
    std::vector<unsigned char> raw(entry.rawBytes());
    Measurement result;
    codec.decode(entry, coded, raw);
    for (int i = 0; i < repetitions; ++i) {
        std::fill(raw.begin(), raw.end(), static_cast<unsigned char>(0));
        result.seconds.push_back(processorSecondsOf([&] { codec.decode(entry, coded, raw); }));
    }
    result.peakKibibytes = peakKibibytes();
    result.codedBytes = coded.size();
    require(raw == readRaw(entry), "the image did not come back");
    return result;
}

void listCodecs() {
    for (const PeerCodec* codec : codecs) {
        std::printf("%s\t%s\n", codec->name, codec->setting);
    }
}

void compareOne(char** argv) {
    const ImageEntry entry = imageNamed(argv[2], argv[1]);
    const PeerCodec& codec = codecNamed(argv[3]);
    const std::string direction = argv[4];
    const int repetitions = std::atoi(argv[6]);
    require(direction == "encode" || direction == "decode", "direction: encode or decode");
    require(repetitions > 0, "repetitions: one or more");
    std::printf("%s\t%s\t%s\t%s", codec.name, entry.name.c_str(), entry.kind(), direction.c_str());
    if (!codec.takes(entry)) {
        std::puts("\tn/a");
        return;
    }
    const Measurement result = direction == "encode" ? measureEncoder(codec, entry, argv[5], repetitions)
                                                     : measureDecoder(codec, entry, argv[5], repetitions);
    std::printf("\t%zu\t%zu\t%zu\t%ld", entry.rawBytes(), result.codedBytes, entry.pixels(), result.peakKibibytes);
    for (const double seconds : result.seconds) {
        std::printf("\t%.0f", 1e9 * seconds);
    }
    std::puts("");
}

} // namespace

} // namespace teko::bench

int main(int argc, char** argv) {
    try {
        if (argc == 1) {
            teko::bench::listCodecs();
        } else if (argc == 7) {
            teko::bench::compareOne(argv);
        } else {
            std::fputs("usage: comparePeers [LIST IMAGE CODEC encode|decode CODED REPETITIONS]\n", stderr);
            return 1;
        }
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "comparePeers: %s\n", error.what());
        return 1;
    }
}

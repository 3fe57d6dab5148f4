// SPDX-License-Identifier: Apache-2.0
#include "library/trials.hpp"

#include "codec/imageDecoder.hpp"
#include "codec/imageEncoder.hpp"
#include "library/layoutRows.hpp"

#include <algorithm>
#include <new>

namespace teko::library {

namespace {

// Rows that are compared with those of an image as they come.
class ComparingSink final : public RowSink {
public:
    ComparingSink(const ImageLayout& layout, const void* samples)
        : original(layout), bytes(layout.rowBytes()), row(takeArray<unsigned char>(bytes)) {
        original.startAt(samples);
    }

    unsigned char* next() override {
        compare();
        isFilled = true;
        return row.get();
    }
    bool finish() override {
        compare();
        return true;
    }
    bool isEqual() const { return equal; }

private:
    void compare() { equal = equal && (!isFilled || std::equal(row.get(), row.get() + bytes, original.next())); }

    LayoutSource original;
    std::size_t bytes;
    TakenArray<unsigned char> row;
    bool isFilled = false;
    bool equal = true;
};

// One row on its way from a decoder to an encoder.
class GivenRow final : public RowSource {
public:
    explicit GivenRow(const unsigned char* itsBytes) : bytes(itsBytes) {}
    const unsigned char* next() override { return bytes; }

private:
    const unsigned char* bytes;
};
class TakenRow final : public RowSink {
public:
    explicit TakenRow(unsigned char* itsBytes) : bytes(itsBytes) {}
    unsigned char* next() override { return bytes; }
    bool finish() override { return true; }

private:
    unsigned char* bytes;
};

void demand(Status status) {
    if (status == Status::outOfMemory) {
        throw std::bad_alloc();
    }
}

} // namespace

bool decodesTo(const ImageLayout& layout, const void* samples, Target target, const unsigned char* file,
               std::size_t size) {
    ByteStreamer in;
    in.setUpMemoryReader(file + FileHeader::bytes, static_cast<std::int64_t>(size - FileHeader::bytes));
    ComparingSink rows(layout, samples);
    const Status status = decodeImage(layout.header(), target, in, rows);
    demand(status);
    return status == Status::ok && rows.isEqual();
}

bool isMadeFromWhatItDecodesTo(const FileHeader& header, Target target, const unsigned char* file, std::size_t size) {
    const auto payload = static_cast<std::int64_t>(size - FileHeader::bytes);
    ByteStreamer in;
    in.setUpMemoryReader(file + FileHeader::bytes, payload);
    ImageDecoder decoder(header, target);
    demand(decoder.prepare());
    demand(decoder.read(in));
    demand(decoder.transform());
    ImageEncoder encoder(header, target);
    demand(encoder.prepare());
    const auto row = takeArray<unsigned char>(header.rowBytes());
    TakenRow taken(row.get());
    GivenRow given(row.get());
    while (decoder.rowsLeft() > 0) {
        demand(decoder.write(taken, 1));
        demand(encoder.read(given, 1));
    }
    demand(encoder.transform());
    const TakenArray<unsigned char> again = takeArray<unsigned char>(static_cast<std::size_t>(payload));
    ByteStreamer out;
    out.setUpMemoryWriter(again.get(), payload);
    const Status status = encoder.write(out);
    demand(status);
    return status == Status::ok && (out.bitCount() + 31) / 32 * 4 == payload &&
           std::equal(again.get(), again.get() + payload, file + FileHeader::bytes);
}

} // namespace teko::library

// SPDX-License-Identifier: Apache-2.0
// The encoder of an image, from raw rows to the coded stream behind a file's header. The driver takes its steps one by
// one, to say what it is doing; the library does, to be given rows in portions; benchmarks call encodeImage.
//
// An encoder opens nothing, prints nothing, and knows of no global: two of them may run at once, on different threads.
#pragma once

#include "codec/fileHeader.hpp"
#include "codec/status.hpp"
#include "coding/bitStreamer.hpp"
#include "image/rows.hpp"
#include "target/target.hpp"

#include <cstdint>
#include <memory>

namespace teko {

// One image on its way into a stream. The steps are taken once each in the order of their declarations, as long as they
// end with Status::ok: prepare, read (for all rows, or in portions), transform, code where a caller wants the length
// early, write. Raw rows are those of a raw file: pixel by pixel, samples of two bytes with the least significant
// first.
class ImageEncoder {
public:
    // `target` must be runnable. Allocates nothing and judges nothing.
    ImageEncoder(const FileHeader& header, Target target);
    ~ImageEncoder();
    ImageEncoder(ImageEncoder&&) noexcept;
    ImageEncoder& operator=(ImageEncoder&&) noexcept;

    // Takes the memory of the image: 2 bytes a sample, 4 for samples of two bytes, 8 in the plain way. Ends with
    // unknownKind, tooThin, tooLarge or outOfMemory.
    Status prepare();
    // Takes all rows that are left; many images are transformed on the way. Ends with sourceEnded or outOfMemory.
    Status read(RowSource& rows);
    // Takes the next `count` rows, 0 to rowsLeft(). Ends with sourceEnded or outOfMemory.
    Status read(RowSource& rows, int count);
    // Rows of the image that have not been taken.
    int rowsLeft() const { return header.ysize - rowsDone; }
    // Transforms whatever reading has left to transform, colours included. Ends with outOfMemory.
    Status transform();
    // After transform and before write: whether it is proved that the whole stream decodes to the samples. Where it is
    // not proved it may still do so.
    bool isReversible() const;
    // May come before write: codes as much as a memory writer of `bytes` bytes takes. Ends with outOfRange or
    // outOfMemory. A writer of that room, or of the length that codedBits tells, is what write has to be given then.
    Status code(std::uint64_t bytes);
    // After code: bits of the stream; some number above 8 * `bytes` where it is longer than that; 0 where the way
    // through the codec does not tell, and before code.
    std::uint64_t codedBits() const { return bits; }
    // Appends the coded stream to a writer and flushes that. Ends with cut where the writer takes no more, which is how
    // a byte budget ends a stream, or with outOfRange or outOfMemory.
    Status write(BitStreamer& out);
    Status write(ByteStreamer& out);

private:
    class Way;
    template <typename T>
    class ByRows;
    template <typename T>
    class ByColumns;
    template <typename T>
    class ByPlanes;

    template <typename T>
    std::unique_ptr<Way> makeWay(int channels) const;

    FileHeader header;
    Target target;
    std::unique_ptr<Way> way;
    int rowsDone = 0;
    std::uint64_t bits = 0; // of the stream, once coded
};

// Takes all steps, from the rows of a source to a writer that has been set up. Ends as the first step does that fails,
// with cut where the writer takes no more, else with ok.
template <typename Stream>
Status encodeImage(const FileHeader& header, Target target, RowSource& rows, Stream& out) {
    ImageEncoder encoder(header, target);
    Status status = encoder.prepare();
    if (status == Status::ok) {
        status = encoder.read(rows);
    }
    if (status == Status::ok) {
        status = encoder.transform();
    }
    return status == Status::ok ? encoder.write(out) : status;
}

// Bytes of the coded stream in a memory writer of `budget` bytes that has been written to, to the end of the stream or
// to that of the memory: a partial word that found no room does not count.
template <typename Word>
std::uint64_t payloadBytes(const BasicBitStreamer<Word>& out, std::uint64_t budget) {
    const auto bytes = static_cast<std::uint64_t>((out.bitCount() + 7) / 8);
    return bytes < budget ? bytes : budget;
}

} // namespace teko

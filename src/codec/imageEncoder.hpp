// SPDX-License-Identifier: Apache-2.0
// The encoder of an image, from raw rows to the coded stream behind a file's header.
//
// It opens nothing, prints nothing, and knows of no global: two of them may run at once, on different threads.
#pragma once

#include "codec/fileHeader.hpp"
#include "codec/status.hpp"
#include "coding/bitStreamer.hpp"
#include "image/rows.hpp"
#include "target/target.hpp"

#include <cstdint>
#include <memory>

namespace teko {

// Images one sample wide or high have no wavelet decomposition and no place in the coded stream.
bool isTooThin(const FileHeader& header);

// Its steps are taken once each, in this order, as long as they end with Status::ok. encodeImage takes them all.
class ImageEncoder {
public:
    ImageEncoder(const FileHeader& header, Target target);
    ~ImageEncoder();
    ImageEncoder(ImageEncoder&&) noexcept;
    ImageEncoder& operator=(ImageEncoder&&) noexcept;

    // Takes the memory of the image: 2 bytes a sample, 4 for samples of two bytes, 8 in the plain way. Ends with
    // unknownKind, tooThin, tooLarge or outOfMemory.
    Status prepare();
    // Takes all rows that are left; many images are transformed on the way. Ends with sourceEnded or outOfMemory.
    Status read(RowSource& rows);
    // The same with as many, of those that are left.
    Status read(RowSource& rows, int count);
    int rowsLeft() const { return header.ysize - rowsDone; }
    // Whatever is left to transform, colours included. Ends with outOfMemory.
    Status transform();
    // Then, before write: whether it is proved that the whole stream decodes to the samples. Where not, it may do so or
    // not.
    bool isReversible() const;
    // May come before write: codes as much as a memory writer of so many bytes takes. Ends with outOfRange or
    // outOfMemory. Then codedBits is the length of the stream, or where it is longer than those bytes some number above
    // their bits; 0 where the way through the codec does not tell. A writer of that room, or of the length, is what
    // write has to be given.
    Status code(std::uint64_t bytes);
    std::uint64_t codedBits() const { return bits; }
    // Appends the coded stream to a writer and flushes it. Ends with cut where the writer takes no more, which is how a
    // byte budget ends a stream, or with outOfRange or outOfMemory.
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

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// The decoder of an image, from the coded stream behind a file's header to raw rows. The driver takes its steps one by
// one, to say what it is doing; the library does, to give rows in portions; its trials call decodeImage.
//
// A decoder opens nothing, prints nothing, and knows of no global: two of them may run at once, on different threads.
#pragma once

#include "codec/fileHeader.hpp"
#include "codec/status.hpp"
#include "coding/bitStreamer.hpp"
#include "coding/codedStream.hpp"
#include "image/rows.hpp"
#include "target/target.hpp"

#include <memory>

namespace teko {

// One image on its way out of a stream. The steps are taken once each in the order of their declarations, as long as
// they end with Status::ok or Status::cut: prepare, read, transform, write (for all rows, or in portions). Raw rows are
// those of a raw file: pixel by pixel, samples of two bytes with the least significant first.
class ImageDecoder {
public:
    // `target` must be runnable. Each side of the result is reducedSide(side, halvings), and halvings are at most as
    // many as the image has levels. Allocates nothing and judges nothing.
    ImageDecoder(const FileHeader& header, Target target, int halvings = 0);
    ~ImageDecoder();
    ImageDecoder(ImageDecoder&&) noexcept;
    ImageDecoder& operator=(ImageDecoder&&) noexcept;

    // Takes the memory of the image, and touches none of it. Ends with unknownKind, tooLarge or outOfMemory.
    Status prepare();
    // Reads the coded stream from a reader that has been set up behind the header. Ends with cut where it ended early,
    // with noStream where there was not even a top plane, or with outOfMemory.
    Status read(BitStreamer& in);
    Status read(ByteStreamer& in);
    // After read: whether the stream says what no encoder writes: a top plane that no image of that shape and kind has,
    // or other run-length parameters than those that encoders choose.
    bool contradictsItself() const { return findings.contradictsItself; }
    // Transforms back whatever can be before rows are asked for, colours included. The stream, and memory that it lies
    // in, is not needed from here on. Ends with outOfMemory.
    Status transform();
    // Hands all rows on that are left. Samples of a stream that was cut are brought into 0 .. 2^bits - 1, those of a
    // reduced image into 8 (16) bits; else the low 8 (16) bits of each are taken. Ends with sinkFull or outOfMemory.
    Status write(RowSink& rows);
    // Hands the next `count` rows on, 0 to rowsLeft(), and does not tell the sink when there are no more. Samples come
    // out as if all rows were written at once. Ends with sinkFull or outOfMemory.
    Status write(RowSink& rows, int count);
    // Rows of the result that have not been handed on.
    int rowsLeft() const;

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
    template <typename Stream>
    Status readFrom(Stream& in);
    std::unique_ptr<Way> makeWayByPlanes() const;
    bool isUsual(int topPlane) const;

    FileHeader header;
    Target target;
    int halvings;
    std::unique_ptr<Way> way;
    StreamFindings findings;
    int rowsDone = 0;
};

// Takes all steps, from a reader that has been set up to the rows of a sink. Ends as the first step does that fails;
// with cut, and all rows handed on, where the stream ended early; else with ok.
template <typename Stream>
Status decodeImage(const FileHeader& header, Target target, Stream& in, RowSink& rows) {
    ImageDecoder decoder(header, target);
    Status status = decoder.prepare();
    if (status != Status::ok) {
        return status;
    }
    const Status read = decoder.read(in);
    if (read != Status::ok && read != Status::cut) {
        return read;
    }
    status = decoder.transform();
    if (status == Status::ok) {
        status = decoder.write(rows);
    }
    return status == Status::ok ? read : status;
}

} // namespace teko

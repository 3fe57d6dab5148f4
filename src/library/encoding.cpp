// SPDX-License-Identifier: Apache-2.0
#include "library/encoding.hpp"

#include "codec/imageDecoder.hpp"
#include "library/bounds.hpp"

#include <cstdlib>
#include <limits>

namespace teko::library {

namespace {

constexpr std::uint64_t bitsOfWord = 32;

std::uint64_t wordsOf(std::uint64_t bits) {
    return (bits + bitsOfWord - 1) / bitsOfWord;
}

// The most bytes of the file that options ask for; 0 where they ask for none.
std::size_t wantedBytes(const ImageLayout& layout, const CallOptions& options) {
    if (options.goal == TEKO_TO_RATE) {
        return budgetAtRate(layout, options.rate);
    }
    constexpr std::uint64_t addressable = std::numeric_limits<std::ptrdiff_t>::max();
    const auto bound = static_cast<std::size_t>(std::min(fileBound(layout), addressable));
    return options.goal == TEKO_TO_BYTES ? std::min(options.bytes, bound) : bound;
}

// The memory of a file until it is the caller's: given back where the file does not come about, unless it is a place
// that the caller has for the file.
class OwnedFile {
public:
    explicit OwnedFile(CallerMemory& callerMemory) : memory(callerMemory) {}
    // Takes charge of `bytes` bytes at `file` that handTo has handed over.
    OwnedFile(CallerMemory& callerMemory, void* file, std::size_t bytes)
        : memory(callerMemory), capacity(bytes), data(static_cast<unsigned char*>(file)) {}
    ~OwnedFile() { release(); }
    OwnedFile(const OwnedFile&) = delete;
    OwnedFile& operator=(const OwnedFile&) = delete;

    // Takes memory, which the file may not fill. Returns null where there is none.
    unsigned char* take(std::size_t bytes) {
        capacity = bytes;
        data = allocate(bytes);
        return data;
    }
    // Takes memory, or the caller's place, for a file that is known to have that size. Returns null where there is
    // none.
    unsigned char* takeExactly(std::size_t bytes) {
        if (!memory.hasPlaces()) {
            return take(bytes);
        }
        isPlaced = true;
        capacity = bytes;
        data = static_cast<unsigned char*>(memory.place(bytes));
        return data;
    }

    // Hands the memory over with a file of that size in it, and no more than that where less can be had. Returns false
    // where the caller has no place for the file.
    bool handTo(teko_buffer& file, std::size_t size) {
        if (memory.hasPlaces() && !isPlaced && !move(size)) {
            return false;
        }
        if (size != capacity) {
            shrink(size);
        }
        file.data = data;
        file.capacity = capacity;
        file.size = size;
        data = nullptr;
        return true;
    }

private:
    static constexpr std::size_t alignment = alignof(std::max_align_t);

    unsigned char* allocate(std::size_t bytes) {
        MemoryProvider* const provider = memory.provider();
        return static_cast<unsigned char*>(provider != nullptr ? provider->allocate(bytes, alignment)
                                                               : std::malloc(bytes));
    }
    void release() {
        if (isPlaced) {
            return;
        }
        if (MemoryProvider* const provider = memory.provider(); provider != nullptr && data != nullptr) {
            provider->release(data, capacity, alignment);
        } else {
            std::free(data);
        }
    }
    // Moves the file to the caller's place. Returns false where there is none.
    bool move(std::size_t size) {
        void* const placed = memory.place(size);
        if (placed != nullptr) {
            std::memcpy(placed, data, size);
            release();
            isPlaced = true;
            capacity = size;
            data = static_cast<unsigned char*>(placed);
        }
        return placed != nullptr;
    }
    // Gives back what is behind the file. The memory stays as it is where there is none for less of it.
    void shrink(std::size_t size) {
        unsigned char* smaller = nullptr;
        if (memory.provider() == nullptr) {
            smaller = static_cast<unsigned char*>(std::realloc(data, size));
        } else if (smaller = allocate(size); smaller != nullptr) {
            std::memcpy(smaller, data, size);
            release();
        }
        if (smaller != nullptr) {
            data = smaller;
            capacity = size;
        }
    }

    CallerMemory& memory;
    bool isPlaced = false;
    std::size_t capacity = 0;
    unsigned char* data = nullptr;
};

// Takes rows, and compares each with that of an image.
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

// Throws std::bad_alloc where a step of a trial has no memory.
void demand(Status status) {
    if (status == Status::outOfMemory) {
        throw std::bad_alloc();
    }
}

// Whether a complete file decodes to the very samples of an image. Throws std::bad_alloc.
bool decodesTo(const ImageLayout& layout, const void* samples, Target target, const unsigned char* file,
               std::size_t size) {
    ByteStreamer in;
    in.setUpMemoryReader(file + FileHeader::bytes, static_cast<std::int64_t>(size - FileHeader::bytes));
    ComparingSink rows(layout, samples);
    const Status status = decodeImage(layout.header(), target, in, rows);
    demand(status);
    return status == Status::ok && rows.isEqual();
}

// Whether encoding what a complete file decodes to gives that file. Then that was what went in, too: each step of the
// forward transform can be undone, so that two images have different coefficients, unless a scaled sample has left 16
// bits. Throws std::bad_alloc.
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
    MemorySink taken(row.get(), 0); // the same row again and again
    MemorySource given(row.get(), 0);
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

} // namespace

teko_status EncodeArguments::from(const teko_image* image, const teko_options* given) {
    teko_status status = ImageLayout::from(image, layout);
    if (status == TEKO_OK) {
        status = CallOptions::from(given, options);
    }
    if (status != TEKO_OK) {
        return status;
    }
    if (isTooThin(layout.header())) {
        return TEKO_ERROR_SHAPE;
    }
    wanted = wantedBytes(layout, options);
    if (wanted < smallestFile) {
        return options.goal == TEKO_TO_RATE && wanted == 0 ? TEKO_ERROR_ARGUMENT : TEKO_ERROR_BUDGET;
    }
    if (options.maxSamples != 0 && layout.samples() > options.maxSamples) {
        return TEKO_ERROR_MAX_SAMPLES;
    }
    if (options.maxMemory != 0 && encodeMemoryBound(layout, options.target) > options.maxMemory) {
        return TEKO_ERROR_MAX_MEMORY;
    }
    return TEKO_OK;
}

Encoding::Encoding(const EncodeArguments& arguments)
    : call(arguments), encoder(std::in_place, call.layout.header(), call.options.target), source(call.layout) {}

teko_status Encoding::start() {
    return statusOf(encoder->prepare());
}

teko_status Encoding::take(const void* samples, int rows) {
    source.startAt(samples);
    return statusOf(encoder->read(source, rows));
}

teko_status Encoding::finish(const void* samples, teko_buffer& file) {
    if (const teko_status status = statusOf(encoder->transform()); status != TEKO_OK) {
        return status;
    }
    isProved = encoder->isReversible();
    if (file.data == nullptr) {
        return finishInOwn(samples, file);
    }
    const Made made = makeFile(samples, static_cast<unsigned char*>(file.data), std::min(file.capacity, call.wanted));
    file.size = made.size;
    return made.status;
}

// In a file of the library's or in the caller's place. Its size is known before there is memory for it, as a rule.
teko_status Encoding::finishInOwn(const void* samples, teko_buffer& file) {
    if (const teko_status status = statusOf(encoder->code(call.wanted - FileHeader::bytes)); status != TEKO_OK) {
        return status;
    }
    const std::optional<Made> expected = foreseen();
    if (expected && expected->status < 0) {
        return expected->status;
    }
    OwnedFile own(call.options.memory);
    const std::size_t bytes = expected ? expected->size : call.wanted;
    unsigned char* const data = expected ? own.takeExactly(bytes) : own.take(bytes);
    if (data == nullptr) {
        return TEKO_ERROR_OUT_OF_MEMORY;
    }
    const Made made = makeFile(samples, data, bytes);
    return made.status >= 0 && !own.handTo(file, made.size) ? TEKO_ERROR_OUT_OF_MEMORY : made.status;
}

// What encodeInto will make of a coded image in memory of the wanted size, if the way through the codec tells. Streams
// are complete where their whole last word has room.
std::optional<Encoding::Made> Encoding::foreseen() const {
    const std::uint64_t bits = encoder->codedBits();
    if (bits == 0) {
        return std::nullopt;
    }
    if (wordsOf(bits) <= (call.wanted - FileHeader::bytes) / 4) {
        return endOfComplete(bits);
    }
    return Made{call.options.goal == TEKO_WHOLE ? TEKO_ERROR_BUFFER : TEKO_CUT, call.wanted};
}

// A file in memory of that capacity, and whether it holds the very samples.
Encoding::Made Encoding::makeFile(const void* samples, unsigned char* file, std::size_t capacity) {
    Made made = encodeInto(file, capacity);
    if (made.status == TEKO_OK && !comesBack(samples, file, made.size)) {
        made.status = TEKO_INEXACT;
    }
    return made;
}

// Writes header and stream, which takes all that is there behind the header.
Encoding::Made Encoding::encodeInto(unsigned char* file, std::size_t capacity) {
    if (capacity < smallestFile) {
        return {TEKO_ERROR_BUFFER, 0};
    }
    const auto header = call.layout.header().format();
    const std::uint64_t budget = capacity - header.size();
    ByteStreamer out;
    out.setUpMemoryWriter(file + header.size(), static_cast<std::int64_t>(budget));
    const std::optional<Made> expected = foreseen();
    const Status status = encoder->write(out);
    Made made{statusOf(status), 0};
    if (expected && capacity == expected->size && (status == Status::ok || status == Status::cut)) {
        made = *expected; // also where the last bytes are none of a whole word
    } else if (status == Status::ok) {
        made = endOfComplete(static_cast<std::uint64_t>(out.bitCount()));
    } else if (status == Status::cut) {
        const bool isAsWanted = call.options.goal != TEKO_WHOLE && capacity == call.wanted;
        made = {isAsWanted ? TEKO_CUT : TEKO_ERROR_BUFFER,
                isAsWanted ? header.size() + static_cast<std::size_t>(payloadBytes(out, budget)) : 0};
    }
    if (made.status >= 0) {
        std::copy(header.begin(), header.end(), file);
    }
    return made;
}

// The end of a stream that had room. Files for a rate end with the byte of the last bit, which may be beyond the last
// word that readers take; others with the word.
Encoding::Made Encoding::endOfComplete(std::uint64_t bits) const {
    const std::uint64_t words = wordsOf(bits);
    if (call.options.goal != TEKO_TO_RATE) {
        return {TEKO_OK, static_cast<std::size_t>(FileHeader::bytes + 4 * words)};
    }
    const std::uint64_t bytes = (bits + 7) / 8;
    const bool isReadWhole = bytes / 4 == words;
    if (bytes < 4) {
        return {TEKO_ERROR_BUDGET, 0};
    }
    return {isReadWhole ? TEKO_OK : TEKO_CUT, static_cast<std::size_t>(FileHeader::bytes + bytes)};
}

// Whether a complete file decodes to the samples. Where no bound proves it, it is tried: against the samples, or
// against the file where they are not there any more.
bool Encoding::comesBack(const void* samples, const unsigned char* file, std::size_t size) {
    if (isProved) {
        return true;
    }
    encoder.reset(); // frees its memory before the trial takes some
    return samples != nullptr ? decodesTo(call.layout, samples, call.options.target, file, size)
                              : isMadeFromWhatItDecodesTo(call.layout.header(), call.options.target, file, size);
}

void releaseFile(CallerMemory& memory, teko_buffer& file) {
    if (!memory.hasPlaces()) {
        const OwnedFile released(memory, file.data, file.capacity);
    }
    file.data = nullptr;
    file.capacity = 0;
    file.size = 0;
}

} // namespace teko::library

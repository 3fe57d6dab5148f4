// SPDX-License-Identifier: Apache-2.0
#include "library/encoding.hpp"

#include "codec/imageDecoder.hpp"
#include "library/bounds.hpp"
#include "library/ownedFile.hpp"
#include "library/statuses.hpp"
#include "library/trials.hpp"

#include <algorithm>
#include <limits>

namespace teko::library {

namespace {

constexpr std::uint64_t bitsOfWord = 32;

std::size_t addressableOr(std::uint64_t bytes, std::size_t otherwise) {
    return bytes > std::numeric_limits<std::ptrdiff_t>::max() ? otherwise : static_cast<std::size_t>(bytes);
}

// The most bytes of the file that options ask for; 0 where they ask for none.
std::size_t wantedBytes(const ImageLayout& layout, const CallOptions& options) {
    const std::size_t bound = addressableOr(fileBound(layout), std::numeric_limits<std::ptrdiff_t>::max());
    switch (options.goal) {
    case TEKO_TO_BYTES:
        return std::min(options.bytes, bound);
    case TEKO_TO_RATE:
        return budgetAtRate(layout, options.rate);
    default:
        return bound;
    }
}

} // namespace

void releaseFile(CallerMemory& memory, teko_buffer& file) {
    if (!memory.hasPlaces()) {
        const OwnedFile released(memory, file.data, file.capacity);
    }
    file.data = nullptr;
    file.capacity = 0;
    file.size = 0;
}

std::size_t budgetAtRate(const ImageLayout& layout, double rate) {
    const std::optional<std::uint64_t> payload = byteBudget(layout.header(), static_cast<float>(rate));
    return payload ? addressableOr(*payload + FileHeader::bytes, 0) : 0;
}

teko_status Encoding::check(const ImageLayout& layout, const CallOptions& options) {
    if (isTooThin(layout.header())) {
        return TEKO_ERROR_SHAPE;
    }
    const std::size_t wanted = wantedBytes(layout, options);
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

Encoding::Encoding(const ImageLayout& imageLayout, const CallOptions& callOptions)
    : layout(imageLayout), options(callOptions), wanted(wantedBytes(layout, options)),
      encoder(std::in_place, layout.header(), options.target), source(layout) {}

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
    if (file.data != nullptr) {
        auto* const data = static_cast<unsigned char*>(file.data);
        Made made = encodeInto(data, std::min(file.capacity, wanted));
        if (made.status == TEKO_OK && !comesBack(samples, data, made.size)) {
            made.status = TEKO_INEXACT;
        }
        file.size = made.size;
        return made.status;
    }
    return finishInOwn(samples, file);
}

// The size of the file is known before there is memory for it, as a rule.
teko_status Encoding::finishInOwn(const void* samples, teko_buffer& file) {
    if (const teko_status status = statusOf(encoder->code(wanted - FileHeader::bytes)); status != TEKO_OK) {
        return status;
    }
    const std::optional<Made> expected = foreseen();
    if (expected && expected->status < 0) {
        return expected->status;
    }
    OwnedFile own(options.memory);
    const std::size_t bytes = expected ? expected->size : wanted;
    unsigned char* const data = expected ? own.takeExactly(bytes) : own.take(bytes);
    if (data == nullptr) {
        return TEKO_ERROR_OUT_OF_MEMORY;
    }
    Made made = encodeInto(data, bytes);
    if (made.status == TEKO_OK && !comesBack(samples, data, made.size)) {
        made.status = TEKO_INEXACT;
    }
    if (made.status >= 0 && !own.handTo(file, made.size)) {
        made.status = TEKO_ERROR_OUT_OF_MEMORY;
    }
    return made.status;
}

// What encodeInto will make of a coded image in memory of that size, if the way through the codec tells. Streams are
// complete where their whole last word has room.
std::optional<Encoding::Made> Encoding::foreseen() const {
    const std::uint64_t bits = encoder->codedBits();
    if (bits == 0) {
        return std::nullopt;
    }
    if ((bits + bitsOfWord - 1) / bitsOfWord <= (wanted - FileHeader::bytes) / 4) {
        return endOfComplete(bits);
    }
    return Made{options.goal == TEKO_WHOLE ? TEKO_ERROR_BUFFER : TEKO_CUT, wanted};
}

// The stream takes all that is there behind the header.
Encoding::Made Encoding::encodeInto(unsigned char* file, std::size_t capacity) {
    if (capacity < smallestFile) {
        return {TEKO_ERROR_BUFFER, 0};
    }
    const auto header = layout.header().format();
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
        const bool isAsWanted = options.goal != TEKO_WHOLE && capacity == wanted;
        made = {isAsWanted ? TEKO_CUT : TEKO_ERROR_BUFFER,
                isAsWanted ? header.size() + static_cast<std::size_t>(payloadBytes(out, budget)) : 0};
    }
    if (made.status >= 0) {
        std::copy(header.begin(), header.end(), file);
    }
    return made;
}

// Files for a rate end with the byte of the last bit, which may be beyond the last word that readers take; others with
// the word.
Encoding::Made Encoding::endOfComplete(std::uint64_t bits) const {
    const std::uint64_t words = (bits + bitsOfWord - 1) / bitsOfWord;
    if (options.goal != TEKO_TO_RATE) {
        return {TEKO_OK, static_cast<std::size_t>(FileHeader::bytes + 4 * words)};
    }
    const std::uint64_t bytes = (bits + 7) / 8;
    const bool isReadWhole = bytes / 4 == words;
    if (bytes < 4) {
        return {TEKO_ERROR_BUDGET, 0};
    }
    return {isReadWhole ? TEKO_OK : TEKO_CUT, static_cast<std::size_t>(FileHeader::bytes + bytes)};
}

// Where no bound proves it, it is tried: against the samples, or against the file where they are not there any more.
bool Encoding::comesBack(const void* samples, const unsigned char* file, std::size_t size) {
    if (isProved) {
        return true;
    }
    encoder.reset(); // its memory first
    return samples != nullptr ? decodesTo(layout, samples, options.target, file, size)
                              : isMadeFromWhatItDecodesTo(layout.header(), options.target, file, size);
}

} // namespace teko::library

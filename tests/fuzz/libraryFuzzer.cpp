// SPDX-License-Identifier: Apache-2.0
// The library as a program might use it: any image in any layout, encoded to any goal within any limits, cut, damaged,
// and decoded, at once and in portions of rows.
#include "fuzz/texture.hpp"
#include "library/countingMemory.hpp"
#include "library/layouts.hpp"

#include <optional>

namespace teko::fuzz {

namespace {

constexpr int mostSamples = 1300;

// Random numbers for layouts, from one of the input.
std::mt19937 randomFrom(Input& input) {
    return std::mt19937(static_cast<std::uint32_t>(input.number(2)));
}

struct Plan {
    teko_options encoding = options();
    teko_options decoding = options();
    std::mt19937 random;
    std::size_t cutAt = 0;
    std::size_t damageAt = 0;
    std::uint8_t damage = 0;
    bool isCut = false;
    bool isByRows = false;
    long untilRefusal = -1;
};

// Limits are mostly none.
std::uint64_t anyLimit(Input& input) {
    const unsigned byte = input.byte();
    return byte < 200 ? 0 : std::uint64_t{1} << (byte - 200) / 2;
}

Plan anyPlan(Input& input) {
    Plan plan;
    const unsigned choices = input.byte();
    plan.isCut = (choices & 1U) != 0;
    plan.isByRows = (choices & 2U) != 0;
    plan.encoding.goal = (choices >> 2) % 4;
    plan.untilRefusal = (choices & 0x30U) == 0x30U ? static_cast<long>(input.below(120)) : -1;
    plan.encoding.bytes = input.number(2) % 3000;
    plan.encoding.rate = static_cast<double>(input.number(2)) / 65535;
    plan.encoding.max_samples = anyLimit(input);
    plan.encoding.max_memory = anyLimit(input);
    plan.decoding.max_samples = anyLimit(input);
    plan.decoding.max_memory = anyLimit(input);
    plan.decoding.reduce = input.below(12) % 7;
    plan.cutAt = input.number(2);
    plan.damageAt = input.number(2);
    plan.damage = static_cast<std::uint8_t>(input.byte());
    plan.random = randomFrom(input);
    return plan;
}

Picture anyPicture(Input& input) {
    const auto kind = static_cast<std::uint32_t>(input.within(1, 3));
    const std::uint32_t bits = input.below(4) == 0 ? 1 + input.below(kind == TEKO_GREY16 ? 16 : 8) : 0;
    const Shape shape = anyShape(input, 0, kind == TEKO_RGB8 ? 3 : 1, mostSamples);
    Picture picture{kind, static_cast<std::uint32_t>(shape.width), static_cast<std::uint32_t>(shape.height), bits, {}};
    const Texture texture(input);
    for (int y = 0; y < shape.height; ++y) {
        for (int x = 0; x < shape.width; ++x) {
            for (int c = 0; c < shape.channels; ++c) {
                picture.append(static_cast<std::uint32_t>(texture.at(c, y, x) & 0xFFFFU));
            }
        }
    }
    return picture;
}

std::uint32_t portion(std::uint32_t left, std::mt19937& random) {
    return std::min(left, static_cast<std::uint32_t>(random() % 20));
}

// What must hold of the caller's memory after every call.
void requireNothingKept(const CountingMemory& memory, std::uint64_t limit, std::uint64_t promised) {
    require(memory.isConsistent, "memory is given back as it was taken");
    require(memory.blocks() == 0, "no memory is kept");
    require(limit == 0 || memory.peak <= limit, "no more memory is taken than is allowed");
    require(memory.peak <= promised, "no more memory is taken than was promised");
}

teko_status encodeByRows(const Picture& picture, Canvas& canvas, const teko_options& given, teko_buffer& buffer,
                         std::mt19937& random) {
    teko_encoder* encoder = nullptr;
    teko_status status = teko_encoder_create(&canvas.description(), &given, &encoder);
    require((encoder == nullptr) == (status < 0), "there is an encoder or a failure");
    for (std::uint32_t y = 0; y < picture.height && status == TEKO_OK;) {
        const std::uint32_t rows = portion(picture.height - y, random);
        status = teko_encoder_push(encoder, canvas.row(y), rows);
        y += rows;
    }
    if (status == TEKO_OK) {
        status = teko_encoder_finish(encoder, &buffer);
    }
    teko_encoder_destroy(encoder);
    return status;
}

Encoded encodeWith(const Picture& picture, Plan& plan, bool isByRows) {
    CountingMemory memory;
    memory.untilRefusal = plan.untilRefusal;
    const teko_options given = memory.with(plan.encoding);
    Canvas canvas(picture, anyLayout(picture, plan.random), static_cast<std::uint32_t>(plan.random() % 100));
    canvas.place(picture.samples);
    std::uint64_t promised = 0;
    teko_encode_memory(&canvas.description(), &given, &promised);
    teko_buffer buffer = noBuffer();
    const teko_status status = isByRows ? encodeByRows(picture, canvas, given, buffer, plan.random)
                                        : teko_encode(&canvas.description(), canvas.samples(), &buffer, &given);
    require((buffer.data != nullptr) == (status >= 0), "there is a file or a failure");
    const Bytes file = taken(buffer, given);
    requireNothingKept(memory, given.max_memory, promised);
    std::size_t bound = 0;
    teko_bound(&canvas.description(), &bound);
    require(file.size() <= bound, "a file is no longer than its bound");
    return {status, file};
}

struct Result {
    teko_status status;
    Bytes samples;
    std::size_t used;

    bool operator==(const Result&) const = default;
};

teko_status decodeByRows(const Picture& shape, Canvas& canvas, const Bytes& file, const teko_options& given,
                         teko_outcome& outcome, std::mt19937& random) {
    teko_decoder* decoder = nullptr;
    const teko_status created =
        teko_decoder_create(addressOf(file), file.size(), &canvas.description(), &given, &decoder, &outcome);
    require((decoder == nullptr) == (created < 0), "there is a decoder or a failure");
    teko_status status = TEKO_OK;
    for (std::uint32_t y = 0; y < shape.height && created >= 0 && status == TEKO_OK;) {
        const std::uint32_t rows = portion(shape.height - y, random);
        status = teko_decoder_pull(decoder, canvas.row(y), rows);
        y += rows;
    }
    teko_decoder_destroy(decoder);
    return status < 0 ? status : created;
}

Result decodeWith(const Bytes& file, const Picture& shape, Plan& plan, bool isByRows) {
    CountingMemory memory;
    memory.untilRefusal = plan.untilRefusal;
    const teko_options given = memory.with(plan.decoding);
    std::uint64_t promised = 0;
    if (teko_decode_memory(addressOf(file), file.size(), &given, &promised) != TEKO_OK) {
        promised = 0;
    }
    Canvas canvas(shape, anyLayout(shape, plan.random), static_cast<std::uint32_t>(plan.random() % 100));
    const Bytes before = canvas.between();
    teko_outcome outcome = {sizeof outcome, 0};
    const teko_status status =
        isByRows ? decodeByRows(shape, canvas, file, given, outcome, plan.random)
                 : teko_decode(addressOf(file), file.size(), &canvas.description(), canvas.samples(), &given, &outcome);
    require(canvas.between() == before, "nothing but samples is written");
    require(status < 0 || (outcome.used >= 14 && outcome.used <= file.size()), "what is used is a part of the file");
    requireNothingKept(memory, given.max_memory, promised);
    return {status, status < 0 ? Bytes{} : canvas.packed(), status < 0 ? 0 : outcome.used};
}

// A sound file says of itself what was said when it was made.
void requireSound(const Picture& picture, const Encoded& encoded) {
    const DecodedPicture decoded = decode(encoded.file);
    require(decoded.status == (encoded.status == TEKO_CUT ? TEKO_CUT : TEKO_OK), "a file is as complete as was said");
    require((encoded.status == TEKO_OK) == (decoded.status == TEKO_OK && decoded.samples == picture.samples),
            "a file decodes to the very samples where that was said");
}

// Within limits or not, by rows or not: the same bytes.
std::optional<Encoded> checkEncoding(const Picture& picture, Plan& plan) {
    const Encoded whole = encode(picture, plan.encoding);
    const Encoded encoded = encodeWith(picture, plan, plan.isByRows);
    if (plan.untilRefusal < 0) {
        require(encoded == whole, "layouts and portions give the same file");
    } else {
        require(encoded == whole || encoded.status == TEKO_ERROR_OUT_OF_MEMORY, "a file or no memory");
    }
    if (whole.status < 0) {
        return std::nullopt;
    }
    requireSound(picture, whole);
    return whole;
}

void checkCut(const Bytes& file, std::size_t bytes) {
    std::size_t kept = 0;
    const teko_status status = teko_cut(file.data(), file.size(), bytes, &kept);
    require((status == TEKO_OK) == (bytes >= 14), "a budget of 14 bytes is enough");
    if (status == TEKO_OK) {
        require(kept <= bytes && kept <= file.size(), "no more is kept than there is");
        const DecodedPicture cut = decode(prefix(file, kept));
        const DecodedPicture uncut = decode(prefix(file, bytes));
        require(cut.used == kept && cut == uncut, "what is cut away is of no use");
    }
}

void checkDecoding(Bytes file, Plan& plan) {
    if (plan.isCut) {
        file.resize(std::min(file.size(), plan.cutAt % (file.size() + 1)));
    }
    // The header stays, so that sides do: decodeFuzzer.cpp damages it.
    if (plan.damage != 0 && file.size() > 10) {
        file[10 + plan.damageAt % (file.size() - 10)] ^= plan.damage;
    }
    Picture shape{};
    if (describe(file, plan.decoding.reduce, shape) != TEKO_OK) {
        return;
    }
    shape.bits = 0;
    const Result decoded = decodeWith(file, shape, plan, plan.isByRows);
    const DecodedPicture packed = decode(file, plan.decoding);
    const bool isSame = decoded == Result{packed.status, packed.samples, packed.status < 0 ? 0 : packed.used};
    require(isSame || (plan.untilRefusal >= 0 && decoded.status == TEKO_ERROR_OUT_OF_MEMORY),
            "layouts and portions give the same samples");
    require(plan.damage != 0 || packed.status != TEKO_DAMAGED, "what is not damaged is not said to be");
}

} // namespace

} // namespace teko::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace teko;
    using namespace teko::fuzz;
    Input input(data, size);
    Plan plan = anyPlan(input);
    const Picture picture = anyPicture(input);
    std::optional<Encoded> encoded = checkEncoding(picture, plan);
    if (!encoded) {
        encoded = encode(picture);
    }
    if (encoded->status >= 0) {
        checkCut(encoded->file, plan.cutAt % (encoded->file.size() + 9));
        checkDecoding(encoded->file, plan);
    }
    return 0;
}

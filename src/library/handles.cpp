// SPDX-License-Identifier: Apache-2.0
// The functions of teko_encoder and teko_decoder: images that are pushed and pulled, portion after portion, and what
// their callers hold of them.
#include <teko/teko.h>

#include "library/decoding.hpp"
#include "library/encoding.hpp"

#include <memory>
#include <new>
#include <optional>

namespace teko::library {

// An image between two calls: an Encoding or a Decoding. What it allocates comes from its own copy of the caller's
// functions.
template <typename Work>
struct Held {
    CallerMemory memory;
    ImageLayout layout;
    std::optional<Work> work;
    bool isUsable = true; // until a call fails, or the file is made
};

} // namespace teko::library

using namespace teko::library;

struct teko_encoder : Held<Encoding> {};
struct teko_decoder : Held<Decoding> {};

namespace teko::library {

namespace {

// Destroys a handle, which lies in memory of the caller whose functions it holds.
template <typename Handle>
struct DestroyHandle {
    void operator()(Handle* handle) const {
        CallerMemory memory = handle->memory;
        MemoryProvider* const provider = memory.provider();
        handle->~Handle();
        provider != nullptr ? provider->release(handle, sizeof(Handle), alignof(Handle)) : ::operator delete(handle);
    }
};
template <typename Handle>
using OwnedHandle = std::unique_ptr<Handle, DestroyHandle<Handle>>;

// A handle without work yet; null where there is no memory for it.
template <typename Handle>
OwnedHandle<Handle> makeHandle(CallerMemory memory, const ImageLayout& layout) {
    MemoryProvider* const provider = memory.provider();
    void* const place = provider != nullptr ? provider->allocate(sizeof(Handle), alignof(Handle))
                                            : ::operator new(sizeof(Handle), std::nothrow);
    return OwnedHandle<Handle>(place != nullptr ? new (place) Handle{{memory, layout, std::nullopt}} : nullptr);
}

// Makes the next call of a handle, work(), unless one before it has failed.
template <typename Handle, typename Work>
teko_status whileUsable(Handle* handle, Work work) {
    if (handle == nullptr || !handle->isUsable) {
        return handle == nullptr ? TEKO_ERROR_ARGUMENT : TEKO_ERROR_ORDER;
    }
    const teko_status status = work();
    handle->isUsable = status >= 0;
    return status;
}

// Makes the next call of a handle that takes or gives rows, by move(rows), unless there are not so many or no samples.
template <typename Handle, typename Move>
teko_status moveRows(Handle* handle, const void* samples, std::uint32_t rows, Move move) {
    return whileUsable(handle, [&] {
        if (rows > 0 && handle->layout.lacks(samples)) {
            return TEKO_ERROR_ARGUMENT;
        }
        if (rows > static_cast<std::uint32_t>(handle->work->rowsLeft())) {
            return TEKO_ERROR_ORDER;
        }
        return inMemoryOf(handle->memory, [&] { return move(static_cast<int>(rows)); });
    });
}

} // namespace

} // namespace teko::library

extern "C" {

teko_status teko_encoder_create(const teko_image* image, const teko_options* options, teko_encoder** encoder) noexcept {
    if (encoder == nullptr) {
        return TEKO_ERROR_ARGUMENT;
    }
    *encoder = nullptr;
    EncodeArguments call;
    const teko_status status = call.from(image, options);
    if (status != TEKO_OK) {
        return status;
    }
    OwnedHandle<teko_encoder> made = makeHandle<teko_encoder>(call.options.memory, call.layout);
    if (!made) {
        return TEKO_ERROR_OUT_OF_MEMORY;
    }
    const teko_status started = inMemoryOf(made->memory, [&] { return made->work.emplace(call).start(); });
    if (started == TEKO_OK) {
        *encoder = made.release();
    }
    return started;
}

teko_status teko_encoder_push(teko_encoder* encoder, const void* samples, uint32_t rows) noexcept {
    return moveRows(encoder, samples, rows, [&](int count) { return encoder->work->take(samples, count); });
}

teko_status teko_encoder_finish(teko_encoder* encoder, teko_buffer* file) noexcept {
    return withBuffer(file, [&](teko_buffer& own) {
        const teko_status status = whileUsable(encoder, [&] {
            if (encoder->work->rowsLeft() > 0) {
                return TEKO_ERROR_ORDER;
            }
            return inMemoryOf(encoder->memory, [&] { return encoder->work->finish(nullptr, own); });
        });
        if (encoder != nullptr) {
            encoder->isUsable = false;
        }
        return status;
    });
}

void teko_encoder_destroy(teko_encoder* encoder) noexcept {
    OwnedHandle<teko_encoder>{encoder}.reset();
}

teko_status teko_decoder_create(const void* file, size_t size, const teko_image* image, const teko_options* options,
                                teko_decoder** decoder, teko_outcome* outcome) noexcept {
    if (decoder == nullptr) {
        return TEKO_ERROR_ARGUMENT;
    }
    *decoder = nullptr;
    DecodeArguments call;
    const teko_status status = isOutcome(outcome) ? call.from(file, size, image, options) : TEKO_ERROR_ARGUMENT;
    if (status != TEKO_OK) {
        return status;
    }
    OwnedHandle<teko_decoder> made = makeHandle<teko_decoder>(call.options.memory, call.layout);
    if (!made) {
        return TEKO_ERROR_OUT_OF_MEMORY;
    }
    std::size_t used = 0;
    const teko_status read = inMemoryOf(made->memory, [&] { return made->work.emplace(call).read(file, size, used); });
    if (read >= 0) {
        *decoder = made.release();
        giveUsed(used, outcome);
    }
    return read;
}

teko_status teko_decoder_pull(teko_decoder* decoder, void* samples, uint32_t rows) noexcept {
    return moveRows(decoder, samples, rows, [&](int count) { return decoder->work->give(samples, count); });
}

void teko_decoder_destroy(teko_decoder* decoder) noexcept {
    OwnedHandle<teko_decoder>{decoder}.reset();
}

} // extern "C"

// SPDX-License-Identifier: Apache-2.0
// What a caller holds of an image that he pushes, or pulls.
#pragma once

#include <teko/teko.h>

#include "library/callOptions.hpp"
#include "library/decoding.hpp"
#include "library/encoding.hpp"
#include "library/imageLayout.hpp"

#include <memory>
#include <new>
#include <optional>

// What a handle allocates comes from its own copy of the caller's functions.
struct teko_encoder {
    teko::library::CallerMemory memory;
    teko::library::ImageLayout layout;
    std::optional<teko::library::Encoding> encoding;
    bool isUsable = true;
};

struct teko_decoder {
    teko::library::CallerMemory memory;
    teko::library::ImageLayout layout;
    std::optional<teko::library::Decoding> decoding;
    bool isUsable = true;
};

namespace teko::library {

// It lies in memory of the caller whose functions it holds.
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

// Null where there is no memory.
template <typename Handle>
OwnedHandle<Handle> makeHandle(CallerMemory memory, const ImageLayout& layout) {
    MemoryProvider* const provider = memory.provider();
    void* const place = provider != nullptr ? provider->allocate(sizeof(Handle), alignof(Handle))
                                            : ::operator new(sizeof(Handle), std::nothrow);
    return OwnedHandle<Handle>(place != nullptr ? new (place) Handle{memory, layout, std::nullopt} : nullptr);
}

// The next call of an encoder or a decoder, unless one before it has failed.
template <typename Handle, typename Work>
teko_status whileUsable(Handle* handle, Work work) {
    if (handle == nullptr || !handle->isUsable) {
        return handle == nullptr ? TEKO_ERROR_ARGUMENT : TEKO_ERROR_ORDER;
    }
    const teko_status status = work();
    handle->isUsable = status >= 0;
    return status;
}

} // namespace teko::library

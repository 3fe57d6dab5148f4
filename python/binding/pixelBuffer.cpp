// SPDX-License-Identifier: Apache-2.0
#include "pixelBuffer.hpp"

#include <algorithm>
#include <limits>
#include <string_view>

namespace teko::python {

namespace {

// Sides that the library would refuse are still to be refused when they have become 32 bits.
std::uint32_t sideOf(Py_ssize_t side) {
    return static_cast<std::uint32_t>(std::min<Py_ssize_t>(side, std::numeric_limits<std::int32_t>::max()));
}

} // namespace

HeldBuffer::HeldBuffer(nb::handle object, int flags) {
    if (PyObject_GetBuffer(object.ptr(), &view, flags) != 0) {
        throw nb::python_error();
    }
}

PixelBuffer::PixelBuffer(nb::handle object, Access access)
    : HeldBuffer(object, access == Access::write ? PyBUF_RECORDS : PyBUF_RECORDS_RO) {
    const bool isImage = view.ndim == 2 || (view.ndim == 3 && side(2) == 3);
    if (!isImage) {
        throw nb::type_error("samples have the shape (height, width) or (height, width, 3)");
    }
    // The library takes 0 for the packed pitch.
    for (int axis = 0; axis < view.ndim; ++axis) {
        if (view.len > 0 && side(axis) > 1 && view.strides[axis] == 0) {
            throw nb::type_error("samples that repeat along an axis have to be copied");
        }
    }
}

teko_image PixelBuffer::image(unsigned bits) const {
    teko_image image{};
    image.struct_size = sizeof image;
    image.bits = bits;
    image.height = sideOf(side(0));
    image.width = sideOf(side(1));
    image.row_pitch = view.strides[0];
    image.pixel_pitch = view.strides[1];
    image.channel_pitch = view.ndim == 3 ? view.strides[2] : 0;
    setFormat(image);
    return image;
}

void PixelBuffer::setFormat(teko_image& image) const {
    std::string_view format = view.format != nullptr ? view.format : "B";
    if (format.size() == 2) {
        image.byte_order = format.front() == '<'                            ? TEKO_LITTLE_ENDIAN
                           : format.front() == '>' || format.front() == '!' ? TEKO_BIG_ENDIAN
                                                                            : TEKO_HOST_ORDER;
        format.remove_prefix(1);
    }
    if (format == "B") {
        image.kind = view.ndim == 3 ? TEKO_RGB8 : TEKO_GREY8;
    } else if ((format == "H" || format == "h") && view.ndim == 2) {
        image.kind = TEKO_GREY16;
        image.is_signed = format == "h";
    } else {
        throw nb::type_error("samples are of uint8, or grey ones of uint16 or int16");
    }
}

} // namespace teko::python

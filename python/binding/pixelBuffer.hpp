// SPDX-License-Identifier: Apache-2.0
// Objects of Python that have a buffer, as the library sees them. Kept from changing size for as long as these live.
#pragma once

#include <nanobind/nanobind.h>
#include <teko/teko.h>

#include <cstddef>

namespace teko::python {

namespace nb = nanobind;

// A buffer that is given back at the end. The interpreter's lock must be held where it is made and where it ends.
class HeldBuffer {
public:
    HeldBuffer(nb::handle object, int flags);
    ~HeldBuffer() { PyBuffer_Release(&view); }
    HeldBuffer(const HeldBuffer&) = delete;
    HeldBuffer& operator=(const HeldBuffer&) = delete;

protected:
    Py_buffer view{};
};

// The bytes of a file: anything with a contiguous buffer.
class FileBuffer : public HeldBuffer {
public:
    explicit FileBuffer(nb::handle object) : HeldBuffer(object, PyBUF_SIMPLE) {}

    const void* bytes() const { return view.buf; }
    std::size_t size() const { return static_cast<std::size_t>(view.len); }
};

// Samples of shape (height, width) or (height, width, 3), of any strides; format B, H or h of either byte order.
// Throws nanobind::type_error for others: the package has looked at them before.
class PixelBuffer : public HeldBuffer {
public:
    enum class Access { read, write };

    PixelBuffer(nb::handle object, Access access);

    void* samples() const { return view.buf; }
    // How they lie in memory.
    teko_image image(unsigned bits) const;

private:
    Py_ssize_t side(int axis) const { return view.shape[axis]; }
    void setFormat(teko_image& image) const;
};

} // namespace teko::python

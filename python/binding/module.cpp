// SPDX-License-Identifier: Apache-2.0
// The functions of libteko for Python: what goes in and out are buffers and numbers, the first of what is returned is
// always the status. The package teko judges arrays before, and statuses afterwards; nothing else calls these.
#include "pixelBuffer.hpp"

#include <nanobind/stl/optional.h>
#include <nanobind/stl/tuple.h>

#include <optional>
#include <tuple>

namespace teko::python {

namespace {

using namespace nb::literals;

// An empty name stands for the best target.
teko_options optionsFor(const char* target = "") {
    teko_options options{};
    options.struct_size = sizeof options;
    options.target = *target != 0 ? target : nullptr;
    return options;
}

// The bytes object that a file is written into: with a copy of it, RGB took 1.18 times as long.
class PlacedFile {
public:
    // As teko_options.place; the interpreter's lock is not held.
    static void* place(void* user, std::size_t bytes) noexcept {
        auto& self = *static_cast<PlacedFile*>(user);
        const nb::gil_scoped_acquire lock;
        PyObject* const made = PyBytes_FromStringAndSize(nullptr, static_cast<Py_ssize_t>(bytes));
        if (made == nullptr) {
            PyErr_Clear();
            return nullptr;
        }
        self.object = nb::steal<nb::bytes>(made);
        return PyBytes_AsString(made);
    }

    std::optional<nb::bytes> object;
};

std::tuple<int, std::optional<nb::bytes>> encode(nb::handle pixels, unsigned bits, unsigned goal, std::size_t bytes,
                                                 double rate, const char* target) {
    const PixelBuffer buffer(pixels, PixelBuffer::Access::read);
    const teko_image image = buffer.image(bits);
    teko_options options = optionsFor(target);
    options.goal = goal;
    options.bytes = bytes;
    options.rate = rate;
    PlacedFile placed;
    options.place = PlacedFile::place;
    options.user = &placed;
    teko_buffer file{};
    file.struct_size = sizeof file;
    teko_status status{};
    {
        const nb::gil_scoped_release others;
        status = teko_encode(&image, buffer.samples(), &file, &options);
    }
    if (status < 0) {
        return {status, std::nullopt};
    }
    return {status, placed.object};
}

std::tuple<int, std::size_t> decode(nb::handle file, nb::handle pixels, unsigned reduce, std::uint64_t maxSamples,
                                    std::uint64_t maxMemory, const char* target) {
    const FileBuffer data(file);
    const PixelBuffer buffer(pixels, PixelBuffer::Access::write);
    const teko_image image = buffer.image(0);
    teko_options options = optionsFor(target);
    options.reduce = reduce;
    options.max_samples = maxSamples;
    options.max_memory = maxMemory;
    teko_outcome outcome{};
    outcome.struct_size = sizeof outcome;
    const nb::gil_scoped_release others;
    const teko_status status = teko_decode(data.bytes(), data.size(), &image, buffer.samples(), &options, &outcome);
    return {status, outcome.used};
}

std::tuple<int, unsigned, unsigned, unsigned, unsigned, unsigned> describe(nb::handle file) {
    const FileBuffer data(file);
    teko_image image{};
    image.struct_size = sizeof image;
    const teko_status status = teko_describe(data.bytes(), data.size(), &image);
    const unsigned levels = status == TEKO_OK ? teko_levels(&image) : 0;
    return {status, image.kind, image.bits, image.width, image.height, levels};
}

std::tuple<int, std::uint64_t> decodeMemory(nb::handle file, unsigned reduce) {
    const FileBuffer data(file);
    teko_options options = optionsFor();
    options.reduce = reduce;
    std::uint64_t bytes = 0;
    const teko_status status = teko_decode_memory(data.bytes(), data.size(), &options, &bytes);
    return {status, bytes};
}

std::tuple<int, std::uint64_t> encodeMemory(nb::handle pixels) {
    const teko_image image = PixelBuffer(pixels, PixelBuffer::Access::read).image(0);
    std::uint64_t bytes = 0;
    const teko_status status = teko_encode_memory(&image, nullptr, &bytes);
    return {status, bytes};
}

std::tuple<int, std::size_t> cut(nb::handle file, std::size_t bytes) {
    const FileBuffer data(file);
    std::size_t kept = 0;
    const teko_status status = teko_cut(data.bytes(), data.size(), bytes, &kept);
    return {status, kept};
}

teko_image imageOf(unsigned kind, unsigned width, unsigned height) {
    teko_image image{};
    image.struct_size = sizeof image;
    image.kind = kind;
    image.width = width;
    image.height = height;
    return image;
}

std::tuple<int, std::size_t> budget(unsigned kind, unsigned width, unsigned height, double rate) {
    const teko_image image = imageOf(kind, width, height);
    std::size_t bytes = 0;
    const teko_status status = teko_budget(&image, rate, &bytes);
    return {status, bytes};
}

std::tuple<int, double, double, unsigned> compare(nb::handle pixels, nb::handle otherPixels, unsigned bits) {
    const PixelBuffer buffer(pixels, PixelBuffer::Access::read);
    const PixelBuffer other(otherPixels, PixelBuffer::Access::read);
    const teko_image image = buffer.image(bits);
    const teko_image otherImage = other.image(bits);
    teko_difference difference{};
    difference.struct_size = sizeof difference;
    const nb::gil_scoped_release others;
    const teko_status status = teko_compare(&image, buffer.samples(), &otherImage, other.samples(), &difference);
    return {status, difference.mse, difference.psnr, difference.largest};
}

} // namespace

} // namespace teko::python

NB_MODULE(_core, m) {
    using namespace teko::python;
    m.doc() = "The functions of libteko on buffers; the package teko is their face.";

    m.attr("OK") = static_cast<int>(TEKO_OK);
    m.attr("CUT") = static_cast<int>(TEKO_CUT);
    m.attr("INEXACT") = static_cast<int>(TEKO_INEXACT);
    m.attr("DAMAGED") = static_cast<int>(TEKO_DAMAGED);
    m.attr("ERROR_ARGUMENT") = static_cast<int>(TEKO_ERROR_ARGUMENT);
    m.attr("ERROR_KIND") = static_cast<int>(TEKO_ERROR_KIND);
    m.attr("ERROR_SHAPE") = static_cast<int>(TEKO_ERROR_SHAPE);
    m.attr("ERROR_NOT_TEKO") = static_cast<int>(TEKO_ERROR_NOT_TEKO);
    m.attr("ERROR_TOO_SHORT") = static_cast<int>(TEKO_ERROR_TOO_SHORT);
    m.attr("ERROR_BUDGET") = static_cast<int>(TEKO_ERROR_BUDGET);
    m.attr("ERROR_MAX_SAMPLES") = static_cast<int>(TEKO_ERROR_MAX_SAMPLES);
    m.attr("ERROR_MAX_MEMORY") = static_cast<int>(TEKO_ERROR_MAX_MEMORY);
    m.attr("ERROR_OUT_OF_MEMORY") = static_cast<int>(TEKO_ERROR_OUT_OF_MEMORY);

    m.attr("GREY8") = static_cast<int>(TEKO_GREY8);
    m.attr("GREY16") = static_cast<int>(TEKO_GREY16);
    m.attr("RGB8") = static_cast<int>(TEKO_RGB8);

    m.attr("WHOLE") = static_cast<int>(TEKO_WHOLE);
    m.attr("TO_BYTES") = static_cast<int>(TEKO_TO_BYTES);
    m.attr("TO_RATE") = static_cast<int>(TEKO_TO_RATE);

    m.def("version", &teko_version);
    m.def(
        "status_text", [](int status) { return teko_status_text(static_cast<teko_status>(status)); }, "status"_a);
    m.def("target", &teko_target);
    m.def("reduced", &teko_reduced, "side"_a, "reduce"_a);
    m.def("encode", &encode, "pixels"_a, "bits"_a, "goal"_a, "bytes"_a, "rate"_a, "target"_a = "");
    m.def("decode", &decode, "file"_a, "pixels"_a, "reduce"_a, "max_samples"_a, "max_memory"_a, "target"_a = "");
    m.def("describe", &describe, "file"_a);
    m.def("decode_memory", &decodeMemory, "file"_a, "reduce"_a);
    m.def("encode_memory", &encodeMemory, "pixels"_a);
    m.def("cut", &cut, "file"_a, "bytes"_a);
    m.def("budget", &budget, "kind"_a, "width"_a, "height"_a, "rate"_a);
    m.def("compare", &compare, "pixels"_a, "other_pixels"_a, "bits"_a);
}

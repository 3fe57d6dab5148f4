// SPDX-License-Identifier: Apache-2.0
// Calls of libpng, whose errors become exceptions behind its own code.
#pragma once

#include "failure.hpp"

#include <csetjmp>
#include <cstring>
#include <exception>
#include <png.h>
#include <string>

namespace tekoimg {

// What happened within calls of libpng: its own words, or what a callback of ours threw.
struct PngErrors {
    std::string text;
    std::exception_ptr thrown;
    std::string warning; // the first
};

inline void keepPngError(png_structp png, png_const_charp text) {
    static_cast<PngErrors*>(png_get_error_ptr(png))->text = text;
    png_longjmp(png, 1);
}
inline void keepPngWarning(png_structp png, png_const_charp text) {
    // Behind this warning libpng takes as much memory as the chunk claims to need, and clears it.
    if (std::strstr(text, "chunk data is too large") != nullptr) {
        keepPngError(png, text);
    }
    auto* const errors = static_cast<PngErrors*>(png_get_error_ptr(png));
    if (errors->warning.empty()) {
        errors->warning = text;
    }
}

// A callback of ours: nothing may fly through libpng.
template <typename Call>
void withinPng(png_structp png, Call&& call) {
    bool isFailed = false;
    try {
        call();
    } catch (...) {
        static_cast<PngErrors*>(png_get_error_ptr(png))->thrown = std::current_exception();
        isFailed = true;
    }
    if (isFailed) {
        png_longjmp(png, 1);
    }
}

// Makes calls of libpng, which must leave nothing to destroy. Throws Failure with the words of libpng and the cure, or
// what a callback threw.
template <typename Call>
void callPng(png_structp png, const char* cure, Call&& call) {
    if (setjmp(png_jmpbuf(png)) == 0) {
        call();
        return;
    }
    const auto* const errors = static_cast<const PngErrors*>(png_get_error_ptr(png));
    if (errors->thrown) {
        std::rethrow_exception(errors->thrown);
    }
    throw Failure("is refused by libpng (" + errors->text + "); " + cure);
}

} // namespace tekoimg

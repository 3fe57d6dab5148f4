// SPDX-License-Identifier: Apache-2.0
// What the code takes for granted of every machine. Where one of these does not hold, nothing is built. Neither the
// order of bytes nor the sign of a plain char is among them.
#include <bit>
#include <cfloat>
#include <climits>
#include <cstdint>
#include <limits>

namespace teko {

namespace {

// Samples and the sums of the filter wrap at these widths, and the file holds bytes.
static_assert(CHAR_BIT == 8, "files are bytes of 8 bits");
static_assert(sizeof(std::int16_t) == 2, "coefficients of 8-bit samples wrap at 16 bits");
static_assert(sizeof(int) == 4, "sums over std::int16_t samples are taken in 32 bits");
static_assert(sizeof(std::int64_t) == 8, "coefficients of 16-bit samples have 64 bits, and files may pass 2 GB");

// The language promises both since C++20; compilers in earlier modes do not.
static_assert(-1 >> 1 == -1, "rounding shifts negative sums to the right");
static_assert(static_cast<std::int16_t>(0xFFFFU) == -1, "conversions to a narrower type keep the low bits");

static_assert(std::endian::native == std::endian::little || std::endian::native == std::endian::big,
              "words are stored in one of two orders");

// Budgets are products of single precision, rounded as such; errors are sums of double precision.
static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<float>::digits == 24,
              "rates are numbers of IEEE single precision");
static_assert(std::numeric_limits<double>::is_iec559 && std::numeric_limits<double>::digits == 53,
              "errors are numbers of IEEE double precision");
static_assert(FLT_EVAL_METHOD == 0, "a product of single precision is rounded to it");

} // namespace

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// What the procedures of every target need, included before its region begins.
#pragma once

#include "coding/littleEndian.hpp"
#include "coding/planes/decoding/runTables.hpp"
#include "coding/planes/planeCodingSets.hpp"
#include "coding/runLengthParameter.hpp"
#include "coding/segmentOrder.hpp"
#include "coding/segmentPlan.hpp"
#include "image/fillingMemory.hpp"
#include "memory/memory.hpp"
#include "target/region.hpp"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <memory>
#include <numeric>
#include <optional>
#include <type_traits>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

// SPDX-License-Identifier: Apache-2.0
// What the procedures of every target need, included before its region begins.
#pragma once

#include "coding/runLengthParameter.hpp"
#include "coding/segmentOrder.hpp"
#include "fast/planes/littleEndian.hpp"
#include "fast/planes/planeCodingSets.hpp"
#include "fast/planes/runTables.hpp"
#include "fast/planes/segmentPlan.hpp"
#include "memory/fillingMemory.hpp"
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

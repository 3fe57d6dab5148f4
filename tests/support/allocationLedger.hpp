// SPDX-License-Identifier: Apache-2.0
// How much a program has allocated, and allocations that fail on purpose. It is told by the operators of
// failingAllocation.hpp: some source file of the program has to include that.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>
#include <ostream>

namespace teko {

struct AllocationLedger {
    static inline long live = 0;             // allocations not yet given back
    static inline long untilFailure = -1;    // allocations that still succeed; negative: all of them
    static inline std::size_t requested = 0; // bytes, of all allocations

    // Alignment 0: that of every type.
    static void* allocate(std::size_t bytes, std::size_t alignment = 0) {
        constexpr auto most = static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max());
        if (untilFailure == 0 || bytes > most) {
            return nullptr;
        }
        if (untilFailure > 0) {
            --untilFailure;
        }
        void* memory = alignment == 0 ? std::malloc(bytes == 0 ? 1 : bytes)
                                      : std::aligned_alloc(alignment, (bytes / alignment + 1) * alignment);
        live += memory != nullptr ? 1 : 0;
        requested += bytes;
        return memory;
    }

    static void* allocateOrThrow(std::size_t bytes, std::size_t alignment = 0) {
        void* memory = allocate(bytes, alignment);
        if (memory == nullptr) {
            throw std::bad_alloc();
        }
        return memory;
    }

    static void release(void* memory) {
        live -= memory != nullptr ? 1 : 0;
        std::free(memory);
    }
};

enum class AllocationOutcome { succeeded, refused, leaked };

inline std::ostream& operator<<(std::ostream& stream, AllocationOutcome outcome) {
    static const char* const names[] = {"succeeded", "refused", "leaked"};
    return stream << names[static_cast<int>(outcome)];
}

// Runs an action of which the allocation after the first `successes` fails. Leaked when memory that it
// allocated is still held afterwards; so the action must not leave anything behind by design.
template <typename Action>
AllocationOutcome withFailingAllocation(long successes, Action action) {
    const long before = AllocationLedger::live;
    bool refused = false;
    AllocationLedger::untilFailure = successes;
    try {
        action();
    } catch (const std::bad_alloc&) {
        refused = true;
    }
    AllocationLedger::untilFailure = -1;
    if (AllocationLedger::live != before) {
        return AllocationOutcome::leaked;
    }
    return refused ? AllocationOutcome::refused : AllocationOutcome::succeeded;
}

} // namespace teko

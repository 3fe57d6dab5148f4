// SPDX-License-Identifier: Apache-2.0
// Allocations that fail on purpose, a count of those that were not given back, and how much all of them asked for.
//
// Replaces the program's allocation operators: include it in exactly one source file of a program, and
// allocationLedger.hpp in the others.
#pragma once

#include "support/allocationLedger.hpp"

void* operator new(std::size_t bytes) {
    return teko::AllocationLedger::allocateOrThrow(bytes);
}
void* operator new[](std::size_t bytes) {
    return teko::AllocationLedger::allocateOrThrow(bytes);
}
void* operator new[](std::size_t bytes, std::align_val_t alignment) {
    return teko::AllocationLedger::allocateOrThrow(bytes, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return teko::AllocationLedger::allocate(bytes);
}
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
    return teko::AllocationLedger::allocate(bytes);
}
void operator delete(void* memory) noexcept {
    teko::AllocationLedger::release(memory);
}
void operator delete[](void* memory) noexcept {
    teko::AllocationLedger::release(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    teko::AllocationLedger::release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    teko::AllocationLedger::release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    teko::AllocationLedger::release(memory);
}

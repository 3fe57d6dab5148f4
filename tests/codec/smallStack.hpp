// SPDX-License-Identifier: Apache-2.0
// A thread whose stack is as small as those of plug-ins and of some C libraries.
#pragma once

#include "support/targets.hpp"

#include <functional>
#include <gtest/gtest.h>
#include <pthread.h>

namespace teko {

// Sanitizers and code that is not optimised need more for the same.
#if defined(TEKO_IS_SANITIZED) || !defined(__OPTIMIZE__)
constexpr std::size_t smallStackBytes = std::size_t{1} << 20;
#else
constexpr std::size_t smallStackBytes = std::size_t{64} << 10;
#endif

// Runs an action on such a thread and waits for its end. The stack is what the action has: the thread's own data, of
// which C libraries take from the size they are told, are not counted.
inline void onSmallStack(std::function<void()> action) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, smallStackBytes), 0);
    pthread_t thread{};
    const auto run = [](void* what) -> void* {
        (*static_cast<std::function<void()>*>(what))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &action), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

} // namespace teko

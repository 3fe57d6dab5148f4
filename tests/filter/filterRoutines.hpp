// SPDX-License-Identifier: Apache-2.0
// Every way to run the filter on a signal, as functions from signal to signal that watch the memory around it.
#pragma once

#include "filter/filter.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <ostream>
#include <vector>

namespace teko {

enum class Direction { forward, inverse };

// A filter routine and the distance that it finds its samples at.
template <typename T>
struct Routine {
    const char* name;
    Direction direction;
    unsigned long stride;
    void (*run)(Filter4_2<T>& filter, T* x, int n, unsigned long stride);
};

template <typename T>
std::ostream& operator<<(std::ostream& stream, const Routine<T>& routine) {
    return stream << routine.name << ", stride " << routine.stride;
}

// A value for memory that no routine may change.
template <typename T>
constexpr T untouched = static_cast<T>(0x5A5A);

// Room for three scratch samples on either side, and two more that nobody may touch.
template <typename T, typename Kernel>
std::vector<T> throughKernel(const std::vector<T>& signal, Kernel kernel) {
    constexpr std::size_t fence = 2;
    constexpr std::size_t before = fence + 3;
    const std::size_t after = before + signal.size();
    std::vector<T> memory(after + before, untouched<T>);
    std::copy(signal.begin(), signal.end(), memory.begin() + before);
    kernel(memory.data() + before, static_cast<int>(signal.size()));
    for (std::size_t i = 0; i < fence; ++i) {
        EXPECT_EQ(memory[i], untouched<T>) << "before the edge slots";
        EXPECT_EQ(memory[after + 3 + i], untouched<T>) << "behind the edge slots";
    }
    return {memory.begin() + before, memory.begin() + static_cast<std::ptrdiff_t>(after)};
}

template <typename T>
std::vector<T> kernelForward(const std::vector<T>& signal) {
    Filter4_2<T> filter;
    return throughKernel(signal, [&](T* x, int n) { filter.transformInner(x, n); });
}

template <typename T>
std::vector<T> kernelInverse(const std::vector<T>& signal) {
    Filter4_2<T> filter;
    return throughKernel(signal, [&](T* x, int n) { filter.untransformInner(x, n); });
}

// Runs a routine on samples that lie a stride apart, with nothing behind the last one, and checks that what
// lies between them stays as it is.
template <typename T>
std::vector<T> through(const Routine<T>& routine, const std::vector<T>& signal) {
    const std::size_t stride = routine.stride;
    std::vector<T> memory(signal.empty() ? 0 : (signal.size() - 1) * stride + 1, untouched<T>);
    for (std::size_t k = 0; k < signal.size(); ++k) {
        memory[k * stride] = signal[k];
    }
    Filter4_2<T> filter;
    routine.run(filter, memory.data(), static_cast<int>(signal.size()), stride);
    std::vector<T> result;
    for (std::size_t i = 0; i < memory.size(); ++i) {
        if (i % stride == 0) {
            result.push_back(memory[i]);
        } else {
            EXPECT_EQ(memory[i], untouched<T>) << routine << ", element " << i;
        }
    }
    return result;
}

template <typename T, int N>
Routine<T> fixedForward() {
    return {"transformT", Direction::forward, N,
            [](Filter4_2<T>& f, T* x, int n, unsigned long) { f.template transformT<N>(x, n); }};
}

template <typename T, int N>
Routine<T> fixedInverse() {
    return {"untransformT", Direction::inverse, N,
            [](Filter4_2<T>& f, T* x, int n, unsigned long) { f.template untransformT<N>(x, n); }};
}

constexpr unsigned long testedStrides[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 16};

// The routines for any count of two or more.
template <typename T>
std::vector<Routine<T>> entryPoints() {
    std::vector<Routine<T>> routines;
    for (const unsigned long stride : testedStrides) {
        routines.push_back({"transform", Direction::forward, stride,
                            [](Filter4_2<T>& f, T* x, int n, unsigned long s) { f.transform(x, n, s); }});
        routines.push_back({"untransform", Direction::inverse, stride,
                            [](Filter4_2<T>& f, T* x, int n, unsigned long s) { f.untransform(x, n, s); }});
    }
    return routines;
}

template <typename T>
std::vector<Routine<T>> copyRoutines() {
    std::vector<Routine<T>> routines;
    for (const unsigned long stride : testedStrides) {
        routines.push_back({"transformCopy", Direction::forward, stride,
                            [](Filter4_2<T>& f, T* x, int n, unsigned long s) { f.transformCopy(x, n, s); }});
        routines.push_back({"untransformCopy", Direction::inverse, stride,
                            [](Filter4_2<T>& f, T* x, int n, unsigned long s) { f.untransformCopy(x, n, s); }});
    }
    return routines;
}

// The routines for six samples or more, in place.
template <typename T>
std::vector<Routine<T>> stridedRoutines() {
    std::vector<Routine<T>> routines{fixedForward<T, 1>(), fixedForward<T, 2>(), fixedInverse<T, 1>(),
                                     fixedInverse<T, 2>(), fixedInverse<T, 4>(), fixedInverse<T, 8>()};
    for (const unsigned long stride : testedStrides) {
        routines.push_back({"transformStrided", Direction::forward, stride,
                            [](Filter4_2<T>& f, T* x, int n, unsigned long s) { f.transformStrided(x, n, s); }});
        routines.push_back({"untransformStrided", Direction::inverse, stride,
                            [](Filter4_2<T>& f, T* x, int n, unsigned long s) { f.untransformStrided(x, n, s); }});
    }
    return routines;
}

} // namespace teko

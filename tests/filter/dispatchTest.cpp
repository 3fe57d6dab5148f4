// SPDX-License-Identifier: Apache-2.0
// Stages call one another through the virtual table, so that a subclass can replace each of them.
#include "filter/filter.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace teko {

namespace {

struct StageCall {
    std::string stage;
    int count;
    unsigned long stride;

    bool operator==(const StageCall&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const StageCall& call) {
    return stream << call.stage << "(" << call.count << ", " << call.stride << ")";
}

using Log = std::vector<StageCall>;

// Notes every stage that another one calls and goes on as the filter does.
template <typename T>
class LoggingFilter : public Filter4_2<T> {
public:
    void transformInner(T* x, int n) override {
        note("transformInner", n, 1);
        Filter4_2<T>::transformInner(x, n);
    }
    void untransformInner(T* x, int n) override {
        note("untransformInner", n, 1);
        Filter4_2<T>::untransformInner(x, n);
    }
    void transformCopy(T* x, int n, unsigned long stride) override {
        note("transformCopy", n, stride);
        Filter4_2<T>::transformCopy(x, n, stride);
    }
    void untransformCopy(T* x, int n, unsigned long stride) override {
        note("untransformCopy", n, stride);
        Filter4_2<T>::untransformCopy(x, n, stride);
    }
    void transformFast(T* x, int n, unsigned long stride) override {
        note("transformFast", n, stride);
        Filter4_2<T>::transformFast(x, n, stride);
    }
    void untransformFast(T* x, int n, unsigned long stride) override {
        note("untransformFast", n, stride);
        Filter4_2<T>::untransformFast(x, n, stride);
    }

    Log log;

private:
    void note(const char* stage, int n, unsigned long stride) { log.push_back({stage, n, stride}); }
};

// The fastest way is to do nothing.
template <typename T>
class LazyFilter : public Filter4_2<T> {
public:
    void transformFast(T*, int, unsigned long) override {}
    void untransformFast(T*, int, unsigned long) override {}
};

// Copies are marked instead of filtered.
template <typename T>
class MarkingFilter : public Filter4_2<T> {
public:
    void transformCopy(T* x, int, unsigned long stride) override { x[stride] = 1; }
    void untransformCopy(T* x, int, unsigned long stride) override { x[stride] = 2; }
};

// Kernels that reverse a signal, and use the room beside it.
template <typename T>
class ReversingFilter : public Filter4_2<T> {
public:
    void transformInner(T* x, int n) override { reverse(x, n); }
    void untransformInner(T* x, int n) override { reverse(x, n); }

private:
    void reverse(T* x, int n) {
        std::fill(x - 3, x, T{-1});
        std::fill(x + n, x + n + 3, T{-1});
        std::reverse(x, x + n);
    }
};

template <typename T>
class FilterDispatch : public testing::Test {
protected:
    std::vector<T> memory = std::vector<T>(100, T{7});

    Log stagesOfTransform(int n, unsigned long stride) {
        LoggingFilter<T> filter;
        filter.transform(memory.data(), n, stride);
        return filter.log;
    }
    Log stagesOfUntransform(int n, unsigned long stride) {
        LoggingFilter<T> filter;
        filter.untransform(memory.data(), n, stride);
        return filter.log;
    }
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(FilterDispatch, SampleTypes);

} // namespace

TYPED_TEST(FilterDispatch, takesTwoToFiveSamplesThroughACopyAndTheKernel) {
    EXPECT_EQ(this->stagesOfTransform(2, 1),
              (Log{{"transformFast", 2, 1}, {"transformCopy", 2, 1}, {"transformInner", 2, 1}}));
    EXPECT_EQ(this->stagesOfTransform(5, 9),
              (Log{{"transformFast", 5, 9}, {"transformCopy", 5, 9}, {"transformInner", 5, 1}}));
    EXPECT_EQ(this->stagesOfUntransform(2, 8),
              (Log{{"untransformFast", 2, 8}, {"untransformCopy", 2, 8}, {"untransformInner", 2, 1}}));
    EXPECT_EQ(this->stagesOfUntransform(5, 3),
              (Log{{"untransformFast", 5, 3}, {"untransformCopy", 5, 3}, {"untransformInner", 5, 1}}));
}

TYPED_TEST(FilterDispatch, takesSixSamplesAndMoreInPlace) {
    for (const unsigned long stride : {1UL, 2UL, 3UL, 4UL, 8UL, 16UL}) {
        EXPECT_EQ(this->stagesOfTransform(6, stride), (Log{{"transformFast", 6, stride}}));
        EXPECT_EQ(this->stagesOfUntransform(6, stride), (Log{{"untransformFast", 6, stride}}));
    }
}

TYPED_TEST(FilterDispatch, keepsSignalsOfFewerThanTwoSamplesFromTheKernel) {
    for (const int n : {1, 0, -3}) {
        EXPECT_EQ(this->stagesOfTransform(n, 4), (Log{{"transformFast", n, 4}, {"transformCopy", n, 4}}));
        EXPECT_EQ(this->stagesOfUntransform(n, 4), (Log{{"untransformFast", n, 4}, {"untransformCopy", n, 4}}));
    }
}

TYPED_TEST(FilterDispatch, leavesEverythingToAnOverriddenFastStage) {
    LazyFilter<TypeParam> filter;
    const auto before = this->memory;
    for (const int n : {2, 5, 6, 50}) {
        filter.transform(this->memory.data(), n, 2);
        filter.untransform(this->memory.data(), n, 2);
    }
    EXPECT_EQ(this->memory, before);
}

TYPED_TEST(FilterDispatch, leavesShortSignalsToAnOverriddenCopyStage) {
    MarkingFilter<TypeParam> filter;
    auto expected = this->memory;
    expected[13] = 1;
    filter.transform(this->memory.data(), 5, 13);
    EXPECT_EQ(this->memory, expected);
    expected[13] = 2;
    filter.untransformFast(this->memory.data(), 2, 13);
    EXPECT_EQ(this->memory, expected);
}

TYPED_TEST(FilterDispatch, leavesCopiesToAnOverriddenKernelAndScattersItsResult) {
    ReversingFilter<TypeParam> filter;
    std::vector<TypeParam> samples{1, 9, 2, 9, 3, 9, 4, 9};
    filter.transform(samples.data(), 4, 2);
    EXPECT_EQ(samples, (std::vector<TypeParam>{4, 9, 3, 9, 2, 9, 1, 9}));
    filter.untransformCopy(samples.data(), 3, 2);
    EXPECT_EQ(samples, (std::vector<TypeParam>{2, 9, 3, 9, 4, 9, 1, 9}));
}

TYPED_TEST(FilterDispatch, reachesTheFilterThroughItsInterface) {
    const std::unique_ptr<Filter<TypeParam>> filter = std::make_unique<Filter4_2<TypeParam>>();
    std::vector<TypeParam> samples{10, 5, 20, 5};
    filter->transform(samples.data(), 2, 2);
    EXPECT_EQ(samples, (std::vector<TypeParam>{18, 5, 10, 5}));
    filter->untransform(samples.data(), 2, 2);
    EXPECT_EQ(samples, (std::vector<TypeParam>{10, 5, 20, 5}));
}

} // namespace teko

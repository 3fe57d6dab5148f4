// SPDX-License-Identifier: Apache-2.0
// The lifting steps of the row kernels against those of single samples.
#include "fast/kernels/kernels.hpp"
#include "filter/filter.hpp"
#include "filter/lifting.hpp"
#include "support/targets.hpp"
#include "targets/rowBuffers.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

template <typename T>
using OddStep = T (*)(T, Wide<T>);
template <typename T>
using EvenStep = T (*)(T, Wide<T>);

template <typename T>
using WrappedPredict = std::conditional_t<sizeof(T) == sizeof(short), WrappedToSample, Exact>;

template <typename T>
class RowLifting : public testing::Test {
protected:
    using Row = RowSample<T>;
    using Kernels = RowKernels<T>;
    using Buffer = RowBuffer<Row>;
    // Exact forms are also called on single samples in the middle of a row: they keep to theirs.
    enum class Ends { padded, kept };

    // A step on odd samples whose neighbours are four rows.
    void checkDown(decltype(Kernels::predict) kernel, OddStep<T> step, Ends ends, Magnitudes evens) {
        for (const int n : rowLengths()) {
            Buffer odd = buffer(n, any);
            const Buffer a = buffer(n, evens), b = buffer(n, evens), c = buffer(n, evens), d = buffer(n, evens);
            Buffer wanted = odd;
            for (std::size_t i = 0; i < size(n); ++i) {
                wanted[i] = static_cast<Row>(step(wanted[i], predictSum<Wide<T>>(a[i], b[i], c[i], d[i])));
            }
            kernel(odd.row(), a.row(), b.row(), c.row(), d.row(), n);
            ASSERT_TRUE(odd.agreesWith(wanted, ends == Ends::padded ? odd.paddingSize() : 0)) << "length " << n;
        }
    }

    // The same with one row, shifted, for all neighbours.
    void checkAlong(decltype(Kernels::predict) kernel, OddStep<T> step, Ends ends, Magnitudes evens) {
        for (const int n : rowLengths()) {
            Buffer odd = buffer(n, any);
            const Buffer even = buffer(n, evens);
            const Row* e = even.row();
            Buffer wanted = odd;
            for (int i = 0; i < n; ++i) {
                Row& sample = wanted[size(i)];
                sample = static_cast<Row>(step(sample, predictSum<Wide<T>>(e[i - 1], e[i], e[i + 1], e[i + 2])));
            }
            kernel(odd.row(), e - 1, e, e + 1, e + 2, n);
            ASSERT_TRUE(odd.agreesWith(wanted, ends == Ends::padded ? odd.paddingSize() : 0)) << "length " << n;
        }
    }

    void checkOdd(decltype(Kernels::predict) kernel, OddStep<T> step, Ends ends, Magnitudes evens = any) {
        checkDown(kernel, step, ends, evens);
        checkAlong(kernel, step, ends, evens);
    }

    void checkEven(decltype(Kernels::update) kernel, EvenStep<T> step, Magnitudes evens, Magnitudes odds) {
        for (const int n : rowLengths()) {
            for (const bool along : {false, true}) {
                Buffer even = buffer(n, evens);
                const Buffer before = buffer(n, odds), after = buffer(n, odds);
                const Row* right = along ? before.row() + 1 : after.row();
                Buffer wanted = even;
                for (int i = 0; i < n; ++i) {
                    const Wide<T> sum = wrappingAdd<Wide<T>>(before[size(i)], right[i]);
                    wanted[size(i)] = static_cast<Row>(step(wanted[size(i)], rdiv<4>(sum)));
                }
                kernel(even.row(), before.row(), right, n);
                ASSERT_TRUE(even.agreesWith(wanted, even.paddingSize())) << "length " << n;
            }
        }
    }

    // In place, and with nothing behind the row touched.
    void checkUnscaling(decltype(Kernels::unscale) kernel, Magnitudes range) {
        for (const int n : rowLengths()) {
            for (const int times : {1, 2, 10}) {
                Buffer row = buffer(n, range);
                Buffer wanted = row;
                for (int i = 0; i < n * times; ++i) {
                    Row& sample = wanted[size(i % n)];
                    sample = static_cast<Row>(unscale<Wide<T>>(sample));
                }
                kernel(row.row(), n, times);
                ASSERT_TRUE(row.agreesWith(wanted, 0)) << "length " << n << ", " << times << " times";
            }
        }
    }

    // Both steps along rows of every length that a level may have, mirrored about their ends.
    void checkBothAlong(void (*kernel)(Row*, Row*, int), void (*steps)(std::vector<T>&), Magnitudes evens,
                        Magnitudes odds) {
        for (int n = 6; n <= 300; ++n) {
            Buffer even = buffer((n + 1) / 2, evens);
            Buffer odd = buffer((n + 1) / 2, odds); // as much room for both
            std::vector<T> wanted;
            for (int i = 0; i < n; ++i) {
                wanted.push_back((i % 2 == 0 ? even : odd)[size(i / 2)]);
            }
            steps(wanted);
            kernel(even.row(), odd.row(), n);
            for (int i = 0; i < n; ++i) {
                ASSERT_EQ((i % 2 == 0 ? even : odd)[size(i / 2)], static_cast<Row>(wanted[size(i)]))
                    << "sample " << i << " of " << n;
            }
        }
    }

    static void transformPlainly(std::vector<T>& signal) {
        Filter4_2<T>().transform(signal.data(), static_cast<int>(signal.size()), 1);
    }
    static void untransformPlainly(std::vector<T>& signal) {
        Filter4_2<T>().untransform(signal.data(), static_cast<int>(signal.size()), 1);
    }

    template <typename Check>
    void forAllTargets(Check check) {
        for (const Target target : fastTargets()) {
            SCOPED_TRACE(nameOf(target));
            for (int round = 0; round < 10; ++round) {
                check(kernelsOf(target).rows<T>());
            }
        }
    }

    // What update and unupdate take; int rows have one range.
    static constexpr bool isShort = sizeof(T) == sizeof(short);
    static constexpr Magnitudes any = anyMagnitude<T>;
    static constexpr Magnitudes updateEvens = isShort ? Magnitudes{24575} : any;
    static constexpr Magnitudes updateSmallEvens = isShort ? Magnitudes{1023} : any;
    static constexpr Magnitudes updateSmallOdds = isShort ? Magnitudes{2048} : any;
    static constexpr Magnitudes updateOdds = isShort ? Magnitudes{16383} : any;
    static constexpr Magnitudes anyBack = isShort ? any : Magnitudes{largestForIntRowsBack};
    static constexpr Magnitudes unupdateEvens = isShort ? Magnitudes{21841} : anyBack;
    static constexpr Magnitudes unupdateOdds = isShort ? Magnitudes{16383} : anyBack;
    static constexpr Magnitudes restored = isShort ? any : Magnitudes{largestRestored};

private:
    static std::size_t size(int n) { return static_cast<std::size_t>(n); }
    Buffer buffer(int n, Magnitudes range) { return Buffer(random, size(n), range); }

    Random random{1};
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(RowLifting, SampleTypes);

} // namespace

TYPED_TEST(RowLifting, PredictsFromSumsWrappedToTheSample) {
    this->forAllTargets([this](const auto& kernels) {
        this->checkOdd(kernels.predict, predicted<TypeParam, WrappedPredict<TypeParam>>, TestFixture::Ends::padded);
    });
}

TYPED_TEST(RowLifting, PredictsFromExactSums) {
    this->forAllTargets([this](const auto& kernels) {
        this->checkOdd(kernels.predictExact, predicted<TypeParam, Exact>, TestFixture::Ends::kept);
    });
}

TYPED_TEST(RowLifting, UnpredictsFromSumsWrappedToTheSample) {
    this->forAllTargets([this](const auto& kernels) {
        this->checkOdd(kernels.unpredict, unpredicted<TypeParam, WrappedPredict<TypeParam>>, TestFixture::Ends::padded,
                       TestFixture::restored);
    });
}

TYPED_TEST(RowLifting, UnpredictsFromExactSums) {
    this->forAllTargets([this](const auto& kernels) {
        this->checkOdd(kernels.unpredictExact, unpredicted<TypeParam, Exact>, TestFixture::Ends::kept,
                       TestFixture::restored);
    });
}

TYPED_TEST(RowLifting, UpdatesVerySmallSamples) {
    this->forAllTargets([this](const auto& kernels) {
        this->checkEven(kernels.updateSmall, updated<TypeParam>, TestFixture::updateSmallEvens,
                        TestFixture::updateSmallOdds);
    });
}

TYPED_TEST(RowLifting, UpdatesSmallSamples) {
    this->forAllTargets([this](const auto& kernels) {
        this->checkEven(kernels.update, updated<TypeParam>, TestFixture::updateEvens, TestFixture::updateOdds);
    });
}

TYPED_TEST(RowLifting, UpdatesAnySamples) {
    this->forAllTargets([this](const auto& kernels) {
        this->checkEven(kernels.updateExact, updated<TypeParam>, TestFixture::any, TestFixture::any);
    });
}

TYPED_TEST(RowLifting, TransformsRowsOfEveryMagnitude) {
    this->forAllTargets([this](const auto& kernels) {
        const Magnitudes small{TestFixture::isShort ? 600 : long{largestForIntRows}};
        const Magnitudes middle{TestFixture::isShort ? 1638 : long{largestForIntRows}};
        this->checkBothAlong(kernels.transformRowSmall, this->transformPlainly, small, small);
        this->checkBothAlong(kernels.transformRow, this->transformPlainly, middle, middle);
        this->checkBothAlong(kernels.transformRowExact, this->transformPlainly, TestFixture::any, TestFixture::any);
    });
}

TYPED_TEST(RowLifting, UntransformsRowsOfEveryMagnitude) {
    this->forAllTargets([this](const auto& kernels) {
        this->checkBothAlong(kernels.untransformRow, this->untransformPlainly, TestFixture::unupdateEvens,
                             TestFixture::unupdateOdds);
        this->checkBothAlong(kernels.untransformRowExact, this->untransformPlainly, TestFixture::anyBack,
                             TestFixture::anyBack);
    });
}

TYPED_TEST(RowLifting, UnscalesSamples) {
    this->forAllTargets([this](const auto& kernels) {
        this->checkUnscaling(kernels.unscale, TestFixture::unupdateEvens);
        this->checkUnscaling(kernels.unscale, Magnitudes{1000});
        this->checkUnscaling(kernels.unscale, TestFixture::restored);
    });
}

TYPED_TEST(RowLifting, UnupdatesSmallSamples) {
    this->forAllTargets([this](const auto& kernels) {
        this->checkEven(kernels.unupdate, unupdated<TypeParam>, TestFixture::unupdateEvens, TestFixture::unupdateOdds);
    });
}

TYPED_TEST(RowLifting, UnupdatesAnySamples) {
    this->forAllTargets([this](const auto& kernels) {
        this->checkEven(kernels.unupdateExact, unupdated<TypeParam>, TestFixture::anyBack, TestFixture::anyBack);
    });
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
#include "filter/filter.hpp"

#include "filter/lifting.hpp"

#include <cassert>
#include <cstdint>
#include <type_traits>

namespace teko {

namespace {

// A strided signal; sample k is element k * stride. Strides that the compiler knows come as constants.
template <typename T, typename Stride>
struct Signal {
    T* x;
    Stride stride;

    T& operator[](int k) const { return x[k * stride]; }
    Wide<T> wide(int k) const { return (*this)[k]; }
    Wide<T> sumAround(int i) const { return predictSum(wide(i - 3), wide(i - 1), wide(i + 1), wide(i + 3)); }
};

template <typename T, typename Stride>
Signal(T*, Stride) -> Signal<T, Stride>;

template <int N>
using ConstantStride = std::integral_constant<std::int64_t, N>;

// Mirrors the signal about its ends into three slots on either side. Each assignment may read what one before
// it wrote: that is what signals of two and three samples rely on.
template <typename T>
void extendEdges(T* x, int n) {
    assert(n >= 2);
    x[-1] = x[1];
    x[n] = x[n - 2];
    x[-2] = x[2];
    x[n + 1] = x[n - 3];
    x[-3] = x[3];
    x[n + 2] = x[n - 4];
}

// Calls step(sample, term) on every even sample; term is a quarter of its odd neighbours, rounded.
template <typename T, typename Stride, typename Step>
void forEvenSamples(Signal<T, Stride> x, int n, Step step) {
    step(x[0], half(x.wide(1)));
    int i = 2;
    for (; i + 1 < n; i += 2) {
        step(x[i], rdiv<4>(wrappingAdd(x.wide(i - 1), x.wide(i + 1))));
    }
    if (i < n) {
        step(x[i], half(x.wide(i - 1)));
    }
}

// Calls step(sample, sum, rounding) on every odd sample of six or more; sum is sixteen times its prediction, mirrored
// at the ends, or as much as the rounding asks for.
template <typename T, typename Stride, typename Step>
void forOddSamples(Signal<T, Stride> x, int n, Step step) {
    assert(n >= 6);
    step(x[1], predictSum(x.wide(2), x.wide(0), x.wide(2), x.wide(4)), Exact{});
    int i = 3;
    for (; i < n - 3; i += 2) {
        step(x[i], x.sumAround(i), WrappedToSample{});
    }
    const bool endsLowPass = n % 2 != 0;
    step(x[i], predictSum(x.wide(i - 3), x.wide(i - 1), x.wide(i + 1), x.wide(endsLowPass ? i - 1 : i + 1)), Exact{});
    if (!endsLowPass) {
        step(x[n - 1], halfPredictSum(x.wide(n - 4), x.wide(n - 2)), Doubled{});
    }
}

template <typename T, typename Stride>
void transformSignal(Signal<T, Stride> x, int n) {
    forOddSamples(x, n, [](T& odd, Wide<T> sum, auto rounding) { odd = predicted<T, decltype(rounding)>(odd, sum); });
    forEvenSamples(x, n, [](T& even, Wide<T> term) { even = updated(even, term); });
}

template <typename T, typename Stride>
void untransformSignal(Signal<T, Stride> x, int n) {
    forEvenSamples(x, n, [](T& even, Wide<T> term) { even = unupdated(even, term); });
    forOddSamples(x, n, [](T& odd, Wide<T> sum, auto rounding) { odd = unpredicted<T, decltype(rounding)>(odd, sum); });
}

// Gathers a short signal with room for edges, runs a kernel on it, and scatters the results.
template <typename T, typename Kernel>
void throughCopy(T* x, int n, unsigned long stride, Kernel kernel) {
    assert(n <= Filter4_2<T>::maximumCopied);
    constexpr int edge = Filter<T>::edgeRoom;
    T copy[edge + Filter4_2<T>::maximumCopied + edge];
    const Signal signal{x, static_cast<std::int64_t>(stride)};
    for (int k = 0; k < n; ++k) {
        copy[edge + k] = signal[k];
    }
    kernel(copy + edge);
    for (int k = 0; k < n; ++k) {
        signal[k] = copy[edge + k];
    }
}

} // namespace

template <typename T>
void Filter4_2<T>::transformInner(T* x, int n) {
    extendEdges(x, n);
    const Signal signal{x, ConstantStride<1>{}};
    for (int i = 1; i < n; i += 2) {
        x[i] = predicted<T, WrappedToSample>(x[i], signal.sumAround(i));
    }
    forEvenSamples(signal, n, [](T& even, Wide<T> term) { even = updated(even, term); });
}

template <typename T>
void Filter4_2<T>::untransformInner(T* x, int n) {
    const Signal signal{x, ConstantStride<1>{}};
    forEvenSamples(signal, n, [](T& even, Wide<T> term) { even = unupdated(even, term); });
    extendEdges(x, n);
    for (int i = 1; i < n; i += 2) {
        x[i] = unpredicted<T, Exact>(x[i], signal.sumAround(i));
    }
}

template <typename T>
void Filter4_2<T>::transform(T* x, int n, unsigned long stride) {
    this->transformFast(x, n, stride);
}

template <typename T>
void Filter4_2<T>::untransform(T* x, int n, unsigned long stride) {
    this->untransformFast(x, n, stride);
}

template <typename T>
void Filter4_2<T>::transformFast(T* x, int n, unsigned long stride) {
    if (n < 6) {
        this->transformCopy(x, n, stride);
    } else if (stride == 1) {
        transformT<1>(x, n);
    } else if (stride == 2) {
        transformT<2>(x, n);
    } else {
        transformStrided(x, n, stride);
    }
}

template <typename T>
void Filter4_2<T>::untransformFast(T* x, int n, unsigned long stride) {
    if (n < 6) {
        this->untransformCopy(x, n, stride);
    } else if (stride == 1) {
        untransformT<1>(x, n);
    } else if (stride == 2) {
        untransformT<2>(x, n);
    } else if (stride == 4) {
        untransformT<4>(x, n);
    } else if (stride == 8) {
        untransformT<8>(x, n);
    } else {
        untransformStrided(x, n, stride);
    }
}

template <typename T>
void Filter4_2<T>::transformCopy(T* x, int n, unsigned long stride) {
    if (n >= 2) {
        throughCopy(x, n, stride, [this, n](T* copy) { this->transformInner(copy, n); });
    }
}

template <typename T>
void Filter4_2<T>::untransformCopy(T* x, int n, unsigned long stride) {
    if (n >= 2) {
        throughCopy(x, n, stride, [this, n](T* copy) { this->untransformInner(copy, n); });
    }
}

template <typename T>
void Filter4_2<T>::transformStrided(T* x, int n, unsigned long stride) {
    transformSignal(Signal{x, static_cast<std::int64_t>(stride)}, n);
}

template <typename T>
void Filter4_2<T>::untransformStrided(T* x, int n, unsigned long stride) {
    untransformSignal(Signal{x, static_cast<std::int64_t>(stride)}, n);
}

template <typename T>
template <int N>
void Filter4_2<T>::transformT(T* x, int n) {
    transformSignal(Signal{x, ConstantStride<N>{}}, n);
}

template <typename T>
template <int N>
void Filter4_2<T>::untransformT(T* x, int n) {
    untransformSignal(Signal{x, ConstantStride<N>{}}, n);
}

template class Filter4_2<std::int16_t>;
template class Filter4_2<std::int64_t>;

template void Filter4_2<std::int16_t>::transformT<1>(std::int16_t*, int);
template void Filter4_2<std::int16_t>::transformT<2>(std::int16_t*, int);
template void Filter4_2<std::int16_t>::untransformT<1>(std::int16_t*, int);
template void Filter4_2<std::int16_t>::untransformT<2>(std::int16_t*, int);
template void Filter4_2<std::int16_t>::untransformT<4>(std::int16_t*, int);
template void Filter4_2<std::int16_t>::untransformT<8>(std::int16_t*, int);
template void Filter4_2<std::int64_t>::transformT<1>(std::int64_t*, int);
template void Filter4_2<std::int64_t>::transformT<2>(std::int64_t*, int);
template void Filter4_2<std::int64_t>::untransformT<1>(std::int64_t*, int);
template void Filter4_2<std::int64_t>::untransformT<2>(std::int64_t*, int);
template void Filter4_2<std::int64_t>::untransformT<4>(std::int64_t*, int);
template void Filter4_2<std::int64_t>::untransformT<8>(std::int64_t*, int);

} // namespace teko

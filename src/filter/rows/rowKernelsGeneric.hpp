// Row kernels in standard C++, straight from the arithmetic of the filter. Included once per target, inside its
// region and namespace: the compiler finds the vectors. No include guard, no includes.

// A number with the same highest bit as the magnitude, or one less: OR-ed together, such numbers bound all of them.
template <typename T>
constexpr T magnitudeBits(T sample) {
    return static_cast<T>(sample ^ sample >> (8 * static_cast<int>(sizeof(T)) - 1));
}

template <typename T>
constexpr long boundFrom(T bits) {
    return std::min<long>(bits, std::numeric_limits<long>::max() - 1) + 1;
}

template <typename T>
long split(const T* x, long step, int n, RowSample<T>* __restrict even, RowSample<T>* __restrict odd) {
    T bits = 0; // of all magnitudes
    const int pairs = n / 2;
    for (int i = 0; i < pairs; ++i) {
        const T e = x[2 * i * step];
        const T o = x[(2 * i + 1) * step];
        bits = static_cast<T>(bits | magnitudeBits(e) | magnitudeBits(o));
        even[i] = static_cast<RowSample<T>>(e);
        odd[i] = static_cast<RowSample<T>>(o);
    }
    if (n % 2 != 0) {
        const T e = x[(n - 1) * step];
        bits = static_cast<T>(bits | magnitudeBits(e));
        even[pairs] = static_cast<RowSample<T>>(e);
    }
    return boundFrom(bits);
}

template <typename T>
long splitRow(const T* x, long step, int n, RowSample<T>* even, RowSample<T>* odd) {
    switch (step) {
    case 1:
        return split<T>(x, 1, n, even, odd);
    case 2:
        return split<T>(x, 2, n, even, odd);
    default:
        return split<T>(x, step, n, even, odd);
    }
}

template <typename T>
void merge(T* __restrict x, long step, int n, const RowSample<T>* __restrict even, const RowSample<T>* __restrict odd) {
    const int pairs = n / 2;
    for (int i = 0; i < pairs; ++i) {
        x[2 * i * step] = even[i];
        x[(2 * i + 1) * step] = odd[i];
    }
    if (n % 2 != 0) {
        x[(n - 1) * step] = even[pairs];
    }
}

template <typename T>
void mergeRow(T* x, long step, int n, const RowSample<T>* even, const RowSample<T>* odd) {
    if (step == 1) {
        merge<T>(x, 1, n, even, odd);
    } else {
        merge<T>(x, step, n, even, odd);
    }
}

template <typename T>
long largest(const T* x, long step, int n) {
    T bits = 0;
    for (int i = 0; i < n; ++i) {
        bits = static_cast<T>(bits | magnitudeBits(x[i * step]));
    }
    return boundFrom(bits);
}

template <typename Row>
long largestCompactRow(const Row* x, int n) {
    return largest<Row>(x, 1, n);
}

template <typename Row>
long splitCompactRow(const Row* x, int n, Row* even, Row* odd) {
    return split<Row>(x, 1, n, even, odd);
}

template <typename Row>
long mergeCompactRow(Row* __restrict x, int n, const Row* __restrict even, const Row* __restrict odd) {
    merge<Row>(x, 1, n, even, odd);
    return largest<Row>(x, 1, n);
}

// rdiv(a, 2^shift): an arithmetic shift rounds halves up, and one less below zero makes that away from zero. In int,
// with no test (1.4 times on the transform of 16-bit images against rdiv in its own width).
template <int shift>
constexpr int roundedShift(int a) {
    return (a + (1 << (shift - 1)) + (a >> 31)) >> shift;
}

template <typename Row, typename Width>
constexpr int prediction(Row farLeft, Row left, Row right, Row farRight) {
    const int sum = 9 * (left + right) - (farLeft + farRight);
    return roundedShift<4>(std::is_same_v<Width, WrappedToSample> ? static_cast<Row>(sum) : sum);
}

// Rows of one image never overlap; without __restrict the loops would test that each time.
template <typename Row, typename Width>
void predictRow(Row* __restrict odd, const Row* farLeft, const Row* left, const Row* right, const Row* farRight,
                int n) {
    for (int i = 0; i < n; ++i) {
        odd[i] = static_cast<Row>(odd[i] - prediction<Row, Width>(farLeft[i], left[i], right[i], farRight[i]));
    }
}

template <typename Row, typename Width>
void unpredictRow(Row* __restrict odd, const Row* farLeft, const Row* left, const Row* right, const Row* farRight,
                  int n) {
    for (int i = 0; i < n; ++i) {
        odd[i] = static_cast<Row>(odd[i] + prediction<Row, Width>(farLeft[i], left[i], right[i], farRight[i]));
    }
}

// scale(v) is rdiv(152 v, 128) = rdiv(19 v, 16), and unscale(y) is (16 |y| + 8) / 19 with the sign of y: the
// smaller factors leave room in 32 bits.
template <typename Row>
void updateRow(Row* __restrict even, const Row* before, const Row* after, int n) {
    for (int i = 0; i < n; ++i) {
        even[i] = static_cast<Row>(roundedShift<4>(19 * (even[i] + roundedShift<2>(before[i] + after[i]))));
    }
}

template <typename Row>
void unupdateRow(Row* __restrict even, const Row* before, const Row* after, int n) {
    for (int i = 0; i < n; ++i) {
        even[i] = static_cast<Row>(divideSymmetric<int>(even[i], 16 * even[i], 8, 19) -
                                   roundedShift<2>(before[i] + after[i]));
    }
}

template <typename T>
constexpr RowKernels<T> genericRowKernels() {
    using Row = RowSample<T>;
    using Wrapped = std::conditional_t<sizeof(T) == sizeof(short), WrappedToSample, Exact>;
    return {splitRow<T>,
            mergeRow<T>,
            splitCompactRow<Row>,
            mergeCompactRow<Row>,
            largest<T>,
            largestCompactRow<Row>,
            predictRow<Row, Wrapped>,
            predictRow<Row, Exact>,
            updateRow<Row>,
            updateRow<Row>,
            updateRow<Row>,
            unpredictRow<Row, Wrapped>,
            unpredictRow<Row, Exact>,
            unupdateRow<Row>,
            unupdateRow<Row>};
}

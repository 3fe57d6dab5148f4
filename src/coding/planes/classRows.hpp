// Taking the rows of a plane apart into the sequences of its classes, and putting them together. Included once
// per target, inside its region and namespace. No include guard, no includes.

// What a folded value is held in outside the planes.
template <typename T>
using Value = std::conditional_t<sizeof(T) == sizeof(short), short, int>;

template <typename From, typename To>
void splitPairs(const From* __restrict row, int pairs, To* __restrict even, To* __restrict odd) {
    for (int i = 0; i < pairs; ++i) {
        even[i] = static_cast<To>(row[2 * i]);
        odd[i] = static_cast<To>(row[2 * i + 1]);
    }
}

template <typename From, typename To>
void copyRow(const From* __restrict from, int n, To* __restrict to) {
    for (int i = 0; i < n; ++i) {
        to[i] = static_cast<To>(from[i]);
    }
}

// Splits rows into the pieces that belong to one class: the odd samples are of the finest class that the row
// has, and of the even samples the odd ones are of the next.
template <typename T>
class RowSplitter {
public:
    RowSplitter(int width, int levelCount)
        : levels(levelCount), half(static_cast<std::size_t>(width / 2 + 1)), memory(new Value<T>[4 * half]) {}

    // Calls piece(class, values, count) for each class of row y, the finest first.
    template <typename Piece>
    void forPieces(const T* row, int y, int width, Piece piece) const {
        const int finest = subbandClass(0, y, levels);
        Value<T>* even = memory.get();
        Value<T>* odd = even + half;
        if (finest == 0) {
            wholeRow(row, width, piece);
            return;
        }
        split(row, width, even, odd);
        piece(0, odd, width / 2);
        int n = (width + 1) / 2;
        for (int c = 1; c < finest; ++c) {
            Value<T>* nextEven = memory.get() + 2 * half;
            split(even, n, nextEven, odd);
            piece(c, odd, n / 2);
            n = (n + 1) / 2;
            std::copy_n(nextEven, n, even);
        }
        piece(finest, even, n);
    }

private:
    template <typename Piece>
    void wholeRow(const T* row, int width, Piece piece) const {
        if constexpr (std::is_same_v<T, Value<T>>) {
            piece(0, row, width);
        } else {
            copyRow(row, width, memory.get());
            piece(0, memory.get(), width);
        }
    }

    template <typename From>
    static void split(const From* row, int n, Value<T>* even, Value<T>* odd) {
        splitPairs(row, n / 2, even, odd);
        if (n % 2 != 0) {
            even[n / 2] = static_cast<Value<T>>(row[n - 1]);
        }
    }

    int levels;
    std::size_t half;
    std::unique_ptr<Value<T>[]> memory;
};

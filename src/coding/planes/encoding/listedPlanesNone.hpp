// For targets that code every plane from bit words. Included inside a target's region and namespace, after
// encoderChunk.hpp. No include guard, no includes.

template <typename V>
struct ListedCoefficients {
    static constexpr bool isUsed = false;
};

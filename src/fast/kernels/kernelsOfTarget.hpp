// SPDX-License-Identifier: Apache-2.0
// The table of the target that is compiled for.
#pragma once

#include "fast/kernels/kernels.hpp"
#include "fast/planes/bitLengths.hpp"
#include "fast/planes/folding.hpp"
#include "fast/planes/subbandCoder.hpp"
#include "fast/planes/subbandDecoder.hpp"
#include "fast/rows/lanesRows.hpp"
#include "fast/rows/portableRows.hpp"

#include <cstdint>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

#if defined(TEKO_HAS_LANES)

#if defined(TEKO_FOR_NEON)
// Where samples are only moved, loads and stores of two registers at a time do it all, and the compiler finds them.
constexpr auto splitRawBytes = splitBytes;
constexpr auto splitRawWords = splitWords;
constexpr auto joinRawBytes = joinBytes;
constexpr auto splitRowOf16 = splitRow<std::int16_t>;
constexpr auto mergeRowOf16 = mergeRow<std::int16_t>;
#else
constexpr auto splitRawBytes = splitBytesInLanes;
constexpr auto splitRawWords = splitWordsInLanes;
constexpr auto joinRawBytes = joinBytesInLanes;
constexpr auto splitRowOf16 = splitInLanes;
constexpr auto mergeRowOf16 = mergeInLanes;
#endif

constexpr RawRowKernels rawRowKernels{
    .splitBytes = splitRawBytes,
    .splitWords = splitRawWords,
    .splitWordsTo16 = splitWordsTo16InLanes,
    .splitColours = splitColoursInLanes,
    .joinBytes = joinRawBytes,
    .joinWords = joinWordsInLanes,
    .joinWordsFrom16 = joinWordsFrom16InLanes,
    .joinColours = joinColoursInLanes,
    .joinColoursBelow = joinColoursBelowInLanes,
    .clamp = clampSamples<std::int16_t>,
    .clampWide = clampSamples<int>,
};

constexpr RowKernels<std::int16_t> rowKernelsOf16{
    .split = splitRowOf16,
    .merge = mergeRowOf16,
    .bound = boundOfRow<std::int16_t>,
    .predict = predictInLanes<prediction<Lanes>>,
    .predictExact = predictRow<std::int16_t, Exact>,
    .updateSmall = updateInLanes<updatedSmall>,
    .update = updateInLanes<updated<Lanes>>,
    .updateExact = updateRow<std::int16_t>,
    .transformRowSmall = transformInLanes<Lanes, prediction<Lanes>, updatedSmall>,
    .transformRow = transformInLanes<Lanes, prediction<Lanes>, updated<Lanes>>,
    .transformRowExact = transformRowAlong<std::int16_t, WrappedToSample>,
    .unpredict = unpredictInLanes<prediction<Lanes>>,
    .unpredictExact = unpredictRow<std::int16_t, Exact>,
    .unupdate = updateInLanes<unupdated>,
    .unupdateExact = unupdateRow<std::int16_t>,
    .untransformRow = untransformInLanes<prediction<Lanes>>,
    .untransformRowExact = untransformRowAlong<std::int16_t, WrappedToSample>,
    .unscale = unscaleInLanes,
};

constexpr RowKernels<Int64In16> narrowRowKernelsOf64{
    .split = splitRowOf16,
    .merge = mergeRowOf16,
    .bound = boundOfRow<std::int16_t>,
    .predict = predictInLanes<predictionInParts>,
    .predictExact = predictInLanes<predictionInParts>,
    .updateSmall = updateInLanes<updated<Lanes>>,
    .update = updateInLanes<updated<Lanes>>,
    .updateExact = updateInLanes<updated<Lanes>>,
    .transformRowSmall = transformInLanes<Lanes, predictionInParts, updated<Lanes>>,
    .transformRow = transformInLanes<Lanes, predictionInParts, updated<Lanes>>,
    .transformRowExact = transformInLanes<Lanes, predictionInParts, updated<Lanes>>,
    .unpredict = unpredictInLanes<predictionInParts>,
    .unpredictExact = unpredictInLanes<predictionInParts>,
    .unupdate = updateInLanes<unupdated>,
    .unupdateExact = updateInLanes<unupdated>,
    .untransformRow = untransformInLanes<predictionInParts>,
    .untransformRowExact = untransformInLanes<predictionInParts>,
    .unscale = unscaleInLanes,
};

#if defined(TEKO_FOR_AVX2)
// Along rows of int, eight lanes are no faster than the vectors that the compiler finds.
constexpr auto transformIntRow = transformRowAlong<int, Exact>;
#else
constexpr auto transformIntRow = transformInLanes<WideLanes, prediction<WideLanes>, updated<WideLanes>>;
#endif

#else

constexpr RawRowKernels rawRowKernels{
    .splitBytes = splitBytes,
    .splitWords = splitWords,
    .splitWordsTo16 = splitWordsTo16,
    .splitColours = splitColours,
    .joinBytes = joinBytes,
    .joinWords = joinWords<int>,
    .joinWordsFrom16 = joinWords<std::int16_t>,
    .joinColours = joinColours,
    .joinColoursBelow = joinColoursBelow,
    .clamp = clampSamples<std::int16_t>,
    .clampWide = clampSamples<int>,
};

template <typename T, typename Wrapped>
constexpr RowKernels<T> portableRowKernels{
    .split = splitRow<std::int16_t>,
    .merge = mergeRow<std::int16_t>,
    .bound = boundOfRow<std::int16_t>,
    .predict = predictRow<std::int16_t, Wrapped>,
    .predictExact = predictRow<std::int16_t, Exact>,
    .updateSmall = updateRow<std::int16_t>,
    .update = updateRow<std::int16_t>,
    .updateExact = updateRow<std::int16_t>,
    .transformRowSmall = transformRowAlong<std::int16_t, Wrapped>,
    .transformRow = transformRowAlong<std::int16_t, Wrapped>,
    .transformRowExact = transformRowAlong<std::int16_t, Wrapped>,
    .unpredict = unpredictRow<std::int16_t, Wrapped>,
    .unpredictExact = unpredictRow<std::int16_t, Exact>,
    .unupdate = unupdateRow<std::int16_t>,
    .unupdateExact = unupdateRow<std::int16_t>,
    .untransformRow = untransformRowAlong<std::int16_t, Wrapped>,
    .untransformRowExact = untransformRowAlong<std::int16_t, Wrapped>,
    .unscale = unscaleRow<std::int16_t>,
};

constexpr RowKernels<std::int16_t> rowKernelsOf16 = portableRowKernels<std::int16_t, WrappedToSample>;
constexpr RowKernels<Int64In16> narrowRowKernelsOf64 = portableRowKernels<Int64In16, Exact>;
constexpr auto transformIntRow = transformRowAlong<int, Exact>;

#endif

// Rows of int: for all but both steps along a row at once, the compiler finds the vectors.
constexpr RowKernels<std::int64_t> rowKernelsOf64{
    .split = splitRow<int>,
    .merge = mergeRow<int>,
    .bound = boundOfRow<int>,
    .predict = predictRow<int, Exact>,
    .predictExact = predictRow<int, Exact>,
    .updateSmall = updateRow<int>,
    .update = updateRow<int>,
    .updateExact = updateRow<int>,
    .transformRowSmall = transformIntRow,
    .transformRow = transformIntRow,
    .transformRowExact = transformIntRow,
    .unpredict = unpredictRow<int, Exact>,
    .unpredictExact = unpredictRow<int, Exact>,
    .unupdate = unupdateRow<int>,
    .unupdateExact = unupdateRow<int>,
    .untransformRow = untransformRowAlong<int, Exact>,
    .untransformRowExact = untransformRowAlong<int, Exact>,
    .unscale = unscaleRow<int>,
};

#if defined(TEKO_HAS_LANES)
constexpr auto splitNarrowRow = splitExtendingInLanes;
constexpr auto mergeNarrowRow = mergeExtendingInLanes;
#else
constexpr auto splitNarrowRow = splitExtending;
constexpr auto mergeNarrowRow = mergeExtending<std::int16_t>;
#endif

constexpr NarrowRowKernels narrowRowKernels{
    .split = splitNarrowRow,
    .merge = mergeNarrowRow,
    .mergeNarrowing = mergeExtending<int>,
    .splitWidening = splitPairs<int, std::int16_t>,
    .mergeWidening = mergePairs<int, std::int16_t>,
};

template <typename T>
constexpr PlaneKernels<T> planeKernels{
    .fold = fold<RowSample<T>>,
    .foldPairs = foldPairs<RowSample<T>>,
    .fold16 = fold<std::int16_t>,
    .fold16Pairs = foldPairs<std::int16_t>,
    .countLengths = countLengths<RowSample<T>>,
    .codeClass = codeClass<T>,
    .makeSliced = makeSliced<T>,
};

#if defined(TEKO_HAS_LANES)
constexpr bool prefers16BitRows = true;
#else
constexpr bool prefers16BitRows = false;
#endif

} // namespace

const Kernels& kernels() {
    static constexpr Kernels table{
        .rawRows = rawRowKernels,
        .rowsOf16 = rowKernelsOf16,
        .narrowRowsOf64 = narrowRowKernelsOf64,
        .rowsOf64 = rowKernelsOf64,
        .narrowRows = narrowRowKernels,
        .planesOf16 = planeKernels<std::int16_t>,
        .planesOf64 = planeKernels<std::int64_t>,
        .prefers16BitRows = prefers16BitRows,
    };
    return table;
}

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END

// SPDX-License-Identifier: Apache-2.0
// A class of a channel on its way into its sub-streams, plane by plane.
#pragma once

#include "fast/planes/planeKernels.hpp"
#include "fast/planes/runSegments.hpp"
#include "fast/planes/sparseCoefficients.hpp"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <memory>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

// A sub-stream pair of one plane while the blocks of its class pass by.
struct PlaneCoder {
    BitAppender refinements;
    BitAppender runs;
    unsigned k;
    std::uint64_t passes; // since the last event; stays 0 for k = 0

    void start(const PlaneStreams& streams) {
        refinements.start(streams.refinements);
        runs.start(streams.runs);
        k = streams.k;
        runs.put(k, 5);
        passes = 0;
    }

    // With zeros until all passes are covered.
    void finish(PlaneStreams& streams) {
        runs.putZeros((passes >> k) + ((passes & ((std::uint64_t{1} << k) - 1)) != 0 ? 1 : 0));
        refinements.finish(streams.refinements);
        runs.finish(streams.runs);
    }

    // A block without any event on this plane and above.
    void addPasses(std::uint64_t n) {
        if (k == 0) {
            runs.putZeros(n);
        } else {
            passes += n;
        }
    }

    void refine(const BitPlaneBlock& sliced, int plane) { putRefinements(refinements, sliced, plane); }

    // Codes this plane of all blocks in a list: every coefficient that this plane or a higher one makes significant is
    // in it.
    void codeSparse(auto& sparse, int plane) {
        sparse.refine(refinements, plane);
        SignificanceEvents events;
        sparse.gatherEvents(plane, passes, events);
        putEvents(runs, events, k);
    }

    void code(BitPlaneBlock& sliced, int plane) {
        if (k == 0) {
            codeDense(sliced, plane);
        } else {
            codeRuns(runs, sliced, plane, k, passes);
        }
    }

private:
    void codeDense(BitPlaneBlock& sliced, int plane) {
        BitAppender out = runs;
        for (int w = 0; w < sliced.words; ++w) {
            const Candidates candidates = sliced.takeCandidates(plane, w);
            putDenseWord(out, candidates.gathered(), candidates.count(),
                         extractBits(sliced.signs(w), candidates.events));
        }
        runs = out;
    }
};

// The class of a channel on its way into its sub-streams.
template <typename T>
class SubbandCoder {
public:
    using Value = RowSample<T>;
    using Folded = SubbandBytes<Value>;

    // Planes from itsLowestSparse on are coded from lists; their k is not 0.
    SubbandCoder(PlaneStreams* itsStreams, int topPlane, int lowestPlane, int itsLowestSparse)
        : streams(itsStreams), lowest(lowestPlane), lowestSparse(std::max(lowestPlane, itsLowestSparse)),
          top(topPlane) {
        assert(lowest >= 0 && top <= highestSlicedPlane<T>);
        for (int b = lowest; b <= top; ++b) {
            planes[b].start(streams[b]);
        }
    }

    void code(const Folded& folded) {
        startList();
        for (std::int64_t block = 0; block < Folded::blocks(folded.count); ++block) {
            codeBlock(folded, block);
        }
        codeList();
    }

    void finish() {
        for (int b = lowest; b <= top; ++b) {
            planes[b].finish(streams[b]);
        }
    }

private:
    // Planes above the highest of the block hold passes only.
    void codeBlock(const Folded& folded, std::int64_t block) {
        const int values = folded.valuesIn(block);
        const int blockTop = std::max(folded.longest[block] - 2, -1);
        assert(blockTop <= top);
        for (int above = std::max(lowest, blockTop + 1); above < lowestSparse; ++above) {
            planes[above].addPasses(static_cast<std::uint64_t>(values));
        }
        if (blockTop >= lowest) {
            setLength(folded, block, sliced);
            if (blockTop >= lowestSparse) {
                appendToList(folded, block, blockTop);
            }
            codePlanes(folded, block, blockTop);
        }
        list.pass(values);
        if (block % blocksInList == blocksInList - 1) {
            codeList();
        }
    }

    // The planes below those that are coded from the list.
    void codePlanes(const Folded& folded, std::int64_t block, int blockTop) {
        const int first = std::min(blockTop, lowestSparse - 1);
        bool areSignificant = blockTop >= lowestSparse;
        if (first < lowest) {
            return;
        }
        if (!areSignificant) {
            std::fill_n(sliced.significant, sliced.words, std::uint64_t{0});
        }
        slice(folded, block, lowest, first, sliced);
        for (int b = first; b >= lowest; --b) {
            if (areSignificant) {
                planes[b].refine(sliced, b);
            }
            planes[b].code(sliced, b);
            areSignificant = true;
        }
    }

    void appendToList(const Folded& folded, std::int64_t block, int blockTop) {
        const int found = findSignificant(folded, block, lowestSparse, sliced);
        if (!list.hasRoomFor(found)) {
            codeList();
        }
        list.append(folded, block, sliced);
        listTop = std::max(listTop, blockTop);
    }

    void codeList() {
        for (int above = std::max(lowestSparse, listTop + 1); above <= top; ++above) {
            planes[above].addPasses(list.samplesPassed());
        }
        list.finish();
        for (int b = listTop; b >= lowestSparse; --b) {
            planes[b].codeSparse(list, b);
        }
        startList();
    }

    void startList() {
        list.start();
        listTop = -1;
    }

    // A list is coded after so many blocks at the latest. Up to 2^19 would do: places have to fit in 30 bits.
    static constexpr std::int64_t blocksInList = 64;

    BitPlaneBlock sliced;
    SparseCoefficients<Value> list;
    PlaneCoder planes[highestSlicedPlane<T> + 1];
    PlaneStreams* streams; // of each plane
    int lowest;
    int lowestSparse;
    int top;
    int listTop; // the highest plane that a coefficient in the list reaches
};

template <typename T>
void codeClass(const SubbandBytes<RowSample<T>>& folded, PlaneStreams* streams, int topPlane, int lowest,
               int itsLowestSparse) {
    if (lowest > topPlane) {
        return; // a budget ends before this class
    }
    const auto coder = std::make_unique<SubbandCoder<T>>(streams, topPlane, lowest, itsLowestSparse);
    coder->code(folded);
    coder->finish();
}

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END

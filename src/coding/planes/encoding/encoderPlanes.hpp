// The encoder's work on bit planes. Included once per target, inside its region and namespace, after
// encoderChunk.hpp and the target's sparse runs. No include guard, no includes.

// A sub-stream pair of one plane while the chunks of its class pass by.
struct PlaneCoder {
    BitAppender refinements;
    BitAppender runs;
    unsigned k;
    std::uint64_t passes; // since the last event; stays 0 for k = 0

    void start(const BitStreamer& refinementStream, const RunCoder& coder) {
        refinements.start(refinementStream);
        runs.start(*coder.stream);
        k = static_cast<unsigned>(coder.k);
        passes = 0;
    }

    void finish(BitStreamer& refinementStream, RunCoder& coder) {
        refinements.finish(refinementStream);
        runs.finish(*coder.stream);
        coder.count = static_cast<std::uint32_t>(passes);
    }

    // A chunk without any event on this plane and above.
    void addPasses(std::uint64_t n) {
        if (k == 0) {
            runs.putZeros(n);
        } else {
            passes += n;
        }
    }

    void refine(const Chunk& chunk, int plane) { putRefinements(refinements, chunk, plane); }

    // The same for a chunk whose coefficients of this plane and above are listed.
    void codeListed(auto& listed, int plane) {
        listed.refine(refinements, plane);
        EventPlaces events;
        listed.gatherEvents(plane, passes, events);
        putEvents(runs, events, k);
    }

    void code(Chunk& chunk, int plane) {
        if (k == 0) {
            codeDense(chunk, plane);
        } else {
            codeSparseRuns(runs, chunk, plane, k, passes);
        }
    }

private:
    void codeDense(Chunk& chunk, int plane) {
        BitAppender out = runs;
        for (int w = 0; w < chunk.words; ++w) {
            const Candidates candidates = chunk.takeCandidates(plane, w);
            putDenseWord(out, candidates.gathered(), candidates.count(),
                         extractBits(chunk.signs(w), candidates.events));
        }
        runs = out;
    }
};

// The class of a channel on its way into its sub-streams.
template <typename T>
class ClassCoder {
public:
    using Value = RowSample<T>;
    using Folded = FoldedSequence<Value>;

    // Planes from lowestListed on are coded from lists; their k is not 0.
    ClassCoder(StreamArrayManager<T>& streams, int channel, int c, int lowestPlane, int lowestListed)
        : refinements(streams.refinementStreams[channel][c]), runs(streams.runCoders[channel][c]), lowest(lowestPlane),
          listed(std::max(lowestPlane, lowestListed)), top(streams.topPlane) {
        for (int b = lowest; b <= top; ++b) {
            planes[b].start(refinements[b], runs[b]);
        }
    }

    void code(const Folded& folded) {
        for (long block = 0; block < Folded::blocks(folded.count); ++block) {
            codeChunk(folded, block);
        }
    }

    void finish() {
        for (int b = lowest; b <= top; ++b) {
            planes[b].finish(refinements[b], runs[b]);
        }
    }

private:
    // Planes above the highest of the chunk hold passes only.
    void codeChunk(const Folded& folded, long block) {
        int b = std::max(folded.longest[block] - 2, -1);
        for (int above = std::max(lowest, b + 1); above <= top; ++above) {
            planes[above].addPasses(static_cast<std::uint64_t>(folded.valuesIn(block)));
        }
        if (b < lowest) {
            return;
        }
        setLength(folded, block, chunk);
        bool areSignificant = false;
        if (b >= listed) {
            b = codeListed(folded, block, b);
            areSignificant = true;
        } else {
            std::fill_n(chunk.significant, chunk.words, std::uint64_t{0});
        }
        if (b >= lowest) {
            slice(folded, block, lowest, b, chunk);
        }
        for (; b >= lowest; --b) {
            if (areSignificant) {
                planes[b].refine(chunk, b);
            }
            planes[b].code(chunk, b);
            areSignificant = true;
        }
    }

    // Returns the first plane that is left.
    int codeListed(const Folded& folded, long block, int chunkTop) {
        list.find(folded, block, listed, chunk);
        for (int b = chunkTop; b >= listed; --b) {
            planes[b].codeListed(list, b);
        }
        return listed - 1;
    }

    Chunk chunk;
    PlaneCoder planes[highestSlicedPlane<T> + 1];
    BitStreamer* refinements; // of each plane, as below
    RunCoder* runs;
    int lowest;
    int listed;
    int top;
    ListedCoefficients<Value> list;
};

template <typename T>
void codeClass(const FoldedSequence<RowSample<T>>& folded, StreamArrayManager<T>& streams, int channel, int c,
               int lowest, int lowestListed) {
    if (lowest > streams.topPlane) {
        return; // a budget ends before this class
    }
    const auto coder = std::make_unique<ClassCoder<T>>(streams, channel, c, lowest, lowestListed);
    coder->code(folded);
    coder->finish();
}

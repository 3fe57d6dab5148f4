// Decoding run segments into bitmaps over their candidates. Included once per target, inside its region and
// namespace, after decoderState.hpp. No include guard, no includes.

// A stretch of a class, one block, is decoded in two steps: first its codes into bitmaps over its candidates, in tight
// loops that see nothing of the image, then the bitmaps into their places (1.5 times faster than word by word).

// What a run segment says of the next candidates: whether each is an event, and the signs of events.
struct CandidateBits {
    static constexpr int spare = 3; // words that may be written and read beyond a stretch
    Word events[mostRowWords + spare];
    Word signs[mostRowWords + spare];

    void clear(std::uint64_t candidates) {
        const std::size_t words = candidates / 64 + spare;
        std::fill_n(events, words, Word{0});
        std::fill_n(signs, words, Word{0});
    }
    void setEvent(std::uint64_t candidate, Word sign) {
        events[candidate / 64] |= Word{1} << candidate % 64;
        signs[candidate / 64] |= sign << candidate % 64;
    }
    static Word at(const Word* bits, std::uint64_t candidate) {
        const unsigned shift = candidate % 64;
        return bits[candidate / 64] >> shift | bits[candidate / 64 + 1] << 1 << (63 - shift);
    }
};

// Candidates that were decoded together with those of a stretch and belong to the next. Fewer than 64.
class WaitingCandidates {
public:
    std::uint64_t count = 0; // including those of the stretch that is being decoded

    void startStretch(std::uint64_t candidates, CandidateBits& found) const {
        found.clear(candidates);
        found.events[0] = events;
        found.signs[0] = signs;
    }
    // Puts up to 64 candidates behind `place` others.
    static void put(CandidateBits& found, std::uint64_t place, Word newEvents, Word newSigns) {
        const std::uint64_t word = place / 64;
        const unsigned shift = place % 64;
        found.events[word] |= newEvents << shift;
        found.signs[word] |= newSigns << shift;
        found.events[word + 1] = newEvents >> 1 >> (63 - shift);
        found.signs[word + 1] = newSigns >> 1 >> (63 - shift);
    }
    void finishStretch(std::uint64_t candidates, const CandidateBits& found) {
        count -= candidates;
        const Word mask = (Word{1} << count) - 1;
        events = CandidateBits::at(found.events, candidates) & mask;
        signs = CandidateBits::at(found.signs, candidates) & mask;
    }
    std::uint64_t eventCount() const { return static_cast<std::uint64_t>(countBits(events)); }

private:
    Word events = 0;
    Word signs = 0;
};

// Segments with k = 0: a bit for every candidate, and a sign behind every one. Takes 64 bits of the stream at a
// time.
class DenseRuns {
public:
    explicit DenseRuns(StreamView& stream) : in(stream) {}

    // Decodes so many candidates more; returns false, with nothing in `found`, when none of them is an event.
    // Throws what the reader throws, with the events up to there in `found`.
    bool next(std::uint64_t candidates, CandidateBits& found) {
        waiting.startStretch(candidates, found);
        while (waiting.count < candidates && in.has(65)) {
            takeWindow(found);
        }
        if (waiting.count < candidates) {
            readCarefully(candidates, found);
        }
        waiting.finishStretch(candidates, found);
        return true;
    }

    // Gives back what was read beyond the last candidate.
    void finish() {
        in.skip(signIsNext);
        in.unskip(waiting.count + waiting.eventCount());
    }

private:
    // A sign is the bit behind a one that is no sign itself: of a run of ones, every other bit from the second
    // on. Adding carries through the runs that start at odd places. Source: the escaped characters of G. Langdale
    // and D. Lemire, "Parsing Gigabytes of JSON per Second", The VLDB Journal 28 (2019).
    Word signPlaces(Word bits) {
        constexpr Word evenPlaces = 0x5555555555555555U;
        const Word first = signIsNext;
        bits &= ~first;
        const Word behind = bits << 1 | first;
        const Word oddStarts = bits & ~evenPlaces & ~behind;
        const Word carried = oddStarts + bits;
        signIsNext = carried < bits ? 1 : 0;
        return (evenPlaces ^ carried << 1) & behind;
    }

    void takeWindow(CandidateBits& found) {
        const Word bits = in.peek();
        in.skip(1);
        const Word behind = in.peek();
        in.skip(63);
        const Word candidates = ~signPlaces(bits);
        const Word events = extractBits(bits, candidates);
        const Word signs = extractBits(behind, candidates) & events;
        WaitingCandidates::put(found, waiting.count, events, signs);
        waiting.count += static_cast<std::uint64_t>(countBits(candidates));
    }

    void readCarefully(std::uint64_t candidates, CandidateBits& found) {
        in.skip(signIsNext);
        signIsNext = 0;
        for (; waiting.count < candidates; ++waiting.count) {
            if (in.read(1) != 0) {
                found.setEvent(waiting.count, in.read(1));
            }
        }
    }

    StreamView& in;
    WaitingCandidates waiting;
    unsigned signIsNext = 0; // whether the next bit is the sign of the last candidate, which is known already
};

// Segments with a k that has a table: twelve bits at a time.
template <int k>
class TableRuns {
public:
    TableRuns(StreamView& stream, std::uint64_t candidates) : in(stream), left(candidates) {}

    // As DenseRuns.
    bool next(std::uint64_t candidates, CandidateBits& found) {
        waiting.startStretch(candidates, found);
        takeWindows(candidates, found);
        while (waiting.count < candidates) {
            if (left >= mostRunCandidates && in.has(64)) {
                takeStep(found);
            } else {
                readCarefully(found);
            }
        }
        waiting.finishStretch(candidates, found);
        return true;
    }

    void finish() {}

private:
    static constexpr unsigned stepsInWindow = 64 / runWindowBits;

    // Returns its length.
    static unsigned decode(Word window, std::uint64_t& place, CandidateBits& found) {
        const RunDecodingStep step = runDecodingTable<k>.steps[window & ((1U << runWindowBits) - 1)];
        WaitingCandidates::put(found, place, step.events(), depositBits(step.signs(), step.events()));
        place += step.candidates();
        return step.length();
    }

    // As many windows as fit for sure, each with a fixed number of steps: a loop that ends where the bits do is
    // mispredicted in every window (1.07 times on decoding grey photographs, with twelve bits a step). All state is
    // local: what is stored in `found` could change a member, for all the compiler knows.
    void takeWindows(std::uint64_t candidates, CandidateBits& found) {
        constexpr std::uint64_t mostOfAWindow = stepsInWindow * mostRunCandidates;
        std::uint64_t place = waiting.count;
        const std::uint64_t end = std::min(candidates, place + left);
        while (place + mostOfAWindow <= end && in.has(64)) {
            Word window = in.peek();
            unsigned used = 0;
            for (unsigned i = 0; i < stepsInWindow; ++i) {
                const unsigned length = decode(window, place, found);
                used += length;
                window >>= length;
            }
            in.skip(used);
        }
        left -= place - waiting.count;
        waiting.count = place;
    }

    void takeStep(CandidateBits& found) {
        std::uint64_t place = waiting.count;
        in.skip(decode(in.peek(), place, found));
        left -= place - waiting.count;
        waiting.count = place;
    }

    // One zero, or one code from its one on. What reaches beyond the last candidate is no event.
    void readCarefully(CandidateBits& found) {
        const bool isZero = in.read(1) == 0;
        const std::uint64_t passes = isZero ? std::uint64_t{1} << k : in.read(k);
        if (isZero || passes >= left) {
            const std::uint64_t counted = std::min(passes, left);
            waiting.count += counted;
            left -= counted;
            return;
        }
        waiting.count += passes;
        found.setEvent(waiting.count, in.read(1));
        ++waiting.count;
        left -= passes + 1;
    }

    StreamView& in;
    WaitingCandidates waiting;
    std::uint64_t left; // candidates of the segment that are not decoded
};

// Segments with any other k: runs of passes, each up to an event.
class SparseRuns {
public:
    SparseRuns(StreamView& stream, int parameter, std::uint64_t candidates)
        : in(stream), k(static_cast<unsigned>(parameter)), left(candidates) {
        readCodeCarefully();
    }

    // Decodes so many candidates more; returns false, with nothing in `found`, when none of them is an event.
    // Throws what the reader throws, with the events up to there in `found`.
    bool next(std::uint64_t candidates, CandidateBits& found) {
        if (gap >= candidates) {
            gap -= candidates;
            left -= candidates;
            return false;
        }
        found.clear(candidates);
        std::uint64_t start = 0;
        while (gap < candidates - start) {
            takeEvents(candidates, start, found);
            readCodeCarefully();
        }
        gap -= candidates - start;
        left -= candidates - start;
        return true;
    }

    void finish() {}

private:
    // Places events from `start` on, up to one whose successor is behind the stretch, near the end of the buffer, or
    // far away. Leaves no code read ahead. A code is in the same register as those before it: 64 bits last for
    // several, and no step waits for memory.
    void takeEvents(std::uint64_t candidates, std::uint64_t& start, CandidateBits& found) {
        // The window is read at the stream's place and has lost 64 - valid bits at its bottom.
        Word window = 0;
        unsigned valid = 64;
        unsigned needed = 65; // refill at once
        const unsigned mostOfACode = k + 24;
        std::uint64_t place = start;
        std::uint64_t run = gap;
        Word signBit = sign;
        const Word remainderMask = (Word{1} << k) - 1;
        for (;;) {
            place += run;
            found.setEvent(place, signBit);
            ++place;
            if (valid < needed) {
                in.skip(64 - valid);
                valid = 64;
                if (!in.has(64)) {
                    break;
                }
                window = in.peek();
                needed = mostOfACode;
            }
            const auto units = static_cast<unsigned>(std::countr_zero(window));
            const unsigned length = units + k + 2;
            const Word tail = window >> 1 >> (units & 63U);
            run = (static_cast<std::uint64_t>(units) << k) + (tail & remainderMask);
            if (length > valid || run >= candidates - place) {
                break;
            }
            signBit = tail >> k & 1;
            window = tail >> 1 >> k;
            valid -= length;
        }
        in.skip(64 - valid);
        left -= place - start;
        start = place;
    }

    // Sets gap to the passes before the next event, and sign; a gap that reaches the segment's end is no event.
    // Zeros are there only while they leave candidates; behind the last candidate there is nothing.
    void readCodeCarefully() {
        std::uint64_t passes = 0;
        gap = left;
        while (passes < left) {
            if (in.read(1) == 0) {
                passes += std::uint64_t{1} << k;
                continue;
            }
            passes += in.read(static_cast<int>(k));
            if (passes < left) {
                sign = in.read(1);
                gap = passes;
            }
            return;
        }
    }

    StreamView& in;
    unsigned k;
    std::uint64_t left; // candidates up to the segment's end
    std::uint64_t gap = 0;
    Word sign = 0;
};

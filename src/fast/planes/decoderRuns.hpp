// SPDX-License-Identifier: Apache-2.0
// Decoding run segments into bitmaps over their candidates.
#pragma once

#include "coding/runLengthParameter.hpp"
#include "fast/planes/decoderState.hpp"
#include "fast/planes/runCodes.hpp"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

// A stretch of a class, one block, is decoded in two steps: first its codes into bitmaps over its candidates, in tight
// loops that see nothing of the image, then the bitmaps into their places (1.5 times faster than word by word).

// A row of bits, for a stretch and some more.
struct BitRow {
    static constexpr std::size_t spare = 8; // words that may be written and read beyond a stretch
    unsigned char bytes[(mostRowWords + spare) * sizeof(Word)];

    void clear(std::uint64_t stretch) {
        std::memset(bytes, 0, (static_cast<std::size_t>(stretch) / 64 + spare) * sizeof(Word));
    }

    // Up to 64 bits behind others, where nothing but zeros has been.
    void put(std::uint64_t place, Word bits) {
        unsigned char* to = bytes + place / 64 * sizeof(Word);
        storeLittleEndian(to, loadLittleEndian(to) | bits << place % 64);
        storeLittleEndian(to + sizeof(Word), bits >> 1 >> (63 - place % 64));
    }
    void putBit(std::uint64_t place, Word bit) {
        bytes[place / 8] = static_cast<unsigned char>(bytes[place / 8] | bit << place % 8);
    }

    // The 64 bits from a place on.
    Word at(std::uint64_t place) const {
        const unsigned char* from = bytes + place / 64 * sizeof(Word);
        return loadLittleEndian(from) >> place % 64 | loadLittleEndian(from + sizeof(Word)) << 1 << (63 - place % 64);
    }
    // At least n bits from a place on: up to 57 of them take half the instructions.
    Word at(std::uint64_t place, int n) const {
        if (n > 57) [[unlikely]] {
            return at(place);
        }
        return loadLittleEndian(bytes + place / 8) >> place % 8;
    }
};

// Puts bits into a row a few at a time, by fewer instructions, and without loads of what has just been stored.
class BitFiller {
public:
    BitFiller(BitRow& row, std::uint64_t count)
        : start(row.bytes), next(row.bytes + count / 8), pending(*next), pendingBits(count % 8) {}

    // bits < 2^n, n <= 56.
    void put(Word bits, unsigned n) {
        pending |= bits << pendingBits;
        storeLittleEndian(next, pending);
        const unsigned total = pendingBits + n;
        next += total / 8;
        pending >>= total & ~7U;
        pendingBits = total % 8;
    }

    std::uint64_t count() const { return 8 * static_cast<std::uint64_t>(next - start) + pendingBits; }

private:
    unsigned char* start;
    unsigned char* next;
    Word pending;
    unsigned pendingBits; // below 8
};

// What a run segment says of the candidates of a stretch: whether each is an event, and the signs of the events.
struct CandidateBits {
    BitRow events;
    BitRow signs;

    void clear(std::uint64_t candidates) {
        events.clear(candidates);
        signs.clear(candidates);
    }
};

// Candidates that were decoded together with those of a stretch and belong to the next.
class WaitingCandidates {
public:
    static constexpr std::uint64_t most = 255;

    std::uint64_t count = 0;  // including those of the stretch that is being decoded
    std::uint64_t events = 0; // among them

    void startStretch(std::uint64_t candidates, CandidateBits& found) const {
        found.clear(candidates);
        for (std::uint64_t i = 0; i < words; ++i) {
            storeLittleEndian(found.events.bytes + i * sizeof(Word), eventBits[i]);
            storeLittleEndian(found.signs.bytes + i * sizeof(Word), signBits[i]);
        }
    }

    // Up to 64 candidates more, and the signs of the events among them.
    void append(CandidateBits& found, int candidates, Word newEvents, Word newSigns) {
        found.events.put(count, newEvents);
        found.signs.put(events, newSigns);
        count += static_cast<std::uint64_t>(candidates);
        events += static_cast<std::uint64_t>(countBits(newEvents));
    }
    void appendEvent(CandidateBits& found, Word sign) {
        found.events.putBit(count++, 1);
        found.signs.putBit(events++, sign);
    }

    void finishStretch(std::uint64_t candidates, const CandidateBits& found) {
        count -= candidates;
        std::uint64_t left = 0;
        for (std::uint64_t i = 0; i < words; ++i) {
            eventBits[i] = found.events.at(candidates + 64 * i);
            left += static_cast<std::uint64_t>(countBits(eventBits[i]));
        }
        for (std::uint64_t i = 0; i < words; ++i) {
            signBits[i] = found.signs.at(events - left + 64 * i);
        }
        events = left;
    }

private:
    static constexpr std::uint64_t words = (most + 63) / 64;
    Word eventBits[words] = {};
    Word signBits[words] = {};
};

// Segments with k = 0: a bit for every candidate, and a sign behind every one. Takes 64 bits of the stream at a
// time.
class BitmapRunDecoder {
public:
    explicit BitmapRunDecoder(StreamView& stream) : in(stream) {}

    // Decodes so many candidates more into `found`, events or none, and returns true. Throws what the reader throws,
    // with the events up to there in `found`.
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
        in.unskip(waiting.count + waiting.events);
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
        const Word places = ~signPlaces(bits);
        const Word events = bits & places;
        waiting.append(found, countBits(places), extractBits(events, places), extractBits(behind, events));
    }

    void readCarefully(std::uint64_t candidates, CandidateBits& found) {
        in.skip(signIsNext);
        signIsNext = 0;
        while (waiting.count < candidates) {
            if (in.read(1) != 0) {
                waiting.appendEvent(found, in.read(1));
            } else {
                ++waiting.count;
            }
        }
    }

    StreamView& in;
    WaitingCandidates waiting;
    unsigned signIsNext = 0; // whether the next bit is the sign of the last candidate, which is known already
};

// Segments with a k that has a table: twelve bits at a time.
template <int k>
class TableRunDecoder {
public:
    TableRunDecoder(StreamView& stream, std::uint64_t candidates) : in(stream), left(candidates) {}

    // As BitmapRunDecoder.
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
    static constexpr std::uint64_t mostOfAWindow = stepsInWindow * mostRunCandidates;
    static_assert(mostOfAWindow <= WaitingCandidates::most);

    // As many windows as fit for sure, each with a fixed number of steps: a loop that ends where the bits do is
    // mispredicted in every window (1.07 times on decoding grey photographs, with twelve bits a step). Each step waits
    // for the one before; so that no window does for a load, the bits behind it are there when it ends (1.03 times).
    void takeWindows(std::uint64_t candidates, CandidateBits& found) {
        BitFiller events(found.events, waiting.count);
        BitFiller signs(found.signs, waiting.events);
        const std::uint64_t all = waiting.count + left;
        const std::uint64_t end = all < mostOfAWindow ? 0 : std::min(candidates, all - mostOfAWindow + 1);
        StreamView stream = in;
        Word window = stream.has(0) ? stream.peek() : 0;
        while (events.count() < end && stream.has(64)) {
            const Word behind = stream.peek(64);
            const Word taken = window;
            Word signPlaces = 0;
            unsigned length = 0;
            for (unsigned i = 0; i < stepsInWindow; ++i) {
                const Word next = window & nextBits;
                const RunDecodingStep step = runDecodingTable<k>.steps[next];
                const RunDecodingEvents eventsHere = runDecodingTable<k>.events[next];
                window >>= step.length;
                events.put(eventsHere.places(), step.candidates);
                signPlaces |= eventsHere.signs() << length;
                length += step.length;
            }
            window |= behind << (64 - length);
            signs.put(extractBits(taken, signPlaces), static_cast<unsigned>(countBits(signPlaces)));
            stream.skip(length);
        }
        in = stream;
        left -= events.count() - waiting.count;
        waiting.count = events.count();
        waiting.events = signs.count();
    }

    void takeStep(CandidateBits& found) {
        const Word window = in.peek();
        const RunDecodingStep step = runDecodingTable<k>.steps[window & nextBits];
        const RunDecodingEvents events = runDecodingTable<k>.events[window & nextBits];
        waiting.append(found, step.candidates, events.places(), extractBits(window, events.signs()));
        in.skip(step.length);
        left -= step.candidates;
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
        waiting.appendEvent(found, in.read(1));
        left -= passes + 1;
    }

    static constexpr Word nextBits = (Word{1} << runWindowBits) - 1;

    StreamView& in;
    WaitingCandidates waiting;
    std::uint64_t left; // candidates of the segment that are not decoded
};

// Segments with any other k: runs of passes, each up to an event.
class LongRunDecoder {
public:
    LongRunDecoder(StreamView& stream, int parameter, std::uint64_t candidates)
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
        events = 0;
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
        // A code of up to 22 zeros; one of more, which is rare, may end the loop.
        const unsigned nearlyAnyCode = k + 24;
        std::uint64_t place = start;
        std::uint64_t run = gap;
        std::uint64_t event = events;
        Word signBit = sign;
        const Word remainderMask = (Word{1} << k) - 1;
        for (;;) {
            place += run;
            found.events.putBit(place++, 1);
            found.signs.putBit(event++, signBit);
            if (valid < needed) {
                in.skip(64 - valid);
                valid = 64;
                if (!in.has(64)) {
                    break;
                }
                window = in.peek();
                needed = nearlyAnyCode;
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
        events = event;
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
    std::uint64_t events = 0; // of the stretch so far
    Word sign = 0;
};

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END

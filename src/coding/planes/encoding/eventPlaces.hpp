// The events of a plane of a chunk, gathered before they are coded. Included once per target, inside its region and
// namespace, after encoderChunk.hpp. No include guard, no includes.

// Where events are among the candidates in the low 31 bits, the sign above.
struct EventPlaces {
    static constexpr std::uint32_t sign = 0x80000000U;

    unsigned count;
    std::uint32_t places[1 + blockSamples + 64]; // [0] stands for the last event of the chunk before

    // Behind so many passes.
    void start(std::uint64_t passes) { places[0] = 0 - static_cast<std::uint32_t>(passes) - 1; }

    // In front of `end`, one behind the last one's place; returns the passes since the last one, in a chunk of so many
    // candidates.
    std::uint64_t finish(const std::uint32_t* end, std::uint32_t candidates) {
        count = static_cast<unsigned>(end - places - 1);
        return (candidates - places[count] - 1) & ~sign;
    }

    std::uint64_t run(unsigned i) const { return (places[i + 1] - places[i] - 1) & ~sign; }
    std::uint64_t signOf(unsigned i) const { return places[i + 1] >> 31; }
};

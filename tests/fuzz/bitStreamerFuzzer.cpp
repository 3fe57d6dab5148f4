// SPDX-License-Identifier: Apache-2.0
// Any operations on a bit stream, in any order, against the bits that it must hold.
#include "coding/bitStreamer.hpp"
#include "fuzz/input.hpp"
#include "support/memoryFile.hpp"
#include "support/thrownInteger.hpp"

#include <algorithm>
#include <cstring>

namespace teko::fuzz {

namespace {

// Bits in the order of the stream: bytes fill up from their least significant bit, zeros follow the last one.
class Model {
public:
    std::size_t count = 0;

    void put(std::uint32_t value, int n) {
        const std::uint64_t kept = value & ((std::uint64_t{1} << n) - 1);
        bytes.resize(count / 8 + 6);
        for (std::size_t i = 0; i < 5; ++i) {
            const std::size_t at = count / 8 + i;
            bytes[at] = static_cast<std::uint8_t>(bytes[at] | (kept << count % 8 >> 8 * i & 0xFFU));
        }
        count += static_cast<std::size_t>(n);
    }
    void padToWord() {
        count = (count + 31) / 32 * 32;
        bytes.resize(count / 8 + 6);
    }
    // Whether a memory holds the first so many bytes.
    bool isIn(const void* memory, std::size_t size) {
        bytes.resize(std::max(bytes.size(), size));
        return size == 0 || std::memcmp(bytes.data(), memory, size) == 0;
    }

private:
    Bytes bytes;
};

enum class Change { bits, flush, none };

struct Operation {
    Change change;
    int thrown;
};

// The bits of another writer, which has room for these and no more.
int append(Input& input, BitStreamer& stream, Model& model) {
    const int words = input.within(0, 7);
    const int last = input.within(0, 32);
    const auto size = static_cast<std::size_t>(4 * (words + (last > 0 ? 1 : 0)));
    const std::unique_ptr<std::uint8_t[]> memory(new std::uint8_t[size]);
    BitStreamer source;
    source.setUpMemoryWriter(memory.get(), static_cast<std::int64_t>(size));
    for (int i = 0; i <= words; ++i) {
        const auto value = static_cast<std::uint32_t>(input.number(2) * 0x80402010U ^ input.byte());
        source.putBits(value, i < words ? 32 : last);
        model.put(value, i < words ? 32 : last);
    }
    return thrownBy([&] { stream.append(source); });
}

Operation write(Input& input, BitStreamer& stream, Model& model) {
    const unsigned choice = input.below(64);
    if (choice == 63) {
        require(thrownBy([&] { stream.fetch(); }) == 5, "a writer fetches nothing");
        return {Change::none, 0};
    }
    if (choice > 58) {
        return {Change::flush, thrownBy([&] { stream.flush(); })};
    }
    if (choice > 50) {
        const int thrown = append(input, stream, model);
        return {Change::bits, thrown};
    }
    if (choice > 32) {
        const std::uint32_t bit = choice & 1U;
        model.put(bit, 1);
        return {Change::bits, thrownBy([&] { stream.putBit(bit); })};
    }
    const auto value = static_cast<std::uint32_t>(input.number(4));
    const auto n = static_cast<int>(choice);
    model.put(value, n);
    return {Change::bits, thrownBy([&] { stream.putBits(value, n); })};
}

// Bits that a full memory writer counts: those that its memory holds. Pending ones stay if no tail bytes take them.
std::size_t bitsWhenFull(const Model& model, std::size_t capacity, Change change) {
    const std::size_t held = capacity / 4 * 32 + capacity % 4 * 8;
    return change == Change::flush && capacity % 4 == 0 ? model.count : held;
}

void writeToMemory(Input& input) {
    const auto capacity = static_cast<std::size_t>(input.below(200));
    const std::unique_ptr<std::uint8_t[]> memory(new std::uint8_t[capacity]);
    BitStreamer writer;
    writer.setUpMemoryWriter(memory.get(), static_cast<std::int64_t>(capacity));
    Model model;
    const auto hasRoom = [&](Change change) {
        const bool isPending = change == Change::flush && model.count % 32 != 0;
        return model.count / 32 + (isPending ? 1 : 0) <= capacity / 4;
    };
    Operation last{Change::flush, 0};
    bool isLast = false;
    while (last.thrown == 0 && !isLast) {
        isLast = input.isUsedUp();
        last = isLast ? Operation{Change::flush, thrownBy([&] { writer.flush(); })} : write(input, writer, model);
        const bool mustFit = last.change == Change::none || hasRoom(last.change);
        require(last.thrown == (mustFit ? 0 : 3), "a memory writer throws 3 when it is full, and only then");
    }
    const std::size_t bits = last.thrown == 0 ? model.count : bitsWhenFull(model, capacity, last.change);
    require(writer.bitCount() == static_cast<std::int64_t>(bits), "a memory writer counts its bits");
    require(model.isIn(memory.get(), std::min(capacity, (bits + 7) / 8)), "a memory writer holds its bits");
}

// A file stream as its set-up leaves it, but for a buffer of so few words that turns are frequent.
void setUpFileStream(BitStreamer& stream, std::FILE* file, char mode, int words) {
    stream.file = file;
    stream.ownedBuffer = stream.buffer = new std::uint32_t[static_cast<std::size_t>(words)];
    stream.cursor = stream.buffer + (mode == 'r' ? words : 0);
    stream.size = words;
    stream.mask = mode == 'r' ? 0 : 1;
    stream.current = mode == 'r' ? 1 : 0;
    stream.mode = mode;
}

void writeToFile(Input& input) {
    const auto room = static_cast<std::size_t>(input.below(8) == 0 ? input.below(100) : 1U << 20);
    WritableFile file(room);
    BitStreamer stream;
    setUpFileStream(stream, file.get(), 'w', input.within(1, 20));
    Model model;
    int thrown = 0;
    while (thrown == 0 && !input.isUsedUp()) {
        const Operation operation = write(input, stream, model);
        thrown = operation.thrown;
        if (operation.change == Change::flush) {
            model.padToWord();
        }
    }
    if (thrown == 0) {
        thrown = thrownBy([&] { stream.flush(); });
        model.padToWord();
        require(thrown == (model.count / 8 > room ? 3 : 0), "a file writer throws 3 when the file takes less");
        require(thrown != 0 || stream.bitCount() == static_cast<std::int64_t>(model.count), "a file writer counts");
        require(thrown != 0 || file.content().size() == model.count / 8, "a file holds whole words");
    }
    require(thrown == 0 || (thrown == 3 && (model.count + 7) / 8 > room),
            "a file writer that finds room does not throw");
    require(model.isIn(file.content().data(), file.content().size()), "a file holds the bits");
}

std::uint32_t bitsAt(const Bytes& bytes, std::size_t position, std::size_t n) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const std::size_t at = position + i;
        value |= (bytes[at / 8] >> at % 8 & 1U) << i;
    }
    return value;
}

// Until the input is used up, and beyond the end of the stream.
void read(Input& input, BitStreamer& stream, const Bytes& bytes) {
    const std::size_t end = bytes.size() / 4 * 32;
    std::size_t position = 0;
    int timesBeyond = 0;
    while (!input.isUsedUp() && timesBeyond < 3) {
        const unsigned choice = input.below(64);
        if (choice == 63) {
            require(thrownBy([&] { stream.flush(); }) == 5, "a reader flushes nothing");
            continue;
        }
        const std::size_t n = choice > 32 ? 1 : choice;
        std::uint32_t got = 0;
        const int thrown = thrownBy([&] { got = choice > 32 ? stream.getBit() : stream.getBits(static_cast<int>(n)); });
        require(thrown == (position + n > end ? 3 : 0), "a reader throws 3 behind its last whole word");
        require(thrown != 0 || got == bitsAt(bytes, position, n), "a reader gives the bits of the stream");
        position = thrown == 0 ? position + n : end;
        timesBeyond += thrown == 0 ? 0 : 1;
    }
}

void readBack(Input& input) {
    const unsigned setUp = input.byte();
    Bytes bytes(input.below(120));
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(input.byte());
    }
    BitStreamer stream;
    if (setUp % 2 == 0) {
        stream.setUpMemoryReader(bytes.data(), static_cast<std::int64_t>(bytes.size()));
        read(input, stream, bytes);
        return;
    }
    const MemoryFile file = readable(bytes);
    if (setUp == 1) {
        stream.setUpFileReader(file.get());
    } else {
        setUpFileStream(stream, file.get(), 'r', 1 + static_cast<int>(setUp / 16));
    }
    read(input, stream, bytes);
}

} // namespace

} // namespace teko::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace teko::fuzz;
    Input input(data, size);
    switch (input.below(3)) {
    case 0:
        writeToMemory(input);
        break;
    case 1:
        writeToFile(input);
        break;
    default:
        readBack(input);
        break;
    }
    return 0;
}

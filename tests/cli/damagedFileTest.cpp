// SPDX-License-Identifier: Apache-2.0
// Modes d and D on what is not a compressed file, or not all of one.
#include "cliTest.hpp"

namespace teko {

namespace {

class DamagedFile : public CliTest {
protected:
    const Shape shape{1, 8, 16, 16};

    static Outcome notRecognized(const std::string& path, const std::string& output = "") {
        return {.exitStatus = 1, .output = output, .errors = "File " + path + " not recognized\n"};
    }

    // Both modes end like this, mode D with the size in front; the output file is there and empty.
    void expectEnd(const Bytes& content, const Outcome& expected) const {
        files.write("damaged", content);
        files.write("out", Bytes(100, 7));
        EXPECT_EQ(run({"d", "damaged", "out"}), expected) << content.size();
        EXPECT_EQ(files.read("out"), Bytes());
        files.write("out", Bytes(100, 7));
        Outcome expectedInMemory = expected;
        expectedInMemory.output.insert(0, text::inMemory(payloadBytes(content)));
        EXPECT_EQ(run({"D", "damaged", "out"}), expectedInMemory) << content.size();
        EXPECT_EQ(files.read("out"), Bytes());
    }

    // Both modes find no first bit: abnormal, with an empty output file.
    void expectNoFirstBit(const Bytes& content) const {
        SCOPED_TRACE(content.size());
        files.write("damaged", content);
        files.write("out", Bytes(100, 7));
        expectAbnormalEnd(run({"d", "damaged", "out"}), "Reading...\n");
        EXPECT_EQ(files.read("out"), Bytes());
        files.write("out", Bytes(100, 7));
        expectAbnormalEnd(run({"D", "damaged", "out"}), text::inMemory(payloadBytes(content)) + "Reading...\n");
        EXPECT_EQ(files.read("out"), Bytes());
    }

private:
    static std::size_t payloadBytes(const Bytes& content) {
        return content.size() < headerBytes ? 0 : content.size() - headerBytes;
    }
};

TEST_F(DamagedFile, WithAnotherMagicIsNotRecognized) {
    const Bytes whole = coded(shape, raw::noise(shape));
    for (std::size_t at = 0; at < 4; ++at) {
        for (const int difference : {1, 0x20, 0x80}) {
            Bytes content = whole;
            content[at] = static_cast<std::uint8_t>(content[at] ^ difference);
            expectEnd(content, notRecognized("damaged"));
        }
    }
    expectEnd(raw::noise(shape), notRecognized("damaged"));
}

TEST_F(DamagedFile, ShorterThanTheMagicIsNotRecognized) {
    for (std::size_t bytes = 0; bytes < 4; ++bytes) {
        expectEnd(prefix(header(shape), bytes), notRecognized("damaged"));
    }
}

TEST_F(DamagedFile, WithoutABytesPerPixelGivesAnEmptyFile) {
    expectEnd(prefix(header(shape), 4), success(""));
}

TEST_F(DamagedFile, WithAnUnknownKindGivesAnEmptyFile) {
    const Bytes whole = coded(shape, raw::noise(shape));
    for (const int kind : {0, 4, 5, 128, 255}) {
        Bytes content = whole;
        content[4] = static_cast<std::uint8_t>(kind);
        expectEnd(content, success(""));
        expectEnd(prefix(content, headerBytes), success(""));
    }
}

TEST_F(DamagedFile, WhoseHeaderIsCutShortHasNoFirstBit) {
    for (std::size_t bytes = 5; bytes < headerBytes; ++bytes) {
        expectNoFirstBit(prefix(header(shape), bytes));
    }
}

TEST_F(DamagedFile, WithoutAWholeWordHasNoFirstBit) {
    for (const Shape& kind : everyKind) {
        const Bytes whole = coded(kind, raw::noise(kind));
        for (std::size_t bytes = headerBytes; bytes < headerBytes + 4; ++bytes) {
            expectNoFirstBit(prefix(whole, bytes));
        }
    }
}

TEST_F(DamagedFile, OfAnEmptyImageWithoutAWholeWordHasNoFirstBit) {
    expectNoFirstBit(header({1, 8, 0, 0}));
    expectNoFirstBit(coded({1, 8, 0, 16}, {}, "1"));
}

TEST_F(DamagedFile, MadeAtRate0HasNoFirstBit) {
    for (const Shape& kind : everyKind) {
        expectNoFirstBit(coded(kind, raw::noise(kind), "0"));
    }
}

TEST_F(DamagedFile, IsNamedAsItWasGiven) {
    const std::string name = "100%s %n 'quoted'.tk";
    files.write(name, {});
    EXPECT_EQ(run({"d", name, "out"}), notRecognized(name));
    EXPECT_EQ(run({"d", "./" + name, "out"}), notRecognized("./" + name));
    EXPECT_EQ(run({"D", name, "out"}), notRecognized(name, text::inMemory(0)));
}

TEST_F(DamagedFile, ThatIsADirectoryIsNotRecognized) {
    std::filesystem::create_directory(files.path("directory"));
    EXPECT_EQ(run({"d", "directory", "out"}), notRecognized("directory"));
}

// Every top plane that a byte can hold is decoded as it is written, whatever the samples can carry.
TEST_F(DamagedFile, WithAnyTopPlaneDecodesInBothModesAlike) {
    for (const Shape& kind : everyKind) {
        Bytes content = coded(kind, raw::noise(kind));
        for (const int topPlane : {0, 1, 13, 14, 15, 16, 31, 32, 62, 63, 64, 65, 127, 254, 255}) {
            content[headerBytes] = static_cast<std::uint8_t>(topPlane);
            const Bytes fromFile = decoded("d", kind, content);
            EXPECT_EQ(fromFile.size(), kind.fileBytes()) << kind << " top plane " << topPlane;
            EXPECT_EQ(decoded("D", kind, content), fromFile) << kind << " top plane " << topPlane;
        }
    }
}

TEST_F(DamagedFile, WithDimensionsBeyond31BitsEndsAbnormally) {
    for (const Shape& kind : everyKind) {
        files.write("damaged", header(kind.sized(65535, 65535)) + Bytes(400, 0x55));
        expectAbnormalEnd(run({"d", "damaged", "out"}));
        expectAbnormalEnd(run({"D", "damaged", "out"}), text::inMemory(400));
        EXPECT_EQ(files.read("out"), Bytes());
    }
}

} // namespace

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// Images through the encoder and the decoder of rows, with every target, against planes.
#include "fast/kernels/kernels.hpp"
#include "fast/ways/rowWay.hpp"
#include "filter/filter.hpp"
#include "support/coefficients.hpp"
#include "support/rowStreams.hpp"
#include "targets/reading.hpp"
#include "targets/textures.hpp"
#include "targets/writing.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

constexpr Shape2d shapes[] = {{6, 6},      {7, 6, 3},     {6, 91},    {12, 15, 2}, {15, 300},
                              {21, 31, 3}, {64, 41},      {43, 44},   {81, 81, 3}, {97, 130},
                              {200, 85},   {301, 257, 2}, {1200, 63}, {150, 700},  {520, 515, 3}};

template <typename T>
class TargetRowCodec : public testing::Test {
protected:
    using Image = LaidOutImage<T>;

    // What files hold, and for colours what their transform makes of it.
    Image anyImage(const Shape2d& shape) {
        const bool isWide = sizeof(T) > sizeof(short);
        const auto texture = allTextures[random() % allTextures.size()];
        const auto largest = isWide ? (1L << (4 + random() % 13)) - 1 : 255L;
        const long least = shape.channels > 1 ? -largest : 0;
        Image image(shape.width, shape.height, shape.channels);
        paint(image, texture, random);
        image.fill([&](int c, int y, int x) { return std::clamp<long>(image.at(c, y, x), least, largest); });
        return image;
    }

    // What the plain encoder leaves in a memory of so many bytes.
    Written<T> writtenInPlanes(const Image& image, std::size_t capacity) {
        Image coefficients = image;
        wavelet().transform(&*coefficients);
        return writtenToMemory(coefficients, Target::plain, capacity);
    }

    void checkWriting(const Image& image, std::size_t capacity) {
        const Written<T> expected = writtenInPlanes(image, capacity);
        for (const Target target : sampledTargets()) {
            SCOPED_TRACE(testing::Message()
                         << target << ", " << image->width << " x " << image->height << " in " << capacity << " bytes");
            ASSERT_TRUE(suitsRowStreams(image->width, image->height));
            RowEncoder<T> encoder(image->width, image->height, image->channels, kernelsOf(target));
            passImage(image, target, encoder);
            MemoryWriter writer(capacity);
            ASSERT_EQ(thrownBy([&] { encoder.write(writer.stream); }), expected.thrown);
            ASSERT_TRUE(stateOf(writer.stream) == expected.state);
            ASSERT_TRUE(writer.content() == expected.bytes);
            ASSERT_TRUE(writer.fenceIsIntact());
        }
    }

    // A stream that the decoder of rows can take.
    void checkReading(const Image& like, const Bytes& payload) {
        Decoded<T> expected = decoded(like, Target::plain, payload, fromMemory);
        wavelet().untransform(&*expected.image);
        for (const Target target : sampledTargets()) {
            SCOPED_TRACE(testing::Message() << target << ", " << like->width << " x " << like->height << " from "
                                            << payload.size() << " bytes");
            ASSERT_TRUE(suitsRowStreams(like->width, like->height));
            RowDecoder<T> decoder(like->width, like->height, like->channels, kernelsOf(target));
            MemoryReader reader(payload);
            const int topPlane = readTopPlane(reader.stream);
            ASSERT_TRUE(RowDecoder<T>::suits(topPlane));
            ASSERT_EQ(decoder.read(topPlane, reader.stream), expected.result);
            decoder.start();
            Image actual = like;
            takeImage(decoder, actual);
            ASSERT_TRUE(sameMemory(actual, expected.image));
        }
    }

    Bytes streamInPlanes(const Image& image) {
        Image coefficients = image;
        wavelet().transform(&*coefficients);
        return plainStream(coefficients);
    }

    std::mt19937_64 random{15};

private:
    Wavelet<T> wavelet() { return {&filter}; }

    // Channels take turns, as in a file, or follow one another.
    template <typename Visit>
    void forEachRow(const Image& image, Visit visit) {
        const bool rowsFirst = random() % 2 == 0;
        for (int i = 0; i < image->height * image->channels; ++i) {
            const int y = rowsFirst ? i / image->channels : i % image->height;
            const int c = rowsFirst ? i % image->channels : i / image->height;
            visit(c, image->planes[c] + static_cast<long>(y) * image->stride);
        }
    }

    void passImage(const Image& image, Target target, RowEncoder<T>& encoder) {
        forEachRow(image, [&](int c, const T* row) { passRow(row, image->width, target, encoder.channel(c)); });
    }

    void takeImage(RowDecoder<T>& decoder, Image& image) {
        forEachRow(image, [&](int c, T* row) { takeRow(decoder.channel(c), image->width, row); });
    }

    Filter4_2<T> filter;
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetRowCodec, SampleTypes);

} // namespace

TEST(TargetRowCodecChoice, NeedsSixRowsAndColumns) {
    for (const Shape2d& shape : {Shape2d{0, 0}, {1, 9}, {5, 300}, {300, 5}}) {
        EXPECT_FALSE(suitsRowStreams(shape.width, shape.height)) << shape;
    }
    for (const Shape2d& shape : {Shape2d{6, 6}, {300, 6}, {6, 300}, {80, 81}}) {
        EXPECT_TRUE(suitsRowStreams(shape.width, shape.height)) << shape;
    }
}

TYPED_TEST(TargetRowCodec, WritesThePlainStream) {
    for (int round = 0; round < 6; ++round) {
        for (const Shape2d& shape : shapes) {
            const auto image = this->anyImage(shape);
            this->checkWriting(image, ampleRoom(*image));
            ASSERT_FALSE(this->HasFatalFailure());
        }
    }
}

TYPED_TEST(TargetRowCodec, KeepsToEveryBudget) {
    for (int round = 0; round < 4; ++round) {
        for (const Shape2d& shape : shapes) {
            const auto image = this->anyImage(shape);
            const std::size_t whole = this->streamInPlanes(image).size();
            this->checkWriting(image, 1 + this->random() % (whole + 4));
            this->checkWriting(image, 1 + this->random() % (whole / 10 + 4));
            ASSERT_FALSE(this->HasFatalFailure());
        }
    }
}

TYPED_TEST(TargetRowCodec, ReadsCompleteAndCutStreams) {
    for (int round = 0; round < 4; ++round) {
        for (const Shape2d& shape : shapes) {
            const auto image = this->anyImage(shape);
            Bytes stream = this->streamInPlanes(image);
            stream.resize(std::max<std::size_t>(stream.size(), 4)); // a flat image may fill no word
            this->checkReading(image, stream + Bytes{1, 2, 3, 4});
            this->checkReading(image, prefix(stream, std::max<std::size_t>(4, this->random() % stream.size())));
            this->checkReading(image, prefix(stream, 4 + this->random() % (stream.size() / 10 + 1)));
            ASSERT_FALSE(this->HasFatalFailure());
        }
    }
}

TYPED_TEST(TargetRowCodec, ReadsDamagedStreams) {
    for (int round = 0; round < 4; ++round) {
        for (const Shape2d& shape : shapes) {
            const auto image = this->anyImage(shape);
            Bytes bytes = this->streamInPlanes(image) + Bytes(4);
            for (int i = 0; i < 1 + 3 * round; ++i) {
                const std::size_t place = 1 + this->random() % (bytes.size() - 1);
                bytes[place] = static_cast<std::uint8_t>(this->random() & 0xFF);
            }
            this->checkReading(image, bytes);
            ASSERT_FALSE(this->HasFatalFailure());
        }
    }
}

// With every top plane that may come: none at all, and coefficients that a transform never makes.
TYPED_TEST(TargetRowCodec, ReadsStreamsOfEveryTopPlane) {
    int suitable = 0;
    for (int topPlane = -1; topPlane < 255; ++topPlane) {
        if (!RowDecoder<TypeParam>::suits(topPlane)) {
            continue;
        }
        ++suitable;
        for (const Shape2d& shape : shapes) {
            Bytes bytes(8 + this->random() % 4000);
            std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(this->random() & 0xFF); });
            bytes[0] = static_cast<std::uint8_t>(topPlane & 0xFF);
            this->checkReading(LaidOutImage<TypeParam>(shape.width, shape.height, shape.channels), bytes);
            ASSERT_FALSE(this->HasFatalFailure());
        }
    }
    EXPECT_EQ(suitable, sizeof(TypeParam) == sizeof(short) ? 15 : 22);
}

} // namespace teko

// SPDX-License-Identifier: Apache-2.0
// Coded streams and what they leave in the planes: with every target as with the plain one.
#include "coding/runLengthParameter.hpp"
#include "support/coefficients.hpp"
#include "targets/segments.hpp"
#include "targets/writing.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

constexpr Layout layouts[] = {{}, {1, 0}, {0, 1}, {5, 3}, {2, 2}};

template <typename T>
class TargetEncoder : public testing::Test {
protected:
    using Image = LaidOutImage<T>;

    void checkIn(const Image& image, std::size_t capacity, const Bits& before = {}) {
        const Written<T> expected = writtenToMemory(image, Target::plain, capacity, before);
        for (const Target target : sampledTargets()) {
            ASSERT_TRUE(sameWriting(writtenToMemory(image, target, capacity, before), expected))
                << target << ", " << capacity << " bytes, " << before.size() << " bits before";
        }
    }
    void check(const Image& image) { checkIn(image, ampleRoom(*image)); }

    void checkInFile(const Image& image, std::int64_t turn) {
        const Written<T> expected = writtenToFile(image, Target::plain, turn);
        for (const Target target : sampledTargets()) {
            ASSERT_TRUE(sameWriting(writtenToFile(image, target, turn), expected)) << target << ", " << turn;
        }
    }

    void checkEveryBudget(const Image& image, const Bits& before, std::size_t step) {
        const std::size_t whole = plainStream(image, before).size();
        for (std::size_t capacity = before.size() / 8 + 1; capacity < whole + 9; capacity += step) {
            checkIn(image, capacity, before);
            if (this->HasFatalFailure()) {
                return;
            }
        }
    }

    std::mt19937_64 random{6};
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetEncoder, SampleTypes);

} // namespace

TYPED_TEST(TargetEncoder, WritesThePlainStreamOfEveryPlaneAndContent) {
    for (int plane = 0; plane <= highestSlicedPlane<TypeParam>; ++plane) {
        for (const Content content : reference::allContents) {
            const Shape2d shape{70, 41, 1 + plane % 3};
            this->check(coefficients<TypeParam>(content, shape, plane, this->random, layouts[plane % 5]));
            ASSERT_FALSE(this->HasFatalFailure()) << "plane " << plane;
        }
    }
}

TYPED_TEST(TargetEncoder, WritesThePlainStreamOfEverySize) {
    for (int width = 2; width <= 36; ++width) {
        for (int height = 2; height <= 36; ++height) {
            const Layout layout = layouts[(width + height) % 5];
            this->check(coefficients<TypeParam>(Content::geometric, {width, height}, 9, this->random, layout));
            this->check(scattered<TypeParam>({width, height}, 11, 20, this->random, layout));
        }
    }
}

TYPED_TEST(TargetEncoder, WritesThePlainStreamOfEveryDensity) {
    for (unsigned oneIn = 1; oneIn <= 4000; oneIn += 1 + oneIn / 3) {
        for (const Layout& layout : layouts) {
            this->check(scattered<TypeParam>({260, 199}, 10, oneIn, this->random, layout));
        }
    }
}

TYPED_TEST(TargetEncoder, WritesThePlainStreamOfRowsOfEveryDensity) {
    for (const unsigned dense : {1U, 2U, 30U}) {
        for (const unsigned thin : {3U, 100U, 5000U}) {
            LaidOutImage<TypeParam> image = scattered<TypeParam>({300, 210, 2}, 9, thin, this->random);
            const LaidOutImage<TypeParam> other = scattered<TypeParam>({300, 210, 2}, 5, dense, this->random);
            image.fill([&](int c, int y, int x) { return (y / 30 % 2 == 0 ? image : other).at(c, y, x); });
            this->check(image);
        }
    }
}

TYPED_TEST(TargetEncoder, KeepsToEveryBudgetOfSmallImages) {
    for (const auto& [shape, plane] : {std::pair{Shape2d{9, 7}, 13}, {{16, 16}, 4}, {{5, 33, 3}, 7}, {{33, 12}, 1}}) {
        for (const std::size_t bitsBefore : {0U, 5U, 32U, 67U}) {
            const Bits before = randomBits(this->random, bitsBefore);
            this->checkEveryBudget(coefficients<TypeParam>(Content::geometric, shape, plane, this->random), before, 1);
            this->checkEveryBudget(scattered<TypeParam>(shape, plane, 15, this->random), before, 1);
        }
    }
}

TYPED_TEST(TargetEncoder, KeepsToBudgetsOfLargerImages) {
    for (const unsigned oneIn : {1U, 5U, 60U}) {
        const Shape2d shape{130, 97, oneIn == 5 ? 3 : 1};
        this->checkEveryBudget(scattered<TypeParam>(shape, 12, oneIn, this->random), {}, 131);
    }
    this->checkEveryBudget(coefficients<TypeParam>(Content::geometric, {130, 97}, 13, this->random), {}, 31);
}

// Seven passes before every event, which are a unit of four and the largest remainder: run segments are shorter than
// anyone would take them to be.
TYPED_TEST(TargetEncoder, KeepsToBudgetsOfSegmentsShorterThanUsual) {
    LaidOutImage<TypeParam> image(64, 48, 2);
    int passed[2][maximumClasses] = {};
    image.fill([&](int c, int y, int x) {
        const bool isEvent = passed[c][subbandClass(x, y, numberOfLevels(64, 48))]++ % 8 == 7;
        const auto magnitude = static_cast<long>(isEvent ? 8 + this->random() % 8 : 0);
        return this->random() % 2 == 0 ? magnitude : -magnitude;
    });
    this->checkEveryBudget(image, {}, 3);
}

TYPED_TEST(TargetEncoder, WritesThePlainFile) {
    for (const std::int64_t turn :
         {std::int64_t{1}, std::int64_t{2}, std::int64_t{7}, std::int64_t{100}, BitStreamer::fileBufferWords}) {
        this->checkInFile(coefficients<TypeParam>(Content::geometric, {130, 97, 2}, 13, this->random), turn);
        this->checkInFile(scattered<TypeParam>({97, 130}, 11, 30, this->random), turn);
    }
}

TYPED_TEST(TargetEncoder, WritesThePlainFileThatIsLongerThanTheBuffer) {
    this->checkInFile(coefficients<TypeParam>(Content::dense, {512, 401, 2}, 13, this->random),
                      BitStreamer::fileBufferWords);
}

// They end with the same error, and nothing is written. Long ones do not get as far as this encoder.
using TargetEncoderOfShorts = TargetEncoder<short>;

TEST_F(TargetEncoderOfShorts, RefusesMagnitudesWithoutAPlaneAsThePlainOneDoes) {
    for (const int extreme : {-32768, -32767, -16385, -16384, 16384, 20001, 32767}) {
        for (const int height : {3, 31, 200}) {
            auto image = coefficients<short>(Content::dense, {30, height, 2}, 13, random);
            image.at(1, height - 1, 29) = static_cast<short>(extreme);
            EXPECT_EQ(writtenToMemory(image, Target::plain, 9999, {}).thrown, 5);
            checkIn(image, 9999);
        }
    }
}

// What all comparisons stand on: the plain stream is the one that the segments' description gives.
TYPED_TEST(TargetEncoder, ThePlainStreamIsTheSegmentsInTheirOrder) {
    for (const Content content : reference::allContents) {
        for (const int plane : {0, 1, 5, 12}) {
            const auto image = coefficients<TypeParam>(content, {37, 29, 2}, plane, this->random);
            auto folded = image;
            int top = 0;
            folded.fill([&](int c, int y, int x) { return fold(image.at(c, y, x)); });
            for (int c = 0; c < 2; ++c) {
                const TypeParam* memory = folded.memory(c);
                const TypeParam largest = *std::max_element(memory, memory + folded.memorySize());
                top = std::max(top, bitLength(magnitudeOf(largest)) - 1);
            }
            const Bits bits = streamOf(*folded, top, [](int, int, int b, const std::vector<TypeParam>& values) {
                const auto has = [b](TypeParam value) { return bitLength(magnitudeOf(value)) == b + 1; };
                const auto mayHave = [b](TypeParam value) { return bitLength(magnitudeOf(value)) <= b + 1; };
                return runLengthParameter(
                    static_cast<std::uint64_t>(std::count_if(values.begin(), values.end(), has)),
                    static_cast<std::uint64_t>(std::count_if(values.begin(), values.end(), mayHave)));
            });
            EXPECT_EQ(plainStream(image), packed(bits));
        }
    }
}

} // namespace teko

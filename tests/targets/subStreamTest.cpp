// SPDX-License-Identifier: Apache-2.0
// The sub-streams of each class and plane, one by one, against the description of their segments.
#include "fast/kernels/kernels.hpp"
#include "fast/planes/segmentPlan.hpp"
#include "support/coefficients.hpp"
#include "support/foldedValues.hpp"
#include "support/targets.hpp"
#include "targets/segments.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <sys/mman.h>
#include <utility>

namespace teko {

namespace {

constexpr int parameters[] = {0, 2, 3, 0, 4, 1, 5, 2, 7, 3, 10, 0, 13, 17, 24};

// The lowest plane of each class to be coded.
using LowestPlanes = std::array<int, maximumClasses>;

// A sub-stream with room for just so many bits.
struct ExactStream {
    explicit ExactStream(std::uint64_t bits)
        : memory(SubStream::bytesFor(bits)), stream{memory.data(), memory.data() + (bits + 7) / 8} {}

    std::vector<unsigned char> memory;
    SubStream stream;
};

Bits bitsOf(const SubStream& stream) {
    Bits bits;
    for (std::uint64_t i = 0; i < stream.bits; ++i) {
        bits.push_back((stream.bytes[i / 8] >> (i % 8) & 1) != 0);
    }
    return bits;
}

template <typename T>
class TargetSubStreams : public testing::Test {
protected:
    // Codes an image of coefficients down to the lowest planes, with parameters that change from plane to plane
    // and from call to call, into sub-streams that have room for just their bits.
    void check(LaidOutImage<T> image, int topPlane, const LowestPlanes& lowest) {
        image.fill([&](int c, int y, int x) { return fold(image.at(c, y, x)); });
        ++calls;
        const int levels = numberOfLevels(image->width, image->height);
        for (int channel = 0; channel < image->channels; ++channel) {
            for (int c = 0; c <= levels; ++c) {
                Class of{shapeOf(image->width, image->height, image->channels), channel, c, topPlane,
                         classOf(*image, channel, c, levels)};
                for (int b = 0; b <= topPlane; ++b) {
                    of.parameters.push_back(parameterOf(c, b));
                }
                const int sparse = lowestSparse(of.parameters);
                const int anySparse =
                    sparse + static_cast<int>(random() % static_cast<unsigned>(topPlane + 2 - sparse));
                checkClass(of, lowest[static_cast<std::size_t>(c)], sparse);
                checkClass(of, lowest[static_cast<std::size_t>(c)], anySparse);
            }
        }
    }

    void checkAllPlanes(const LaidOutImage<T>& image, int topPlane) { check(image, topPlane, LowestPlanes{}); }

    // With every lowest plane, and every plane that may be the lowest sparse one.
    void checkEveryChoice(const std::vector<T>& coefficients, int topPlane, const std::vector<int>& itsParameters) {
        Class of{shapeOf(2, static_cast<int>(coefficients.size() / 2), 1), 0, 0, topPlane, {}, itsParameters};
        for (const T coefficient : coefficients) {
            of.values.push_back(fold(coefficient));
        }
        for (int lowest = 0; lowest <= topPlane + 1; ++lowest) {
            for (int sparse = lowestSparse(itsParameters); sparse <= topPlane + 1; ++sparse) {
                checkClass(of, lowest, sparse);
            }
        }
    }

    // Two events behind so many passes. Memory for those is never touched: only the last block holds anything.
    void checkLongRun(std::uint64_t passes, int k, int sparse) {
        using Folded = SubbandBytes<RowSample<T>>;
        constexpr std::uint64_t between = 500;
        constexpr std::uint64_t behind = 7;
        const auto count = static_cast<long>(passes + 1 + between + 1 + behind);
        const Untouched memory(static_cast<std::size_t>(Folded::rowBytes(count)));
        std::vector<unsigned char> bytePlanesUsed(static_cast<std::size_t>(Folded::blocks(count)), 1);
        std::vector<unsigned char> longest(bytePlanesUsed.size(), 0);
        Folded folded{{memory.bytes}, bytePlanesUsed.data(), longest.data(), count};
        folded.finish();
        memory.bytes[passes] = 3; // -1
        memory.bytes[passes + 1 + between] = 2;
        std::fill(longest.end() - 2, longest.end(), std::uint8_t{2});

        Bits wanted;
        putNumber(wanted, static_cast<std::uint64_t>(k), 5);
        for (const auto& [run, sign] : {std::pair{passes, true}, {between, false}}) {
            putZeros(wanted, run >> k);
            wanted.push_back(true);
            putNumber(wanted, run & ((std::uint64_t{1} << k) - 1), k);
            wanted.push_back(sign);
        }
        wanted.push_back(false);
        for (const Target target : fastTargets()) {
            SCOPED_TRACE(testing::Message() << target << ", " << passes << " passes, k " << k << ", sparse " << sparse);
            ExactStream none(0);
            ExactStream runs(wanted.size());
            PlaneStreams streams{none.stream, runs.stream, static_cast<unsigned>(k)};
            kernelsOf(target).planes<T>().codeClass(folded, &streams, 0, 0, sparse);
            ASSERT_EQ(bitsOf(streams.runs), wanted);
        }
    }

    std::mt19937_64 random{7};

private:
    // Pages of zeros that take no memory until they are written to.
    struct Untouched {
        explicit Untouched(std::size_t bytesOfAll)
            : size(bytesOfAll),
              bytes(static_cast<unsigned char*>(
                  mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))) {}
        ~Untouched() { munmap(bytes, size); }
        Untouched(const Untouched&) = delete;
        Untouched& operator=(const Untouched&) = delete;

        std::size_t size;
        unsigned char* bytes;
    };

    struct Class {
        ImageShape shape;
        int channel;
        int c;
        int topPlane;
        std::vector<T> values; // folded
        std::vector<int> parameters = {};

        int parameter(int b) const { return parameters[static_cast<std::size_t>(b)]; }
    };

    // In two calls of three the upper planes have none that is 0, so that they may be called sparse.
    int parameterOf(int c, int b) const {
        const int k = parameters[(calls + 4 * c + b) % 15];
        return calls % 3 != 0 && b >= calls % 5 ? std::max(k, 1) : k;
    }

    // The lowest plane from which on no parameter is 0.
    static int lowestSparse(const std::vector<int>& itsParameters) {
        const auto lastZero = std::find(itsParameters.rbegin(), itsParameters.rend(), 0);
        return static_cast<int>(itsParameters.rend() - lastZero);
    }

    struct PlaneSegments {
        int plane;
        Bits refinements;
        Bits runs;
    };

    static std::vector<PlaneSegments> segmentsOf(const Class& of, int lowest) {
        std::vector<PlaneSegments> segments;
        for (int b = lowest; b <= of.topPlane; ++b) {
            segments.push_back({b, refinementSegment(of.values, b), runSegment(of.values, b, of.parameter(b))});
        }
        return segments;
    }

    static void checkClass(const Class& of, int lowest, int sparse) {
        const std::vector<PlaneSegments> wanted = segmentsOf(of, lowest);
        for (const Target target : fastTargets()) {
            SCOPED_TRACE(testing::Message() << target << ", channel " << of.channel << ", class " << of.c << ", from "
                                            << lowest << " on, sparse from " << sparse << " on");
            std::vector<ExactStream> memory;
            memory.reserve(2 * wanted.size());
            std::vector<PlaneStreams> streams(static_cast<std::size_t>(of.topPlane) + 1);
            for (const PlaneSegments& segments : wanted) {
                PlaneStreams& pair = streams[static_cast<std::size_t>(segments.plane)];
                pair.refinements = memory.emplace_back(segments.refinements.size()).stream;
                pair.runs = memory.emplace_back(segments.runs.size()).stream;
                pair.k = static_cast<unsigned>(of.parameter(segments.plane));
            }
            FoldedValues<RowSample<T>> folded(of.values.size());
            const std::vector<RowSample<T>> values(of.values.begin(), of.values.end());
            folded.append(values);
            folded.sequence.finish();
            kernelsOf(target).planes<T>().codeClass(folded.sequence, streams.data(), of.topPlane, lowest, sparse);
            ASSERT_EQ(folded.values(), values);
            for (const PlaneSegments& segments : wanted) {
                const int b = segments.plane;
                SCOPED_TRACE(testing::Message() << "plane " << b << ", parameter " << of.parameter(b));
                ASSERT_EQ(bitsOf(streams[static_cast<std::size_t>(b)].refinements), segments.refinements);
                ASSERT_EQ(bitsOf(streams[static_cast<std::size_t>(b)].runs), segments.runs);
            }
        }
    }

    int calls = 0;
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetSubStreams, SampleTypes);

} // namespace

TYPED_TEST(TargetSubStreams, AreTheDescribedOnesForEveryPlaneAndContent) {
    for (int plane = 0; plane <= highestSlicedPlane<TypeParam>; ++plane) {
        for (const Content content : reference::allContents) {
            this->checkAllPlanes(
                coefficients<TypeParam>(content, {50, 37, 1 + plane % 2}, plane, this->random, {plane % 3, plane % 2}),
                plane);
        }
    }
}

TYPED_TEST(TargetSubStreams, MayHaveEmptyPlanesOnTop) {
    for (int plane = 0; plane < highestSlicedPlane<TypeParam>; plane += 3) {
        const auto image = coefficients<TypeParam>(Content::geometric, {50, 37}, plane, this->random);
        this->checkAllPlanes(image, highestSlicedPlane<TypeParam>);
    }
}

TYPED_TEST(TargetSubStreams, AreTheDescribedOnesForEveryDensityAndParameter) {
    for (unsigned oneIn = 1; oneIn < 3000; oneIn = 2 * oneIn + oneIn / 3) {
        for (int round = 0; round < 15; ++round) {
            this->checkAllPlanes(scattered<TypeParam>({101, 87}, 5, oneIn, this->random), 5);
        }
    }
}

TYPED_TEST(TargetSubStreams, AreTheDescribedOnesAboveAnyLowestPlane) {
    for (int round = 0; round < 60; ++round) {
        LowestPlanes lowest;
        std::generate(lowest.begin(), lowest.end(),
                      [&] { return static_cast<int>(this->random() % 11); }); // 10 is none at all
        this->check(coefficients<TypeParam>(Content::geometric, {77, 64, 3}, 9, this->random), 9, lowest);
        this->check(scattered<TypeParam>({77, 64, 3}, 9, 9, this->random), 9, lowest);
    }
}

// Which planes are called sparse is for speed alone, whatever they hold.
TYPED_TEST(TargetSubStreams, DoNotDependOnWhatIsCalledSparse) {
    for (const std::vector<int>& chosen : {std::vector<int>{1, 1, 1, 1, 1, 1, 1},
                                           {0, 1, 2, 3, 4, 5, 6},
                                           {0, 0, 0, 1, 1, 2, 3},
                                           {7, 5, 3, 2, 2, 1, 9},
                                           {2, 0, 2, 13, 3, 2, 24}}) {
        for (const unsigned oneIn : {1U, 3U, 20U, 300U}) {
            for (const int rows : {40, 1024, 2500}) {
                const auto image = scattered<TypeParam>({2, rows}, 6, oneIn, this->random);
                this->checkEveryChoice(classOf(*image, 0, 0, 0), 6, chosen);
                ASSERT_FALSE(this->HasFatalFailure());
            }
        }
    }
}

// What is sparse is listed over many blocks: until the list is full, or until so many have passed. Thin stretches hold
// other lengths than dense ones.
TYPED_TEST(TargetSubStreams, AreTheDescribedOnesForLongClasses) {
    constexpr int rows = 70000;
    for (const unsigned thin : {40U, 700U, 30000U}) {
        for (const int planes : {7, 9}) {
            auto image = scattered<TypeParam>({2, rows}, planes, thin, this->random);
            const auto dense = scattered<TypeParam>({2, rows}, 14 - planes, 3, this->random);
            const int stretch = 500 + static_cast<int>(this->random() % 4000);
            image.fill([&](int c, int y, int x) { return (y / stretch % 5 == 3 ? dense : image).at(c, y, x); });
            for (int round = 0; round < 3; ++round) {
                this->checkAllPlanes(image, 9);
                ASSERT_FALSE(this->HasFatalFailure());
            }
        }
    }
}

// Runs that reach over many chunks.
TYPED_TEST(TargetSubStreams, AreTheDescribedOnesForSingleEvents) {
    for (int round = 0; round < 45; ++round) {
        LaidOutImage<TypeParam> image(2, 20000, 1);
        image.fill([](int, int, int) { return 0; });
        for (int i = 0; i < 3; ++i) {
            image.at(0, static_cast<int>(this->random() % 20000), i % 2) = static_cast<TypeParam>(1 - 5 * (i % 2));
        }
        this->checkAllPlanes(image, 3);
    }
}

// Longer than a signed number of 32 bits. Such images have three thousand million pixels.
TYPED_TEST(TargetSubStreams, AreTheDescribedOnesForTheLongestRuns) {
    for (const std::uint64_t passes :
         {(1ULL << 30) - 900, 1ULL << 30, (1ULL << 31) - 900, (1ULL << 31) + 1, 3221159937ULL}) {
        for (const int k : {12, 24}) {
            this->checkLongRun(passes, k, 0);
            this->checkLongRun(passes, k, 1);
            ASSERT_FALSE(this->HasFatalFailure());
        }
    }
}

} // namespace teko

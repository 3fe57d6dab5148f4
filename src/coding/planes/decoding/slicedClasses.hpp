// Decoded classes that stay sliced until their values are asked for. Included once per target, inside its region and
// namespace, after decoderPlanes.hpp. No include guard, no includes.

// One channel in memory of its own.
template <typename T>
class SlicedChannel {
public:
    explicit SlicedChannel(const ImageShape& shape) {
        long blocks = 0;
        long words = 0;
        for (int c = 0; c <= shape.levels; ++c) {
            const long samples = classSamples(shape, c);
            const long blocksOfClass = blocksFor(samples);
            blocks += blocksOfClass;
            words += blocksOfClass * blockRows<T> * rowWordsFor(samples);
        }
        memory.reset(new Word[static_cast<std::size_t>(words)]);
        adviseFilling(memory.get(), static_cast<std::size_t>(words) * sizeof(Word));
        counts.resize(static_cast<std::size_t>(blocks));
        Word* next = memory.get();
        std::uint32_t* nextCount = counts.data();
        for (int c = 0; c <= shape.levels; ++c) {
            const long samples = classSamples(shape, c);
            const long blocksOfClass = blocksFor(samples);
            classes[c].place(next, nullptr, blocksOfClass, samples, nextCount);
            next += blocksOfClass * blockRows<T> * rowWordsFor(samples);
            nextCount += blocksOfClass;
        }
    }

    ClassState<T> classes[maximumClasses];

private:
    static long blocksFor(long samples) {
        const long samplesInBlock = 64L * rowWordsFor(samples);
        return (samples + samplesInBlock - 1) / samplesInBlock;
    }

    std::unique_ptr<Word[]> memory;
    std::vector<std::uint32_t> counts;
};

template <typename T>
class SlicedClasses final : public SlicedImage<T> {
public:
    explicit SlicedClasses(const ImageShape& imageShape) : shape(imageShape) {
        for (int channel = 0; channel < shape.channels; ++channel) {
            channels.emplace_back(shape);
        }
    }

    int read(int topPlane, BitStreamer& stream) override {
        const int endedEarly = readSegments(channels, shape.levels, topPlane, stream);
        for (SlicedChannel<T>& channel : channels) {
            for (int c = 0; c < maximumClasses; ++c) {
                readers.emplace_back(channel.classes[std::min(c, shape.levels)], topPlane, true);
            }
        }
        return endedEarly;
    }

    void take(int channel, int c, Value<T>* to, long n) override {
        readers[static_cast<std::size_t>(channel * maximumClasses + c)].take(to, n);
    }

private:
    ImageShape shape;
    std::vector<SlicedChannel<T>> channels;
    std::vector<ClassReader<T>> readers; // [channel * maximumClasses + c]
};

template <typename T>
std::unique_ptr<SlicedImage<T>> makeSliced(const ImageShape& shape) {
    return std::make_unique<SlicedClasses<T>>(shape);
}

// Decoded classes that stay sliced until their values are asked for. Included once per target, inside its region and
// namespace, after decoderPlanes.hpp. No include guard, no includes.

// One channel in memory of its own.
template <typename T>
class SlicedChannel {
public:
    explicit SlicedChannel(const ImageShape& imageShape) : shape(imageShape) {
        for (int c = 0; c <= shape.levels; ++c) {
            const long samples = classSamples(shape, c);
            blocks += blocksFor(samples);
            words += blocksFor(samples) * blockRows<T> * rowWordsFor(samples);
        }
        memory.reset(new Word[static_cast<std::size_t>(words)]);
    }

    // Writes to all of the memory, so it waits for a stream.
    void start() {
        adviseFilling(memory.get(), static_cast<std::size_t>(words) * sizeof(Word));
        counts.resize(static_cast<std::size_t>(blocks));
        Word* next = memory.get();
        std::uint32_t* nextCount = counts.data();
        for (int c = 0; c <= shape.levels; ++c) {
            const long samples = classSamples(shape, c);
            const long blocksOfClass = blocksFor(samples);
            classes[c].place(next, samples, nextCount);
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

    ImageShape shape;
    long blocks = 0;
    long words = 0;
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
        for (SlicedChannel<T>& channel : channels) {
            channel.start();
        }
        const int endedEarly = readSegments(channels, shape.levels, topPlane, stream);
        for (SlicedChannel<T>& channel : channels) {
            std::vector<ClassReader<T>>& ofChannel = readers.emplace_back();
            for (int c = 0; c <= shape.levels; ++c) {
                ofChannel.emplace_back(channel.classes[c], topPlane);
            }
        }
        return endedEarly;
    }

    void take(int channel, int c, RowSample<T>* to, long n) override {
        readers[static_cast<std::size_t>(channel)][static_cast<std::size_t>(c)].take(to, n);
    }

private:
    ImageShape shape;
    std::vector<SlicedChannel<T>> channels;
    std::vector<std::vector<ClassReader<T>>> readers; // [channel][class]
};

template <typename T>
std::unique_ptr<SlicedImage<T>> makeSliced(const ImageShape& shape) {
    return std::make_unique<SlicedClasses<T>>(shape);
}

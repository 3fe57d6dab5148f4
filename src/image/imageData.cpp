#include "image/imageData.hpp"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>

namespace teko {

namespace {

std::size_t planeSamples(int stride, int height) {
    const long samples = static_cast<long>(stride) * height;
    if (samples < 0 || samples > std::numeric_limits<std::int32_t>::max()) {
        throw std::bad_array_new_length();
    }
    return static_cast<std::size_t>(samples);
}

// One row of a raw file: the bytes of width * channels samples of `Bytes` bytes each.
template <int Bytes>
class RawRow {
public:
    RawRow(int width, int channels)
        : samples(static_cast<long>(width) * channels),
          row(new unsigned char[static_cast<std::size_t>(samples * Bytes)]) {}

    void read(std::FILE* file) {
        if (std::fread(row.get(), Bytes, count(), file) != count()) {
            throw 3;
        }
    }
    void write(std::FILE* file) const {
        if (std::fwrite(row.get(), Bytes, count(), file) != count()) {
            throw 3;
        }
    }

    unsigned get(long index) const {
        unsigned sample = 0;
        for (int i = 0; i < Bytes; ++i) {
            sample |= static_cast<unsigned>(row[static_cast<std::size_t>(index * Bytes + i)]) << (8 * i);
        }
        return sample;
    }
    void set(long index, unsigned sample) {
        for (int i = 0; i < Bytes; ++i) {
            row[static_cast<std::size_t>(index * Bytes + i)] = static_cast<unsigned char>(sample >> (8 * i) & 0xFFU);
        }
    }

private:
    std::size_t count() const { return static_cast<std::size_t>(samples); }

    long samples;
    std::unique_ptr<unsigned char[]> row;
};

// The limit of 31 bits per sample is negative, and one less wraps.
template <typename T>
T clampedTo(int limit, T sample) {
    const auto highest = static_cast<int>(static_cast<unsigned>(limit) - 1U);
    return sample < 0 ? T{0} : sample >= limit ? static_cast<T>(highest) : sample;
}

template <int Bytes, typename T>
void readRaw(ImageData<T>& image, std::FILE* file) {
    RawRow<Bytes> row(image.width, image.channels);
    for (int y = 0; y < image.height; ++y) {
        row.read(file);
        for (int c = 0; c < image.channels; ++c) {
            T* samples = image.planes[c] + static_cast<long>(y) * image.stride;
            for (int x = 0; x < image.width; ++x) {
                samples[x] = static_cast<T>(row.get(static_cast<long>(x) * image.channels + c));
            }
        }
    }
}

template <int Bytes, typename T>
void writeRaw(ImageData<T>& image, std::FILE* file, int limit) {
    RawRow<Bytes> row(image.width, image.channels);
    for (int y = 0; y < image.height; ++y) {
        for (int c = 0; c < image.channels; ++c) {
            T* samples = image.planes[c] + static_cast<long>(y) * image.stride;
            for (int x = 0; x < image.width; ++x) {
                if (limit != 0) {
                    samples[x] = clampedTo(limit, samples[x]);
                }
                row.set(static_cast<long>(x) * image.channels + c, static_cast<unsigned>(samples[x]));
            }
        }
        row.write(file);
    }
    if (std::fflush(file) != 0) {
        throw 3; // what the last rows could not store shows only here
    }
}

} // namespace

template <typename T>
ImageData<T>::ImageData(int xsize, int ysize, int channelCount)
    : channels(channelCount), width(xsize), height(ysize), stride(xsize) {
    if (channels < 1 || channels > 3) {
        throw 5;
    }
    std::unique_ptr<T[]> allocated[3];
    for (int c = 0; c < channels; ++c) {
        allocated[c].reset(new T[planeSamples(stride, height)]);
    }
    for (int c = 0; c < channels; ++c) {
        planes[c] = allocated[c].release();
    }
}

template <typename T>
ImageData<T>::~ImageData() {
    for (T* plane : planes) {
        delete[] plane;
    }
}

template <typename T>
int ImageData<T>::rawRead8(std::FILE* file) {
    readRaw<1>(*this, file);
    return 0;
}

template <typename T>
int ImageData<T>::rawRead16(std::FILE* file) {
    readRaw<2>(*this, file);
    return 0;
}

template <typename T>
int ImageData<T>::rawWrite8(std::FILE* file, int limit) {
    writeRaw<1>(*this, file, limit);
    return 0;
}

template <typename T>
int ImageData<T>::rawWrite16(std::FILE* file, int limit) {
    writeRaw<2>(*this, file, limit);
    return 0;
}

template <typename T>
double ImageData<T>::getMSE(const ImageData* other) const {
    if (width != other->width || height != other->height || channels != other->channels) {
        return -1.0;
    }
    using Difference = std::conditional_t<sizeof(T) == sizeof(short), int, long>;
    double sum = 0.0;
    for (int c = 0; c < channels; ++c) {
        for (int y = 0; y < height; ++y) {
            const long start = static_cast<long>(y) * stride;
            for (int x = 0; x < width; ++x) {
                const Difference theirs = other->planes[c][start + x];
                const auto difference = static_cast<double>(theirs - planes[c][start + x]);
                sum += difference * difference;
            }
        }
    }
    return sum / width / height / channels;
}

template class ImageData<short>;
template class ImageData<long>;

} // namespace teko

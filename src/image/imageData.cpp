// SPDX-License-Identifier: Apache-2.0
#include "image/imageData.hpp"

#include "image/sampleLimit.hpp"
#include "memory/memory.hpp"
#include "memory/pageBuffer.hpp"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <type_traits>

namespace teko {

namespace {

std::size_t planeSamples(int stride, int height) {
    const std::int64_t samples = static_cast<std::int64_t>(stride) * height;
    if (samples < 0 || samples > std::numeric_limits<std::int32_t>::max()) {
        throw std::bad_array_new_length();
    }
    return static_cast<std::size_t>(samples);
}

std::size_t rowSamples(int width, int channels) {
    if (width < 0) {
        throw std::bad_array_new_length();
    }
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(channels);
}

// The samples of one channel of a raw row, to or from `n` places. The loops are plain, and images of one channel have
// one of their own, so that they become vector code (reading grey: from 0.41 to 0.15 ns per sample). A step of 0 stands
// for one that is known at run time only.
template <int Bytes, int Step, typename T>
void takeStrided(const unsigned char* __restrict bytes, T* __restrict to, std::int64_t n, std::int64_t step = Step) {
    for (std::int64_t x = 0; x < n; ++x) {
        unsigned sample = 0;
        for (int i = 0; i < Bytes; ++i) {
            sample |= static_cast<unsigned>(bytes[x * (Step != 0 ? Step : step) * Bytes + i]) << (8 * i);
        }
        to[x] = static_cast<T>(sample);
    }
}
template <int Bytes, int Step, typename T>
void putStrided(unsigned char* __restrict bytes, const T* __restrict from, std::int64_t n, std::int64_t step = Step) {
    for (std::int64_t x = 0; x < n; ++x) {
        for (int i = 0; i < Bytes; ++i) {
            const auto sample = static_cast<unsigned>(from[x] & 0xFFFF);
            bytes[x * (Step != 0 ? Step : step) * Bytes + i] = static_cast<unsigned char>(sample >> (8 * i) & 0xFFU);
        }
    }
}

template <typename T>
T* rowOf(const ImageData<T>& image, int c, int y) {
    return image.planes[c] + static_cast<std::int64_t>(y) * image.stride;
}

template <typename T>
void clampRow(ImageData<T>& image, int y, int limit) {
    for (int c = 0; c < image.channels; ++c) {
        T* samples = rowOf(image, c, y);
        std::transform(samples, samples + image.width, samples, [limit](T sample) { return clampedTo(limit, sample); });
    }
}

template <int Bytes, typename T>
void readRow(ImageData<T>& image, int y, const unsigned char* raw) {
    assert(y >= 0 && y < image.height);
    if (image.channels == 1) {
        takeStrided<Bytes, 1>(raw, rowOf(image, 0, y), image.width);
        return;
    }
    for (int c = 0; c < image.channels; ++c) {
        takeStrided<Bytes, 0>(raw + c * Bytes, rowOf(image, c, y), image.width, image.channels);
    }
}

template <int Bytes, typename T>
void writeRow(ImageData<T>& image, int y, unsigned char* raw, int limit) {
    assert(y >= 0 && y < image.height);
    if (limit != 0) {
        clampRow(image, y, limit);
    }
    if (image.channels == 1) {
        putStrided<Bytes, 1>(raw, rowOf(image, 0, y), image.width);
        return;
    }
    for (int c = 0; c < image.channels; ++c) {
        putStrided<Bytes, 0>(raw + c * Bytes, rowOf(image, c, y), image.width, image.channels);
    }
}

template <int Bytes, typename T>
void readRaw(ImageData<T>& image, std::FILE* file) {
    const std::size_t samples = rowSamples(image.width, image.channels);
    const TakenArray<unsigned char> row = takeArray<unsigned char>(samples * Bytes);
    for (int y = 0; y < image.height; ++y) {
        if (std::fread(row.get(), Bytes, samples, file) != samples) {
            throw 3;
        }
        readRow<Bytes>(image, y, row.get());
    }
}

template <int Bytes, typename T>
void writeRaw(ImageData<T>& image, std::FILE* file, int limit) {
    const std::size_t samples = rowSamples(image.width, image.channels);
    const TakenArray<unsigned char> row = takeArray<unsigned char>(samples * Bytes);
    for (int y = 0; y < image.height; ++y) {
        writeRow<Bytes>(image, y, row.get(), limit);
        if (std::fwrite(row.get(), Bytes, samples, file) != samples) {
            throw 3;
        }
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
    TakenArray<T> allocated[3];
    for (int c = 0; c < channels; ++c) {
        const std::size_t samples = planeSamples(stride, height);
        allocated[c] = takeArray<T>(samples);
        adviseHugePages(allocated[c].get(), samples * sizeof(T));
    }
    for (int c = 0; c < channels; ++c) {
        planes[c] = allocated[c].release();
    }
}

template <typename T>
ImageData<T>::~ImageData() {
    for (T* plane : planes) {
        giveMemoryBack(plane);
    }
}

template <typename T>
void ImageData<T>::readRow8(int y, const unsigned char* raw) {
    readRow<1>(*this, y, raw);
}

template <typename T>
void ImageData<T>::readRow16(int y, const unsigned char* raw) {
    readRow<2>(*this, y, raw);
}

template <typename T>
void ImageData<T>::writeRow8(int y, unsigned char* raw, int limit) {
    writeRow<1>(*this, y, raw, limit);
}

template <typename T>
void ImageData<T>::writeRow16(int y, unsigned char* raw, int limit) {
    writeRow<2>(*this, y, raw, limit);
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
    using Difference = std::conditional_t<sizeof(T) == sizeof(std::int16_t), int, std::int64_t>;
    double sum = 0.0;
    for (int c = 0; c < channels; ++c) {
        for (int y = 0; y < height; ++y) {
            const std::int64_t start = static_cast<std::int64_t>(y) * stride;
            for (int x = 0; x < width; ++x) {
                const Difference theirs = other->planes[c][start + x];
                const auto difference = static_cast<double>(theirs - planes[c][start + x]);
                sum += difference * difference;
            }
        }
    }
    return sum / width / height / channels;
}

template class ImageData<std::int16_t>;
template class ImageData<std::int64_t>;

} // namespace teko

#include "image/imageData.hpp"

#include "image/memoryAdvice.hpp"
#include "image/rawRow.hpp"
#include "image/rgbRows.hpp"
#include "image/sampleLimit.hpp"

#include <algorithm>
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

template <typename T>
void clampRow(ImageData<T>& image, int y, int limit) {
    for (int c = 0; c < image.channels; ++c) {
        T* samples = image.planes[c] + static_cast<long>(y) * image.stride;
        std::transform(samples, samples + image.width, samples, [limit](T sample) { return clampedTo(limit, sample); });
    }
}

// Colour rows of bytes have kernels of their own. False where they do not apply.
template <int Bytes, typename T>
bool takeRgb(const RawRow<Bytes>& row, ImageData<T>& image, int y) {
    if constexpr (Bytes == 1 && std::is_same_v<T, short>) {
        if (image.channels == 3) {
            const long start = static_cast<long>(y) * image.stride;
            rgbRowKernels(activeTarget())
                .split(row.bytes(), image.width, image.planes[0] + start, image.planes[1] + start,
                       image.planes[2] + start);
            return true;
        }
    }
    return false;
}
template <int Bytes, typename T>
bool putRgb(RawRow<Bytes>& row, const ImageData<T>& image, int y) {
    if constexpr (Bytes == 1 && std::is_same_v<T, short>) {
        if (image.channels == 3) {
            const long start = static_cast<long>(y) * image.stride;
            rgbRowKernels(activeTarget())
                .join(image.planes[0] + start, image.planes[1] + start, image.planes[2] + start, image.width,
                      row.bytes());
            return true;
        }
    }
    return false;
}

template <int Bytes, typename T>
void readRaw(ImageData<T>& image, std::FILE* file) {
    RawRow<Bytes> row(image.width, image.channels);
    for (int y = 0; y < image.height; ++y) {
        row.read(file);
        if (takeRgb(row, image, y)) {
            continue;
        }
        for (int c = 0; c < image.channels; ++c) {
            row.take(c, image.channels, image.planes[c] + static_cast<long>(y) * image.stride, image.width);
        }
    }
}

template <int Bytes, typename T>
void writeRaw(ImageData<T>& image, std::FILE* file, int limit) {
    RawRow<Bytes> row(image.width, image.channels);
    for (int y = 0; y < image.height; ++y) {
        if (limit != 0) {
            clampRow(image, y, limit);
        }
        if (!putRgb(row, image, y)) {
            for (int c = 0; c < image.channels; ++c) {
                row.put(c, image.channels, image.planes[c] + static_cast<long>(y) * image.stride, image.width);
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
        const std::size_t samples = planeSamples(stride, height);
        allocated[c].reset(new T[samples]);
        adviseFilling(allocated[c].get(), samples * sizeof(T));
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

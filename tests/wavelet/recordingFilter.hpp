// SPDX-License-Identifier: Apache-2.0
// A filter that does nothing but note what it is asked to do.
#pragma once

#include "image/imageData.hpp"
#include "wavelet/wavelet.hpp"

#include <ostream>
#include <vector>

namespace teko {

enum class Operation { transform, transformInner, untransform, untransformInner };

// One signal: where in which plane it starts, how many samples it has and how far they lie apart there.
struct FilterCall {
    Operation operation;
    int channel;
    long offset;
    int count;
    long spacing;

    bool operator==(const FilterCall&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, const FilterCall& call) {
    static const char* const names[] = {"transform", "transformInner", "untransform", "untransformInner"};
    return stream << names[static_cast<int>(call.operation)] << "(plane " << call.channel << " + " << call.offset
                  << ", " << call.count << ", " << call.spacing << ")";
}

// Signals in place are told by their address. Copies are told by their samples, which is why every sample of
// the image must hold its own position: see markPositions. They keep their samples, and lose the room beside.
template <typename T>
class RecordingFilter : public Filter<T> {
public:
    explicit RecordingFilter(const ImageData<T>& watched) : image(watched) {}

    void transform(T* x, int count, unsigned long stride) override { note(Operation::transform, x, count, stride); }
    void untransform(T* x, int count, unsigned long stride) override { note(Operation::untransform, x, count, stride); }
    void transformInner(T* x, int count) override { noteCopy(Operation::transformInner, x, count); }
    void untransformInner(T* x, int count) override { noteCopy(Operation::untransformInner, x, count); }

    std::vector<FilterCall> calls;

private:
    void note(Operation operation, const T* x, int count, unsigned long stride) {
        const long planeSize = static_cast<long>(image.stride) * image.height;
        int channel = 0;
        while (channel < image.channels && (x < image.planes[channel] || x >= image.planes[channel] + planeSize)) {
            ++channel;
        }
        const long offset = channel < image.channels ? x - image.planes[channel] : -1;
        calls.push_back({operation, channel, offset, count, static_cast<long>(stride)});
    }

    void noteCopy(Operation operation, T* x, int count) {
        const long planeSize = static_cast<long>(image.stride) * image.height;
        const long first = static_cast<long>(x[0]);
        const long spacing = static_cast<long>(x[1]) - first;
        bool isOneColumn = true;
        for (int i = 0; i < count; ++i) {
            isOneColumn = isOneColumn && x[i] == first + i * spacing;
        }
        calls.push_back(
            {operation, static_cast<int>(first / planeSize), isOneColumn ? first % planeSize : -1, count, spacing});
        for (int i = 0; i < 3; ++i) {
            x[-1 - i] = x[count + i] = T{-1};
        }
    }

    const ImageData<T>& image;
};

template <typename T>
void markPositions(ImageData<T>& image) {
    long position = 0;
    for (int c = 0; c < image.channels; ++c) {
        for (long i = 0; i < static_cast<long>(image.stride) * image.height; ++i) {
            image.planes[c][i] = static_cast<T>(position++);
        }
    }
}

} // namespace teko

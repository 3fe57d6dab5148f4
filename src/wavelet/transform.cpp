// SPDX-License-Identifier: Apache-2.0
#include "wavelet/wavelet.hpp"

#include "filter/filter.hpp"
#include "memory/memory.hpp"
#include "wavelet/levels.hpp"

#include <algorithm>
#include <cstdint>

namespace teko {

namespace {

constexpr int blockColumns = 16;

template <typename T>
using SignalOperation = void (Filter<T>::*)(T*, int, unsigned long);
template <typename T>
using KernelOperation = void (Filter<T>::*)(T*, int);

template <typename T>
void filterRows(const LevelGrid<T>& grid, Filter<T>& filter, SignalOperation<T> operation) {
    for (int y = 0; y < grid.height; y += grid.step) {
        (filter.*operation)(grid.row(y), grid.columns(), static_cast<unsigned long>(grid.step));
    }
}

// Copies one group of columns between the plane and its slots, each slot one column with room for edges.
template <typename T, typename Copy>
void forBlock(const LevelGrid<T>& grid, int x0, int count, T* slots, Copy copy) {
    const int slotLength = grid.rows() + 2 * Filter<T>::edgeRoom;
    for (int i = 0; i < grid.rows(); ++i) {
        T* samples = grid.row(i * grid.step) + x0;
        for (int j = 0; j < count; ++j) {
            copy(samples[j * grid.step], slots[static_cast<std::int64_t>(j) * slotLength + Filter<T>::edgeRoom + i]);
        }
    }
}

template <typename T>
void filterColumnsInBlocks(const LevelGrid<T>& grid, Filter<T>& filter, KernelOperation<T> kernel) {
    const std::int64_t slotLength = grid.rows() + 2 * Filter<T>::edgeRoom;
    const TakenArray<T> slots = takeArray<T>(static_cast<std::size_t>(blockColumns * slotLength));
    for (int first = 0; first < grid.columns(); first += blockColumns) {
        const int count = std::min(blockColumns, grid.columns() - first);
        const int x0 = first * grid.step;
        forBlock(grid, x0, count, slots.get(), [](T& sample, T& slot) { slot = sample; });
        for (int j = 0; j < count; ++j) {
            (filter.*kernel)(slots.get() + j * slotLength + Filter<T>::edgeRoom, grid.rows());
        }
        forBlock(grid, x0, count, slots.get(), [](T& sample, T& slot) { sample = slot; });
    }
}

template <typename T>
void filterColumns(const LevelGrid<T>& grid, Filter<T>& filter, SignalOperation<T> operation,
                   KernelOperation<T> kernel) {
    if (grid.needsBlocks()) {
        filterColumnsInBlocks(grid, filter, kernel);
        return;
    }
    for (int x = 0; x < grid.width; x += grid.step) {
        (filter.*operation)(grid.plane + x, grid.rows(), grid.rowSpacing());
    }
}

template <typename T>
LevelGrid<T> gridOf(const ImageData<T>& image, int channel, int level) {
    return {image.planes[channel], image.width, image.height, image.stride, 1 << level};
}

} // namespace

template <typename T>
void Wavelet<T>::transform(ImageData<T>* image) {
    const int levels = numberOfLevels(image->width, image->height);
    for (int c = 0; c < image->channels; ++c) {
        for (int k = 0; k < levels && skipTransform == 0; ++k) {
            const LevelGrid<T> grid = gridOf(*image, c, k);
            filterRows(grid, *filter, &Filter<T>::transform);
            filterColumns(grid, *filter, &Filter<T>::transform, &Filter<T>::transformInner);
        }
    }
}

// Below one level the inverse still runs one: files of such images decode as they always did.
template <typename T>
void untransformDownTo(int lowest, const Wavelet<T>& wavelet, ImageData<T>& image) {
    const int levels = std::max(1, numberOfLevels(image.width, image.height));
    for (int c = 0; c < image.channels; ++c) {
        for (int k = levels - 1; k >= lowest && wavelet.skipTransform == 0; --k) {
            const LevelGrid<T> grid = gridOf(image, c, k);
            filterColumns(grid, *wavelet.filter, &Filter<T>::untransform, &Filter<T>::untransformInner);
            filterRows(grid, *wavelet.filter, &Filter<T>::untransform);
        }
    }
}

template <typename T>
void Wavelet<T>::untransform(ImageData<T>* image) {
    untransformDownTo(0, *this, *image);
}

template void untransformDownTo(int, const Wavelet<std::int16_t>&, ImageData<std::int16_t>&);
template void untransformDownTo(int, const Wavelet<std::int64_t>&, ImageData<std::int64_t>&);
template void Wavelet<std::int16_t>::transform(ImageData<std::int16_t>*);
template void Wavelet<std::int64_t>::transform(ImageData<std::int64_t>*);
template void Wavelet<std::int16_t>::untransform(ImageData<std::int16_t>*);
template void Wavelet<std::int64_t>::untransform(ImageData<std::int64_t>*);

} // namespace teko

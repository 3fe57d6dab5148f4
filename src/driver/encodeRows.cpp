#include "driver/encodeRows.hpp"

#include "driver/colourTransform.hpp"
#include "image/rawRow.hpp"
#include "image/rgbRows.hpp"

#include <memory>

namespace teko {

namespace {

template <int Bytes, typename T>
void encodeGrey(std::FILE* raw, int width, int height, RowEncoder<T>& encoder) {
    RawRow<Bytes> row(width, 1);
    const std::unique_ptr<RowSample<T>[]> samples(new RowSample<T>[static_cast<std::size_t>(width)]);
    for (int y = 0; y < height; ++y) {
        row.read(raw);
        row.take(0, 1, samples.get(), width);
        encoder.put(0, samples.get());
    }
}

void encodeColour(std::FILE* raw, int width, int height, RowEncoder<short>& encoder) {
    constexpr int channels = 3;
    RawRow<1> row(width, channels);
    const std::unique_ptr<short[]> samples(new short[static_cast<std::size_t>(channels * width)]);
    short* const rows[channels] = {samples.get(), samples.get() + width, samples.get() + 2L * width};
    const RgbRowKernels& kernels = rgbRowKernels(activeTarget());
    for (int y = 0; y < height; ++y) {
        row.read(raw);
        kernels.split(row.bytes(), width, rows[0], rows[1], rows[2]);
        colourTransformRow(rows[0], rows[1], rows[2], width);
        for (int c = 0; c < channels; ++c) {
            encoder.put(c, rows[c]);
        }
    }
}

} // namespace

void encodeRows(std::FILE* raw, int width, int height, int channels, RowEncoder<short>& encoder) {
    if (channels == 3) {
        encodeColour(raw, width, height, encoder);
    } else {
        encodeGrey<1>(raw, width, height, encoder);
    }
}

void encodeRows(std::FILE* raw, int width, int height, int, RowEncoder<long>& encoder) {
    encodeGrey<2>(raw, width, height, encoder);
}

} // namespace teko

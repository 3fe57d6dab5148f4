// SPDX-License-Identifier: Apache-2.0
#include "driver/chron.hpp"
#include "driver/files.hpp"
#include "driver/runs.hpp"
#include "image/imageData.hpp"

#include <cmath>
#include <cstdint>

namespace teko {

namespace {

template <typename T>
using RawReader = int (ImageData<T>::*)(std::FILE*);

template <typename T>
double meanSquaredError(const ComparisonRequest& request, File firstFile, File secondFile, int channels,
                        RawReader<T> read) {
    ImageData<T> first(request.xsize, request.ysize, channels);
    ImageData<T> second(request.xsize, request.ysize, channels);
    std::puts("Reading...");
    Chron chron;
    chron.start = std::clock();
    (first.*read)(firstFile.get());
    (second.*read)(secondFile.get());
    chron.display("Read in");
    firstFile.reset();
    secondFile.reset();
    return first.getMSE(&second);
}

// 2^bits - 1 with the bits taken modulo 64, cut to 32 bits.
double peakSample(std::int64_t bitsPerPixel) {
    const std::uint64_t peak = (std::uint64_t{1} << (bitsPerPixel & 63)) - 1;
    return static_cast<double>(static_cast<std::int32_t>(peak & 0xFFFFFFFFU));
}

} // namespace

int compare(const ComparisonRequest& request) {
    File first = openFile(request.firstPath, "rb");
    if (!first) {
        return 1;
    }
    File second = openFile(request.secondPath, "rb");
    if (!second) {
        return 1;
    }
    double mse = 0.0;
    switch (request.bytesPerPixel) {
    case 1:
        mse = meanSquaredError(request, std::move(first), std::move(second), 1, &ImageData<std::int16_t>::rawRead8);
        break;
    case 2:
        mse = meanSquaredError(request, std::move(first), std::move(second), 1, &ImageData<std::int64_t>::rawRead16);
        break;
    case 3:
        mse = meanSquaredError(request, std::move(first), std::move(second), 3, &ImageData<std::int16_t>::rawRead8);
        break;
    default:
        break;
    }
    const double peak = peakSample(request.bitsPerPixel);
    const double psnr = 10.0 * std::log10(peak * peak / mse);
    std::printf("MSE=%f RMSE=%f PSNR=%f\n", mse, std::sqrt(mse), psnr);
    return 0;
}

} // namespace teko

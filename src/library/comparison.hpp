// SPDX-License-Identifier: Apache-2.0
// How far two images differ.
#pragma once

#include "library/imageLayout.hpp"

namespace teko::library {

struct Difference {
    double mse; // mean squared error
    int largest;
};

// Of images of the same kind and sides. Throws std::bad_alloc.
Difference differenceOf(const ImageLayout& layout, const void* samples, const ImageLayout& otherLayout,
                        const void* otherSamples);

// In decibels; infinite without a difference.
double peakSignalToNoiseRatio(double mse, int bits);

} // namespace teko::library

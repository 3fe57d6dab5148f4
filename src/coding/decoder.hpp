// readWavelet in two steps, for those who choose by the top plane how to go on.
#pragma once

#include "wavelet/wavelet.hpp"

namespace teko {

// The highest plane of a stream, from its start; -1 when nothing is coded. Throws what the reader throws.
int readTopPlane(BitStreamer& in);

// The rest of a stream. The wavelet's switches and the result are those of readWavelet.
template <typename T>
int readBelowTopPlane(const Wavelet<T>& wavelet, ImageData<T>& image, int topPlane, BitStreamer& in);

} // namespace teko

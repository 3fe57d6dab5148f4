// Samples kept below a limit.
#pragma once

namespace teko {

// The limit of 31 bits per sample is negative, and one less wraps.
template <typename T>
T clampedTo(int limit, T sample) {
    const auto highest = static_cast<int>(static_cast<unsigned>(limit) - 1U);
    return sample < 0 ? T{0} : sample >= limit ? static_cast<T>(highest) : sample;
}

} // namespace teko

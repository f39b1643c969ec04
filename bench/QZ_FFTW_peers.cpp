#include "QZ_FFTW_peers.hpp"

#include <bit>
#include <cmath>

namespace peers {

void widen(const int16_t *src, float *dst, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        dst[i] = src[i];
}

void narrow(const float *src, int16_t *dst, std::size_t n, float factor) {
    for (std::size_t i = 0; i < n; ++i)
        dst[i] = static_cast<int16_t>(static_cast<int32_t>(src[i] * factor));
}

float automaticFactor(const float *src, std::size_t n) {
    // Magnitudes are in the order of their bits.
    std::uint32_t largest = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint32_t magnitude = std::bit_cast<std::uint32_t>(src[i]) & 0x7FFFFFFF;
        largest = magnitude > largest ? magnitude : largest;
    }
    return std::ldexp(1.0f, 14 - std::ilogb(std::bit_cast<float>(largest)));
}

} // namespace peers

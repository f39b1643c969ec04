// Conversions around a float transform as anyone would write them, for the compiler to vectorise.
#pragma once

#include <cstddef>
#include <cstdint>

namespace peers {

void widen(const int16_t *src, float *dst, std::size_t n);

/// src[i] * factor, truncated.
void narrow(const float *src, int16_t *dst, std::size_t n, float factor);

/// The power of two that brings the largest magnitude into the upper half of the 16-bit range.
float automaticFactor(const float *src, std::size_t n);

} // namespace peers

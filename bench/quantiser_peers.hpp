// Vector quantisation as a plain loop with the ordered sums that the results are defined by.
#pragma once

#include <cstdint>

namespace peers {

/// Distances of x to all codes; returns the nearest code.
int quantise(const float *x, int dim, int nCodes, const float *codebook, float *distances);
int quantise(const std::int16_t *x, int dim, int nCodes, const std::int16_t *codebook,
             std::int32_t *distances);

} // namespace peers

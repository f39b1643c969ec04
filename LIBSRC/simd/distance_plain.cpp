#include "simd/distance.hpp"

namespace qzk::simd {

void plain::install(DistanceKernels &) {}

} // namespace qzk::simd

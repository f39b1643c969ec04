#include "simd/distance.hpp"
#include "simd/vec.hpp"

namespace qzk::simd {

void QZK_LEVEL::install(DistanceKernels &) {}

} // namespace qzk::simd

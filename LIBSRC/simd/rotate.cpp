#include "simd/rotate.hpp"
#include "simd/vec.hpp"

namespace qzk::simd {

void QZK_LEVEL::install(RotateKernels &) {}

} // namespace qzk::simd

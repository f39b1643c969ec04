#include "simd/fft.hpp"
#include "simd/vec.hpp"

namespace qzk::simd {

void QZK_LEVEL::install(FftKernels &) {}

} // namespace qzk::simd

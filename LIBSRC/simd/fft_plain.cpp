#include "simd/fft.hpp"

namespace qzk::simd {

void plain::install(FftKernels &) {}

} // namespace qzk::simd

#include "simd/cepstrum.hpp"

namespace qzk::simd {

void plain::install(CepstrumKernels &) {}

} // namespace qzk::simd

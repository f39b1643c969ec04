#include "simd/cepstrum.hpp"
#include "simd/vec.hpp"

namespace qzk::simd {

void QZK_LEVEL::install(CepstrumKernels &) {}

} // namespace qzk::simd

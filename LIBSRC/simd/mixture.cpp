#include "simd/mixture.hpp"
#include "simd/vec.hpp"

namespace qzk::simd {

void QZK_LEVEL::install(MixtureKernels &) {}

} // namespace qzk::simd

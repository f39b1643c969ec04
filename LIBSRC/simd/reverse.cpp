#include "simd/reverse.hpp"
#include "simd/vec.hpp"

namespace qzk::simd {

void QZK_LEVEL::install(ReverseKernels &) {}

} // namespace qzk::simd

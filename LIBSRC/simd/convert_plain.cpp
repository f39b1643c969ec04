#include "simd/convert.hpp"

namespace qzk::simd {

void plain::install(ConvertKernels &) {}

} // namespace qzk::simd

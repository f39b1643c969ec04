#include "simd/convert.hpp"
#include "simd/vec.hpp"

namespace qzk::simd {

void QZK_LEVEL::install(ConvertKernels &) {}

} // namespace qzk::simd

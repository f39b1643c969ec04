#include "simd/logic.hpp"
#include "simd/vec.hpp"

namespace qzk::simd {

void QZK_LEVEL::install(LogicKernels &) {}

} // namespace qzk::simd

#include "simd/logic.hpp"

namespace qzk::simd {

void plain::install(LogicKernels &) {}

} // namespace qzk::simd

// Element-wise arithmetic of vectors.
#include "common/overlap.hpp"
#include "qzk.h"
#include "simd/kernels.hpp"

#include <cstddef>

using namespace qzk;

extern "C" {

void QZsbMpy2(const float *src, float *srcDst, int32_t len) {
    if (len <= 0) return;
    const auto n = static_cast<std::size_t>(len);
    const auto level =
        descendingBlocksAreExact(src, srcDst, n * sizeof(float)) ? simd::currentLevel() : simd::Level::plain;
    simd::kernelsOf(level).arithmetic.multiplyFloats(src, srcDst, n);
}

} // extern "C"

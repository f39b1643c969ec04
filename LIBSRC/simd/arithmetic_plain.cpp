#include "simd/arithmetic.hpp"

namespace qzk::simd {
namespace {

void multiplyFloats(const float *src, float *srcDst, std::size_t n) {
    for (std::size_t i = n; i-- > 0;)
        srcDst[i] = srcDst[i] * src[i];
}

} // namespace

void plain::install(ArithmeticKernels &kernels) { kernels.multiplyFloats = multiplyFloats; }

} // namespace qzk::simd

#include "simd/arithmetic.hpp"
#include "simd/vec.hpp"

namespace qzk::simd {
namespace {

void multiplyFloats(const float *src, float *srcDst, std::size_t n) {
    constexpr auto lanes = lanesOf<float>;
    std::size_t i = n;
    for (; i >= lanes; i -= lanes)
        store(srcDst + i - lanes, load(srcDst + i - lanes) * load(src + i - lanes));
    while (i-- > 0)
        srcDst[i] = srcDst[i] * src[i];
}

} // namespace

void QZK_LEVEL::install(ArithmeticKernels &kernels) { kernels.multiplyFloats = multiplyFloats; }

} // namespace qzk::simd

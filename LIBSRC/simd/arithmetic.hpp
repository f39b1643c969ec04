// Element-wise arithmetic.
#pragma once

#include <cstddef>

namespace qzk::simd {

struct ArithmeticKernels {
    /// srcDst[i] = srcDst[i] * src[i], from the last element to the first.
    void (*multiplyFloats)(const float *src, float *srcDst, std::size_t n);
};

namespace plain {
void install(ArithmeticKernels &kernels);
}
namespace sse2 {
void install(ArithmeticKernels &kernels);
}
namespace avx2 {
void install(ArithmeticKernels &kernels);
}
namespace avx512 {
void install(ArithmeticKernels &kernels);
}

} // namespace qzk::simd

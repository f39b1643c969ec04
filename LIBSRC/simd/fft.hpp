#pragma once

namespace qzk::simd {

struct FftKernels {};

namespace plain {
void install(FftKernels &kernels);
}
namespace sse2 {
void install(FftKernels &kernels);
}
namespace avx2 {
void install(FftKernels &kernels);
}
namespace avx512 {
void install(FftKernels &kernels);
}

} // namespace qzk::simd

#pragma once

namespace qzk::simd {

struct DistanceKernels {};

namespace plain {
void install(DistanceKernels &kernels);
}
namespace sse2 {
void install(DistanceKernels &kernels);
}
namespace avx2 {
void install(DistanceKernels &kernels);
}
namespace avx512 {
void install(DistanceKernels &kernels);
}

} // namespace qzk::simd

#pragma once

namespace qzk::simd {

struct ConvertKernels {};

namespace plain {
void install(ConvertKernels &kernels);
}
namespace sse2 {
void install(ConvertKernels &kernels);
}
namespace avx2 {
void install(ConvertKernels &kernels);
}
namespace avx512 {
void install(ConvertKernels &kernels);
}

} // namespace qzk::simd

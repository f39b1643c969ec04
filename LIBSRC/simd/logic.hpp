#pragma once

namespace qzk::simd {

struct LogicKernels {};

namespace plain {
void install(LogicKernels &kernels);
}
namespace sse2 {
void install(LogicKernels &kernels);
}
namespace avx2 {
void install(LogicKernels &kernels);
}
namespace avx512 {
void install(LogicKernels &kernels);
}

} // namespace qzk::simd

#pragma once

namespace qzk::simd {

struct CepstrumKernels {};

namespace plain {
void install(CepstrumKernels &kernels);
}
namespace sse2 {
void install(CepstrumKernels &kernels);
}
namespace avx2 {
void install(CepstrumKernels &kernels);
}
namespace avx512 {
void install(CepstrumKernels &kernels);
}

} // namespace qzk::simd

// Distances of one vector to every code vector of a codebook.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace qzk::simd {

/// What the distances of vectors of T are stored as.
template <class T>
using CodeDistance = std::conditional_t<std::is_same_v<T, float>, float, std::int32_t>;

template <class T>
struct QuantiserKernelsOf {
    /// Sums of squared differences, each in double from the first element to the last, or their roots where
    /// `root` is set; stored as float, or truncated and at most 2^31 - 1. Code k begins at codebook[k dim].
    void (*codeDistances)(const T *x, std::size_t dim, const T *codebook, std::size_t nCodes, bool root,
                          CodeDistance<T> *distances);
};

struct QuantiserKernels {
    QuantiserKernelsOf<float> ofFloats;
    QuantiserKernelsOf<std::int16_t> ofWords;
};

namespace plain {
extern const QuantiserKernels quantiser;
void install(QuantiserKernels &kernels);
} // namespace plain
namespace sse2 {
void install(QuantiserKernels &kernels);
}
namespace avx2 {
void install(QuantiserKernels &kernels);
}
namespace avx512 {
void install(QuantiserKernels &kernels);
}

} // namespace qzk::simd

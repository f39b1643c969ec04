// Reductions of two vectors to one number, without the square root and without the conversion to an integer.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

/// Sums in double precision, d[i] = a[i] - b[i] formed exactly (words) or in double (floats). The order of
/// the additions is part of the result: the first three sums run upwards for floats and downwards for words,
/// the Mahalanobis sums upwards for both.
template <class T>
struct DistanceKernelsOf {
    /// Sum of a[i] b[i].
    double (*dotProduct)(const T *a, const T *b, std::size_t n);
    /// Sum of |d[i]|.
    double (*cityBlock)(const T *a, const T *b, std::size_t n);
    /// Sum of d[i] d[i].
    double (*squaredEuclidean)(const T *a, const T *b, std::size_t n);
    /// Sum of diagonal[i] (d[i] d[i]).
    double (*diagonalMahalanobis)(const T *a, const T *b, const T *diagonal, std::size_t n);
    /// Twice the sum over j < i of (d[j] m[i][j]) d[i], row by row, plus the sum of (m[i][i] d[i]) d[i]. The
    /// upper triangle of m is not read.
    double (*mahalanobis)(const T *a, const T *b, const T *const *m, std::size_t n);
};

struct DistanceKernels {
    DistanceKernelsOf<float> ofFloats;
    DistanceKernelsOf<std::int16_t> ofWords;
};

namespace plain {
extern const DistanceKernelsOf<std::int16_t> ofWords;
void install(DistanceKernels &kernels);
} // namespace plain
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

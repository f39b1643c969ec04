// Passes of the Fourier transforms. All data are single precision and every pass computes in double and
// rounds once more when it stores.
#pragma once

#include "qzk.h"

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

/// Twiddle factors of one order in the order in which the kernels in lanes read them, each column's three
/// factors w, w^2, w^3 together.
struct LaneTwiddles {
    /// First pass: for every four columns the real and imaginary parts of w, w^2 and w^3, four floats each,
    /// the columns in the order 0, 2, 1, 3.
    const float *first;
    /// Further passes: for every plane l, for blocks of c = n/16, n/64 ... >= 4 chunks, and for u < c/4, the
    /// six parts of column 4u + l.
    const double *planes;
    std::size_t perPlane; ///< doubles of one plane
};

/// Orders and half lengths from which the kernels in lanes apply.
constexpr std::int32_t lowestLaneOrder = 5;
constexpr std::size_t lowestLaneSplit = 8;

/// Parts of the eighth roots of unity. kept: sqrt(0.5) is 0.70710678118...; results are defined with this
/// value, which is 3e-9 less.
constexpr double sqrtHalf = 0.7071067781186547;

struct FftKernels {
    /// Transform into natural order of 2^order points, order >= lowestLaneOrder, all parts times `factor`;
    /// the same bits as core, permute and scale. The source is x itself or apart from it. Null at the plain
    /// level.
    void (*transform)(const QZComplexFloat *src, QZComplexFloat *x, std::int32_t order, std::int32_t sign,
                      const std::uint32_t *reversed, const LaneTwiddles &table, double factor);
    /// Radix-4 decimation in frequency of n = 2^m >= 2 points, in place, output in bit-reversed order;
    /// `twiddle` holds e^(-2 pi i k/n), k = 0 .. n-1. For a negative sign the imaginary parts are negated
    /// before and after.
    void (*core)(QZComplexFloat *x, std::size_t n, std::int32_t sign, const QZComplexFloat *twiddle);
    /// Exchanges every element with the one at its bit-reversed index, for n >= 8 points; `reversed` holds
    /// the n reversed indexes.
    void (*permute)(QZComplexFloat *x, std::size_t n, const std::uint32_t *reversed);
    /// Split pass between h complex points and the packed spectrum of 2h real samples.
    void (*splitReal)(QZComplexFloat *z, std::size_t h, std::int32_t sign, const QZComplexFloat *table);
    /// Split pass between the packed spectrum of 2h real samples and h complex points.
    void (*splitCcs)(QZComplexFloat *z, std::size_t h, std::int32_t sign, const QZComplexFloat *twiddle);
    /// x[i] = x[i] * factor, the product rounded from double. The factor is a power of two.
    void (*scale)(float *x, std::size_t n, double factor);
};

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

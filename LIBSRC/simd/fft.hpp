// Passes of the Fourier transforms. All data are single precision and every pass computes in double and
// rounds once more when it stores.
#pragma once

#include "qzk.h"

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

struct FftKernels {
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

// Conversions between reals and integers, and of complex vectors to real ones.
#pragma once

#include "qzk.h"

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

/// Smallest and largest element. A not-a-number counts only as the first element, when it is both.
template <class S>
struct Range {
    S minimum, maximum;
};

/// All kernels of down-conversions run from the first element to the last.
template <class S, class T>
struct DownKernels {
    /// Low bits of src[i] * multiplier, a power of two, truncated; 0 for what 64 bits cannot hold.
    void (*wrap)(const S *src, T *dst, std::size_t n, double multiplier);
    /// src[i] truncated and clamped.
    void (*saturate)(const S *src, T *dst, std::size_t n);
};

/// src[i] * multiplier, a power of two, in double and rounded to T; from the last element to the first.
template <class S, class T>
using UpKernel = void (*)(const S *src, T *dst, std::size_t n, double multiplier);

/// With x = re * re + im * im in double; from the first element to the last.
using ComplexKernel = void (*)(const QZComplexFloat *src, float *dst, std::size_t n);

struct ConvertKernels {
    DownKernels<float, std::int16_t> floatToShort;
    DownKernels<float, std::int32_t> floatToInt;
    DownKernels<double, std::int16_t> doubleToShort;
    DownKernels<double, std::int32_t> doubleToInt;

    /// Of at least one element; a zero comes out as +0.
    Range<float> (*floatRange)(const float *src, std::size_t n);
    Range<double> (*doubleRange)(const double *src, std::size_t n);

    UpKernel<std::int16_t, float> shortToFloat;
    UpKernel<std::int16_t, double> shortToDouble;
    UpKernel<std::int32_t, float> intToFloat;
    UpKernel<std::int32_t, double> intToDouble;

    /// Double square root of x, rounded to float.
    ComplexKernel magnitude;
    /// x rounded to float.
    ComplexKernel power;
    /// The real number log10(x) / 2 rounded once to float.
    ComplexKernel logMagnitude;
    /// The real number log10(x) rounded once to float.
    ComplexKernel logPower;
};

/// factor * log10(power) rounded once to float, for a power that is not negative and a factor of 1 or 1/2.
float roundedLogarithm(double power, double factor);

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

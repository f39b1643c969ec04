#include "common/elementary.hpp"
#include "common/unaligned.hpp"
#include "simd/convert.hpp"
#include "simd/truncation.hpp"

#include <cmath>
#include <limits>

namespace qzk::simd {
namespace {

template <class S, class T>
void wrap(const S *src, T *dst, std::size_t n, double multiplier) {
    for (std::size_t i = 0; i < n; ++i)
        setElement(dst, i, wrapped<T>(elementAt(src, i) * multiplier));
}

template <class S, class T>
void saturate(const S *src, T *dst, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        setElement(dst, i, saturated<T>(elementAt(src, i)));
}

template <class S>
Range<S> range(const S *src, std::size_t n) {
    S minimum = elementAt(src, 0), maximum = minimum;
    for (std::size_t i = 1; i < n; ++i) {
        const S x = elementAt(src, i);
        if (x < minimum) minimum = x;
        if (x > maximum) maximum = x;
    }
    return {minimum + S(0), maximum + S(0)};
}

template <class S, class T>
void widen(const S *src, T *dst, std::size_t n, double multiplier) {
    for (std::size_t i = n; i-- > 0;)
        setElement(dst, i, static_cast<T>(elementAt(src, i) * multiplier));
}

/// The products are exact, so the sum is rounded once.
double squaredMagnitude(QZComplexFloat z) {
    const double re = z.re, im = z.im;
    return re * re + im * im;
}

template <float (*ofPower)(double)>
void reduce(const QZComplexFloat *src, float *dst, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        setElement(dst, i, ofPower(squaredMagnitude(elementAt(src, i))));
}

float root(double power) { return static_cast<float>(std::sqrt(power)); }
float rounded(double power) { return static_cast<float>(power); }
float halfLogarithm(double power) { return roundedLogarithm(power, 0.5); }
float logarithm(double power) { return roundedLogarithm(power, 1.0); }

} // namespace

float roundedLogarithm(double power, double factor) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    if (power == 0.0) return -infinity;
    if (!(power < infinity)) return static_cast<float>(power);
    const DoubleDouble logarithm = log10Extended(power);
    return roundedToFloat({logarithm.hi * factor, logarithm.lo * factor});
}

void plain::install(ConvertKernels &kernels) {
    kernels.floatToShort = {wrap, saturate};
    kernels.floatToInt = {wrap, saturate};
    kernels.doubleToShort = {wrap, saturate};
    kernels.doubleToInt = {wrap, saturate};
    kernels.floatRange = range;
    kernels.doubleRange = range;
    kernels.shortToFloat = widen;
    kernels.shortToDouble = widen;
    kernels.intToFloat = widen;
    kernels.intToDouble = widen;
    kernels.magnitude = reduce<root>;
    kernels.power = reduce<rounded>;
    kernels.logMagnitude = reduce<halfLogarithm>;
    kernels.logPower = reduce<logarithm>;
}

} // namespace qzk::simd

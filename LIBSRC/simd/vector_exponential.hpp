// e^x in lanes, for results that are rounded to fewer bits with a check of the error.
#pragma once

#include "simd/vec.hpp"

namespace qzk::simd {
namespace {

/// a b + c, rounded once or twice.
QZK_INLINE Vec<double> multiplyAdd(Vec<double> a, Vec<double> b, Vec<double> c) {
#if QZK_SIMD_LEVEL == 1
    return a * b + c;
#elif QZK_SIMD_LEVEL == 2
    return (Vec<double>)_mm256_fmadd_pd((__m256d)a, (__m256d)b, (__m256d)c);
#else
    return (Vec<double>)_mm512_fmadd_pd((__m512d)a, (__m512d)b, (__m512d)c);
#endif
}

/// e^x for |x| up to 700; relative error below 2^-49. Not-a-numbers pass.
///
/// x = n ln(2) + r with |r| < 0.35 and a rounded n. The first part of ln(2) has 42 bits, so that its product
/// with n and the difference from x are exact. The terms of the series that are left out are below 2^-52.
QZK_INLINE Vec<double> exponential(Vec<double> x) {
    const Vec<double> integers = splat(0x1.8p52); // sums with it are integers, in the lowest bits
    const Vec<double> shifted = x * splat(0x1.71547652b82fep+0) + integers;
    const Vec<double> n = shifted - integers;
    const Vec<double> r = (x - n * splat(0x1.62e42fefa3800p-1)) - n * splat(0x1.ef35793c76730p-45);
    // The even and the odd terms side by side.
    constexpr double even[] = {0x1.1eed8eff8d898p-29,
                               0x1.27e4fb7789f5cp-22,
                               0x1.a01a01a01a01ap-16,
                               0x1.6c16c16c16c17p-10,
                               0x1.5555555555555p-5,
                               0x1p-1,
                               1.0};
    constexpr double odd[] = {0x1.ae64567f544e4p-26, 0x1.71de3a556c734p-19, 0x1.a01a01a01a01ap-13,
                              0x1.1111111111111p-7,  0x1.5555555555555p-3,  1.0};
    const Vec<double> square = r * r;
    Vec<double> evenSum = splat(even[0]), oddSum = splat(odd[0]);
    for (std::size_t k = 1; k < sizeof odd / sizeof(double); ++k) {
        evenSum = multiplyAdd(evenSum, square, splat(even[k]));
        oddSum = multiplyAdd(oddSum, square, splat(odd[k]));
    }
    const Vec<double> series = multiplyAdd(oddSum, r, multiplyAdd(evenSum, square, splat(even[6])));
    return (Vec<double>)((Vec<std::int64_t>)series + ((Vec<std::int64_t>)shifted << 52));
}

} // namespace
} // namespace qzk::simd

// e^x in lanes, for results that are rounded to fewer bits with a check of the error.
#pragma once

#include "simd/vec.hpp"

namespace qzk::simd {
namespace {

/// e^x for |x| up to 700; relative error below 2^-49. Not-a-numbers that were floats pass: the lowest bits of
/// others would be taken for an exponent.
///
/// x = n ln(2) + r with |r| < 0.35 and a rounded n. The first part of ln(2) has 42 bits, so that its product
/// with n and the difference from x are exact. The terms of the series that are left out are below 2^-51.9 of
/// the result, and the roundings below 1.2 * 2^-51.
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
    return (Vec<double>)((Vec<std::uint64_t>)series + ((Vec<std::uint64_t>)shifted << 52));
}

#if QZK_SIMD_LEVEL >= 2 // fused multiplication and addition

/// Value and error.
struct Pair {
    Vec<double> hi, lo;
};

/// a + b; |a| >= |b| or a is 0.
QZK_INLINE Pair fastTwoSum(Vec<double> a, Vec<double> b) {
    const Vec<double> sum = a + b;
    return {sum, b - (sum - a)};
}

QZK_INLINE Pair twoSum(Vec<double> a, Vec<double> b) {
    const Vec<double> sum = a + b, part = sum - a;
    return {sum, (a - (sum - part)) + (b - part)};
}

/// e^x for |x| up to 600; relative error below 1.5 * 2^-61. Beyond, the low part loses bits to underflow.
///
/// x = n ln(2) + r + rest with |r| < 0.347 and |rest| <= 2^-55, up to n 2^-86. The terms up to r^3 / 6 are
/// pairs. The others, below 2^-10 in all, are not: their error is below 4.6 * 2^-53 of r^4 / 24, and that of
/// the two additions that take them up below 2^-64 each. What follows r^15 / 15! is below 2^-68, and what the
/// factor of the rest lacks of e^r makes less than 2^-65. The result is e^r, at least 0.707, times a power
/// of 2.
QZK_INLINE Pair exponentialPair(Vec<double> x) {
    const Vec<double> integers = splat(0x1.8p52);
    const Vec<double> shifted = x * splat(0x1.71547652b82fep+0) + integers;
    const Vec<double> n = shifted - integers;
    // The products of n with the two parts of ln(2) are exact, and so is the first difference.
    const Pair reduced = twoSum(x - n * splat(0x1.62e42fefa3800p-1), -(n * splat(0x1.ef35793c76000p-45)));
    const Vec<double> r = reduced.hi, rest = reduced.lo;

    constexpr double coefficients[] = {0x1.ae7f3e733b81fp-41, 0x1.93974a8c07c9dp-37, 0x1.6124613a86d09p-33,
                                       0x1.1eed8eff8d898p-29, 0x1.ae64567f544e4p-26, 0x1.27e4fb7789f5cp-22,
                                       0x1.71de3a556c734p-19, 0x1.a01a01a01a01ap-16, 0x1.a01a01a01a01ap-13,
                                       0x1.6c16c16c16c17p-10, 0x1.1111111111111p-7,  0x1.5555555555555p-5};
    Vec<double> series = splat(coefficients[0]);
    for (std::size_t k = 1; k < sizeof coefficients / sizeof(double); ++k)
        series = multiplyAdd(series, r, splat(coefficients[k]));

    constexpr double sixth = 0x1.5555555555555p-3, sixthRest = 0x1.5555555555555p-57;
    const Vec<double> square = r * r, squareRest = multiplyAdd(r, r, -square);
    const Vec<double> cube = square * r;
    const Vec<double> cubeRest = multiplyAdd(squareRest, r, multiplyAdd(square, r, -cube));
    const Vec<double> third = cube * splat(sixth);
    const Vec<double> thirdRest = multiplyAdd(
        cubeRest, splat(sixth), multiplyAdd(cube, splat(sixth), -third) + cube * splat(sixthRest));

    const Pair first = fastTwoSum(splat(1.0), r), second = fastTwoSum(first.hi, square * splat(0.5));
    const Pair sum = fastTwoSum(second.hi, third);
    const Vec<double> small = multiplyAdd(square * square, series, multiplyAdd(rest, sum.hi, thirdRest));
    const Vec<double> errors = (first.lo + second.lo) + multiplyAdd(squareRest, splat(0.5), sum.lo);
    const Pair value = fastTwoSum(sum.hi, errors + small);
    const auto scale =
        (Vec<double>)(((Vec<std::uint64_t>)shifted << 52) + splat<std::uint64_t>(0x3FF0000000000000));
    return {value.hi * scale, value.lo * scale};
}

#endif

} // namespace
} // namespace qzk::simd

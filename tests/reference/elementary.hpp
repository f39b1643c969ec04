// Elementary functions of another origin, correctly rounded. They are evaluated in 128 bits, and a value that
// lies so close to the middle between two results that an error of it could matter is refused.
#pragma once

// Boost takes mingw's compiler for an old one.
#define BOOST_MATH_DISABLE_DEPRECATED_03_WARNING
#define BOOST_MP_DISABLE_DEPRECATE_03_WARNING
#include <boost/multiprecision/cpp_bin_float.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>

namespace qzk::test::reference {

template <unsigned bits>
using Binary = boost::multiprecision::number<
    boost::multiprecision::cpp_bin_float<bits, boost::multiprecision::digit_base_2>,
    boost::multiprecision::et_off>;
using Real = Binary<128>;

/// Bound of the relative error of the functions on Real below, for the arguments that they are given here.
constexpr int correctBits = 108;

/// x rounded to the nearest T, ties to even, with gradual underflow.
template <class T, unsigned bits>
T nearest(const Binary<bits> &x) {
    using Limits = std::numeric_limits<T>;
    static_assert(Limits::digits <= 64);
    if (!isfinite(x) || x == 0) return static_cast<T>(x);
    int exponent;
    frexp(x, &exponent);
    const int unit = std::max(exponent, Limits::min_exponent) - Limits::digits;
    const Binary<bits> scaled = ldexp(Binary<bits>(abs(x)), -unit), whole = floor(scaled),
                       rest = scaled - whole;
    const auto below = static_cast<std::uint64_t>(whole);
    const bool up = rest > 0.5 || (rest == 0.5 && below % 2 != 0);
    const T magnitude = std::ldexp(static_cast<T>(below) + (up ? T(1) : T(0)), unit);
    return x < 0 ? -magnitude : magnitude;
}

/// The true value rounded to the nearest T; x is known to correctBits.
template <class T>
T rounded(const Real &x) {
    const Real error = ldexp(Real(abs(x)), -correctBits);
    const T result = nearest<T>(Real(x - error));
    if (result != nearest<T>(Real(x + error))) throw std::range_error("128 bits do not decide the rounding");
    return result;
}

/// Beyond these bounds every power underflows or overflows.
inline Real powerOfE(const Real &x) { return exp(Real(std::clamp<Real>(x, -20000, 20000))); }
inline Real powerOf10(const Real &x) {
    static const Real ln10 = log(Real(10));
    return powerOfE(Real(x * ln10));
}

/// e^x and 10^x.
template <class T>
T exponential(T x) {
    return std::isnan(x) ? x : rounded<T>(powerOfE(Real(x)));
}

inline double exp10(double x) {
    if (std::isnan(x)) return x;
    // Among these are the only powers that are exact, or a tie.
    if (x >= 0.0 && x <= 27.0 && x == std::floor(x))
        return nearest<double>(pow(Real(10), static_cast<int>(x)));
    return rounded<double>(powerOf10(Real(x)));
}

/// The natural logarithm of a finite x above 0.
inline Real logarithm(double x) { return log(Real(x)); }

/// The decimal logarithm rounded to T.
template <class T = double>
T log10(double x) {
    static const Real ln10 = logarithm(10.0);
    if (std::isnan(x) || x < 0.0) return std::numeric_limits<T>::quiet_NaN();
    if (x == 0.0) return -std::numeric_limits<T>::infinity();
    return std::isinf(x) ? std::numeric_limits<T>::infinity() : rounded<T>(Real(logarithm(x) / ln10));
}

/// sin(x + quarters * pi/2) of a finite x. The angle is reduced in as many bits as the largest double has
/// before the binary point, the double nearest to a multiple of pi/2 loses there, and a Real has.
inline Real sineOfTurned(double x, int quarters) {
    using Wide = Binary<1024 + 64 + 192>;
    static const Wide halfPi = boost::math::constants::half_pi<Wide>(), inverse = 1 / halfPi;
    Real rest = x;
    if (std::fabs(x) > 0.5) {
        const Wide multiple = round(Wide(x * inverse));
        rest = Real(x - multiple * halfPi);
        quarters += static_cast<int>(Wide(multiple - 4 * floor(Wide(multiple / 4))));
    }
    const Real value = quarters % 2 == 0 ? sin(rest) : cos(rest);
    return quarters % 4 < 2 ? value : Real(-value);
}

inline double sine(double x) {
    return std::isfinite(x) ? rounded<double>(sineOfTurned(x, 0)) : std::numeric_limits<double>::quiet_NaN();
}
inline double cosine(double x) {
    return std::isfinite(x) ? rounded<double>(sineOfTurned(x, 1)) : std::numeric_limits<double>::quiet_NaN();
}

} // namespace qzk::test::reference

// The conversions once more, slow and obvious: the C library's fmod and ldexp, the searches step by step,
// and logarithms of any precision.
#pragma once

#include "qzk.h"
#include "reference/elementary.hpp"

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace qzk::test::reference {

/// Low bits of the truncated value.
template <class T>
T wrapped(double x) {
    const double whole = std::trunc(x);
    if (!(whole >= -0x1p63 && whole < 0x1p63)) return 0;
    constexpr double modulus = sizeof(T) == 2 ? 0x1p16 : 0x1p32;
    double rest = std::fmod(whole, modulus);
    if (rest >= modulus / 2) rest -= modulus;
    if (rest < -modulus / 2) rest += modulus;
    return static_cast<T>(rest);
}

template <class T>
T saturated(double x) {
    constexpr T lowest = std::numeric_limits<T>::min(), highest = std::numeric_limits<T>::max();
    if (std::isnan(x)) return std::signbit(x) ? lowest : highest;
    if (x < lowest) return lowest;
    if (x > highest) return highest;
    return static_cast<T>(std::trunc(x));
}

/// What the automatic mode stores, j for a division by 2^j and -j for a multiplication: the bisection step by
/// step. It does not get to 64.
inline std::optional<std::int32_t> scaleBelow(double value, double limit, bool up) {
    int low = 0, high = 64, j = 32;
    const auto scaled = [&](int power) { return std::ldexp(value, up ? power : -power); };
    for (int round = 1; round <= 7; ++round) {
        const double p = scaled(j);
        if (p < limit && scaled(up ? j + 1 : j - 1) >= limit) return up ? -j : j;
        if (up ? p >= limit : p < limit) {
            high = j;
            j = (low + j) / 2;
        } else {
            low = j;
            j = (high + j) / 2;
        }
    }
    return std::nullopt;
}

template <class T, class S>
std::optional<std::int32_t> vectorScale(const std::vector<S> &values) {
    constexpr double top = sizeof(T) == 2 ? 32767.0 : 2147483647.0, bottom = -top - 1.0;
    double minimum = values[0], maximum = values[0];
    for (const S value : values) {
        if (minimum > value) minimum = value;
        if (maximum < value) maximum = value;
    }
    if (maximum > top || minimum < bottom)
        return std::abs(minimum) <= maximum ? scaleBelow(maximum, top, false)
                                            : scaleBelow(std::abs(minimum), 1.0 + top, false);
    if (maximum == top || minimum == bottom || (minimum == maximum && minimum == 0.0)) return 0;
    bool byMaximum = minimum + (1.0 + top) >= top - maximum;
    if (byMaximum && maximum == 0.0)
        byMaximum = false;
    else if (!byMaximum && minimum == 0.0)
        byMaximum = true;
    return byMaximum ? scaleBelow(maximum, top, true) : scaleBelow(-minimum, 1.0 + top, true);
}

template <class T>
std::optional<std::int32_t> scalarScale(double x) {
    constexpr double top = sizeof(T) == 2 ? 32767.0 : 2147483647.0;
    const double limit = x > 0.0 ? top : 1.0 + top;
    if (x == 0.0 || x == top || x == -1.0 - top) return 0;
    return scaleBelow(std::abs(x), limit, std::abs(x) <= limit);
}

/// log10(re^2 + im^2), the sum rounded to double first, or half of it; rounded once to float.
inline float logarithm(QZComplexFloat z, bool half) {
    const double re = z.re, im = z.im, power = re * re + im * im;
    const float result = log10<float>(power);
    return half ? result * 0.5f : result;
}

} // namespace qzk::test::reference

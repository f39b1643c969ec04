// Windows and pre-emphasis, formula by formula.
#pragma once

#include "reference/elementary.hpp"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qzk::test::reference {

enum class Taper { hamming, hanning, bartlett, blackman };

inline double taper(Taper kind, int k, int n) {
    const double turn = 6.2831853;
    if (kind == Taper::hamming) return 0.54 - 0.46 * cosine(k * (turn / (n - 1)));
    if (kind == Taper::hanning) return 0.5 - 0.5 * cosine((k + 1) * (turn / (n + 1)));
    if (kind == Taper::bartlett) {
        const double d = 2.0 / (n - 1);
        return k <= (n - 1) / 2 ? k * d : 2.0 - k * d;
    }
    const double a = turn / (n - 1);
    return 0.42 - 0.5 * cosine(k * a) + 0.08 * cosine(2.0 * (k * a));
}

inline std::vector<float> tapered(Taper kind, const std::vector<float> &x) {
    auto y = x;
    for (std::size_t k = 0; x.size() > 1 && k < x.size(); ++k)
        y[k] = x[k] * static_cast<float>(taper(kind, static_cast<int>(k), static_cast<int>(x.size())));
    return y;
}

inline std::vector<float> preEmphasized(const std::vector<float> &x, float a) {
    auto y = x;
    for (std::size_t k = 1; k < x.size(); ++k) {
        const double product = static_cast<double>(x[k - 1]) * static_cast<double>(a);
        y[k] = static_cast<float>(static_cast<double>(x[k]) - product);
    }
    return y;
}

/// In extended precision throughout.
inline std::vector<std::int16_t> preEmphasized(const std::vector<std::int16_t> &x, float a) {
    auto y = x;
    for (std::size_t k = 1; k < x.size(); ++k) {
        const long double r =
            std::trunc(static_cast<long double>(x[k]) - static_cast<long double>(x[k - 1]) * a);
        const bool fits = r >= -2147483648.0L && r <= 2147483647.0L;
        y[k] = static_cast<std::int16_t>(fits ? static_cast<long long>(r) : 0);
    }
    return y;
}

} // namespace qzk::test::reference

// The Fourier sum itself, in extended precision, for the accuracy of the fast transforms.
#pragma once

#include "qzk.h"

#include <complex>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <vector>

namespace qzk::test::reference {

using Wide = std::complex<long double>;

/// X[k] = sum over j of x[j] e^(-2 pi i jk/n), for the inverse e^(+2 pi i jk/n) and, unless left out, 1/n.
inline std::vector<Wide> fourierSum(const std::vector<Wide> &x, std::int32_t flags) {
    const std::size_t n = x.size();
    const auto points = static_cast<long double>(n);
    const long double turn = (flags & QZ_FORWARD) != 0 ? -2 : 2;
    const long double factor = flags == QZ_INVERSE ? 1 / points : 1;
    std::vector<Wide> roots(n), result(n);
    for (std::size_t k = 0; k < n; ++k)
        roots[k] = std::polar<long double>(1, turn * std::numbers::pi_v<long double> *
                                                  static_cast<long double>(k) / points);
    for (std::size_t k = 0; k < n; ++k) {
        for (std::size_t j = 0; j < n; ++j)
            result[k] += x[j] * roots[j * k % n];
        result[k] *= factor;
    }
    return result;
}

/// The full conjugate-symmetric spectrum of a packed one.
template <class T>
std::vector<Wide> unpacked(const std::vector<T> &packed) {
    const std::size_t n = packed.size();
    const auto value = [&](std::size_t i) { return static_cast<long double>(packed[i]); };
    std::vector<Wide> spectrum(n);
    spectrum[0] = value(0);
    spectrum[n / 2] = value(1);
    for (std::size_t k = 1; k < n / 2; ++k) {
        spectrum[k] = {value(2 * k), value(2 * k + 1)};
        spectrum[n - k] = std::conj(spectrum[k]);
    }
    return spectrum;
}

} // namespace qzk::test::reference

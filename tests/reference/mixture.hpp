// Gaussian mixtures as the sums in extended precision that define them, with an exponential of its own in
// 113 bits.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace qzk::test::reference {

__extension__ typedef __float128 Quadruple;

/// e^x by its series, for |x| < 11000.
inline Quadruple exponential(long double x) {
    const Quadruple ln2 = Quadruple(0x1.62e42fefa39efp-1) + Quadruple(0x1.abc9e3b39803fp-56) +
                          Quadruple(0x1.7b57a079a1934p-111);
    const int n = static_cast<int>(std::floor(x / 0.6931471805599453L));
    const Quadruple rest = Quadruple(x) - n * ln2;
    Quadruple sum = 0, term = 1;
    for (int k = 1; k < 60; k++) {
        sum = sum + term;
        term = term * rest / k;
    }
    for (int i = 0; i < n; i++)
        sum = sum * 2;
    for (int i = 0; i > n; i--)
        sum = sum / 2;
    return sum;
}

template <class T>
struct MixtureModel {
    std::vector<T> weights;
    std::vector<std::vector<T>> means;
    std::vector<std::vector<T>> diagonals;             // empty when there are matrices
    std::vector<std::vector<std::vector<T>>> matrices; // [component][row][column]
};

inline float tableEntry(long double x) { return static_cast<float>(exponential(x)); }

inline long double lookedUp(long double exponent) {
    if (exponent <= -100) return 0;
    if (exponent != exponent) return exponent;
    const long double t = -exponent;
    const int n = static_cast<int>(t), k = static_cast<int>((t - n) * 1000);
    return static_cast<long double>(tableEntry(-n)) * tableEntry(-k * 0.001L);
}

template <class T>
long double quadraticForm(const MixtureModel<T> &model, std::size_t m, const std::vector<T> &x) {
    std::vector<long double> d;
    for (std::size_t c = 0; c < x.size(); c++)
        d.push_back(static_cast<long double>(x[c]) - static_cast<long double>(model.means[m][c]));
    long double q = 0;
    if (model.matrices.empty()) {
        for (std::size_t c = 0; c < x.size(); c++) {
            const long double square = d[c] * d[c];
            const long double term = static_cast<long double>(model.diagonals[m][c]) * square;
            q = q + term;
        }
        return q;
    }
    for (std::size_t r = 0; r < x.size(); r++)
        for (std::size_t c = 0; c < x.size(); c++) {
            const long double weighted = d[c] * static_cast<long double>(model.matrices[m][r][c]);
            const long double term = weighted * d[r];
            q = q + term;
        }
    return q < 0 ? -q : q;
}

/// Nothing if an exponent that is to be looked up is positive.
template <class T>
std::optional<double> mixture(const MixtureModel<T> &model, const std::vector<T> &x, bool tables,
                              double scale = 1) {
    double sum = 0;
    for (std::size_t m = 0; m < model.weights.size(); m++) {
        const long double half = -0.5L * quadraticForm(model, m, x);
        const long double exponent = half * scale;
        if (tables && exponent > 0) return std::nullopt;
        long double power;
        if (tables)
            power = lookedUp(exponent);
        else if (exponent != exponent)
            power = exponent;
        else if (exponent > 11000 || exponent < -11000)
            power = exponent > 0 ? HUGE_VALL : 0;
        else
            power = static_cast<long double>(exponential(exponent));
        const long double weighted = power * static_cast<long double>(model.weights[m]);
        const long double total = sum + weighted;
        sum = static_cast<double>(total);
    }
    return sum;
}

} // namespace qzk::test::reference

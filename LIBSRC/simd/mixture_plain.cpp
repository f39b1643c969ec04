#include "common/elementary.hpp"
#include "common/unaligned.hpp"
#include "simd/extended.hpp"
#include "simd/mixture.hpp"

#include <cmath>

namespace qzk::simd {
namespace {

using std::int16_t;
using std::size_t;

using Extended = long double;

template <class T>
Extended difference(const T *x, const T *mean, size_t i) {
    return static_cast<Extended>(elementAt(x, i)) - elementAt(mean, i);
}

template <class T>
Extended diagonalForm(const T *x, const T *mean, const T *diagonal, size_t dim) {
    Extended form = 0;
    for (size_t c = 0; c < dim; ++c) {
        const Extended d = difference(x, mean, c);
        form += elementAt(diagonal, c) * (d * d);
    }
    return form;
}

template <class T>
Extended fullForm(const T *x, const T *mean, const T *const *rows, size_t dim) {
    Extended form = 0;
    for (size_t r = 0; r < dim; ++r)
        for (size_t c = 0; c < dim; ++c)
            form += difference(x, mean, c) * elementAt(rows[r], c) * difference(x, mean, r);
    return std::fabs(form);
}

/// Of a negative exponent or 0; both conversions truncate, and the second one stays below 1000.
Extended lookedUp(const ExponentialTables &tables, Extended exponent) {
    if (!(exponent > -100)) return exponent <= -100 ? 0 : exponent;
    const auto whole = static_cast<int>(-exponent);
    const auto thousandths = static_cast<int>((-exponent - whole) * 1000);
    return static_cast<Extended>(tables.integral[whole]) * tables.fractional[thousandths];
}

template <class T>
Extended exponentOfComponent(const Mixture<T> &mixture, size_t m, const T *x, size_t dim) {
    const T *const mean = mixture.means[m];
    const Extended form = mixture.inverseCovD != nullptr ? diagonalForm(x, mean, mixture.inverseCovD[m], dim)
                                                         : fullForm(x, mean, mixture.inverseCov[m], dim);
    return -0.5L * form * mixture.scale;
}

/// False if an exponent that is to be looked up is positive.
template <class T>
bool evaluateOne(const Mixture<T> &mixture, const T *x, size_t dim, double &value) {
    double sum = 0.0;
    for (size_t m = 0; m < mixture.components; ++m) {
        const Extended exponent = exponentOfComponent(mixture, m, x, dim);
        if (mixture.tables != nullptr && exponent > 0) return false;
        const Extended power =
            mixture.tables != nullptr ? lookedUp(*mixture.tables, exponent) : exponential(exponent);
        sum = static_cast<double>(sum + power * elementAt(mixture.weights, m));
    }
    value = sum;
    return true;
}

template <class T>
[[gnu::noinline]] size_t evaluateAll(const Mixture<T> *mixtures, size_t count, const T *x, size_t dim,
                                     double *values) {
    size_t i = 0;
    while (i < count && evaluateOne(mixtures[i], x, dim, values[i]))
        ++i;
    return i;
}

template <class T>
void bound(const Mixture<T> &, const double *, size_t vectors, size_t, double *lower, double *upper) {
    for (size_t i = 0; i < vectors; ++i) {
        lower[i] = -HUGE_VAL;
        upper[i] = HUGE_VAL;
    }
}

/// The 64 bits of a value in two doubles.
void split(Extended value, double &hi, double &lo) {
    hi = static_cast<double>(value);
    lo = static_cast<double>(value - hi);
}

} // namespace

size_t plain::evaluate(const Mixture<float> *mixtures, size_t count, const float *x, size_t dim,
                       double *values) {
    const ExtendedPrecision precision;
    return evaluateAll(mixtures, count, x, dim, values);
}

size_t plain::evaluate(const Mixture<int16_t> *mixtures, size_t count, const int16_t *x, size_t dim,
                       double *values) {
    const ExtendedPrecision precision;
    return evaluateAll(mixtures, count, x, dim, values);
}

void plain::exponentOf(const Mixture<float> &mixture, size_t m, const float *x, size_t dim, double &hi,
                       double &lo) {
    split(exponentOfComponent(mixture, m, x, dim), hi, lo);
}

void plain::exponentOf(const Mixture<int16_t> &mixture, size_t m, const int16_t *x, size_t dim, double &hi,
                       double &lo) {
    split(exponentOfComponent(mixture, m, x, dim), hi, lo);
}

void plain::scaleForms(const double *forms, size_t n, double scale, double *hi, double *lo) {
    for (size_t m = 0; m < n; ++m)
        split(-0.5L * forms[m] * scale, hi[m], lo[m]);
}

void plain::weightedSums(const float *weights, size_t rows, const float *values, size_t size, double *sums) {
    for (size_t j = 0; j < rows; ++j) {
        double sum = 0.0;
        for (size_t k = 0; k < size; ++k)
            sum += static_cast<double>(elementAt(weights, j * size + k)) * elementAt(values, k);
        sums[j] = sum;
    }
}

void plain::install(MixtureKernels &kernels) {
    kernels = {{plain::evaluate, bound<float>}, {plain::evaluate, bound<int16_t>}, weightedSums};
}

} // namespace qzk::simd

// Values of Gaussian mixtures.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

/// Vectors whose elements lie side by side, and how many elements they may have.
constexpr std::size_t turnedVectors = 32;
constexpr std::size_t mostTurned = 128;

/// e^-i for i < 100 and e^(-i / 1000) for i < 1000.
struct ExponentialTables {
    const float *integral;
    const float *fractional;
};

/// A mixture of floats or words; one of inverseCov and inverseCovD is null.
template <class T>
struct Mixture {
    const T *weights;
    const T *const *means;
    const T *const *const *inverseCov;
    const T *const *inverseCovD;
    std::size_t components;
    double scale;                    // factor of the quadratic forms
    const ExponentialTables *tables; // null: the exponentials are computed
};

/// The value of a mixture at x is the sum of w[m] e^(-q[m] / 2), with q[m] the sum of
/// (d[c] inverseCov[m][r][c]) d[r], r outer and c inner, without its sign, or the sum of
/// inverseCovD[m][c] (d[c] d[c]), and d = x - means[m]. Everything is computed in this order in extended
/// precision, each operation rounded to 64 bits; the sum of the components alone is rounded to double with
/// each of them. Words count as their values, and their forms are multiplied by `scale` last. Operands may
/// have any address.
template <class T>
struct MixtureKernelsOf {
    /// Evaluates mixtures one after the other as far as the first one with a positive exponent that is to be
    /// looked up, and returns how many there are before it.
    std::size_t (*evaluate)(const Mixture<T> *mixtures, std::size_t count, const T *x, std::size_t dim,
                            double *values);
    /// lower[i] <= value <= upper[i] at each of up to turnedVectors vectors. Element c of vector i is
    /// columns[c * turnedVectors + i]; what is there behind the last vector does not matter. Minus infinity
    /// and infinity where no bounds are known, as with more than mostTurned elements.
    void (*bound)(const Mixture<T> &mixture, const double *columns, std::size_t vectors, std::size_t dim,
                  double *lower, double *upper);
};

struct MixtureKernels : MixtureKernelsOf<float>, MixtureKernelsOf<std::int16_t> {
    /// sums[j] = the sum of weights[j size + k] values[k] over k upwards in double, for each of the rows. The
    /// sums overlap nothing else.
    void (*weightedSums)(const float *weights, std::size_t rows, const float *values, std::size_t size,
                         double *sums);
};

namespace plain {
void install(MixtureKernels &kernels);

/// The definition.
std::size_t evaluate(const Mixture<float> *mixtures, std::size_t count, const float *x, std::size_t dim,
                     double *values);
std::size_t evaluate(const Mixture<std::int16_t> *mixtures, std::size_t count, const std::int16_t *x,
                     std::size_t dim, double *values);
void weightedSums(const float *weights, std::size_t rows, const float *values, std::size_t size,
                  double *sums);

// For processors that compute in extended precision, which evaluate() sees to.

/// The exponent -q[m] / 2 as the sum of two doubles.
void exponentOf(const Mixture<float> &mixture, std::size_t m, const float *x, std::size_t dim, double &hi,
                double &lo);
void exponentOf(const Mixture<std::int16_t> &mixture, std::size_t m, const std::int16_t *x, std::size_t dim,
                double &hi, double &lo);

/// hi + lo = -0.5 forms[i] scale.
void scaleForms(const double *forms, std::size_t n, double scale, double *hi, double *lo);
} // namespace plain
namespace sse2 {
void install(MixtureKernels &kernels);
}
namespace avx2 {
void install(MixtureKernels &kernels);
}
namespace avx512 {
void install(MixtureKernels &kernels);
}

} // namespace qzk::simd

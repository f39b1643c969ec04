#include "simd/distance.hpp"

#include <cmath>
#include <cstring>
#include <type_traits>

namespace qzk::simd {
namespace {

/// Operands may have any address.
template <class T>
T element(const T *from, std::size_t i) {
    T value;
    std::memcpy(&value, from + i, sizeof value);
    return value;
}

double product(float a, float b) { return static_cast<double>(a) * static_cast<double>(b); }
double product(std::int16_t a, std::int16_t b) { return static_cast<double>(a * b); }

double difference(float a, float b) { return static_cast<double>(a) - static_cast<double>(b); }
double difference(std::int16_t a, std::int16_t b) { return static_cast<double>(a - b); }

template <class Term>
double upwards(std::size_t n, Term term) {
    double sum = 0.0;
    for (std::size_t i = 0; i < n; ++i)
        sum += term(i);
    return sum;
}

template <class Term>
double downwards(std::size_t n, Term term) {
    double sum = 0.0;
    for (std::size_t i = n; i-- > 0;)
        sum += term(i);
    return sum;
}

template <class T, class Term>
double sumOf(std::size_t n, Term term) {
    if constexpr (std::is_same_v<T, float>)
        return upwards(n, term);
    else
        return downwards(n, term);
}

template <class T>
double dotProduct(const T *a, const T *b, std::size_t n) {
    return sumOf<T>(n, [=](std::size_t i) { return product(element(a, i), element(b, i)); });
}

template <class T>
double cityBlock(const T *a, const T *b, std::size_t n) {
    return sumOf<T>(n, [=](std::size_t i) { return std::fabs(difference(element(a, i), element(b, i))); });
}

template <class T>
double squaredEuclidean(const T *a, const T *b, std::size_t n) {
    return sumOf<T>(n, [=](std::size_t i) {
        const double d = difference(element(a, i), element(b, i));
        return d * d;
    });
}

template <class T>
double diagonalMahalanobis(const T *a, const T *b, const T *diagonal, std::size_t n) {
    return upwards(n, [=](std::size_t i) {
        const double d = difference(element(a, i), element(b, i));
        return element(diagonal, i) * (d * d);
    });
}

template <class T>
double mahalanobis(const T *a, const T *b, const T *const *m, std::size_t n) {
    double diagonal = 0.0, offDiagonal = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        const double d = difference(element(a, i), element(b, i));
        diagonal += element(m[i], i) * d * d;
        for (std::size_t j = 0; j < i; ++j)
            offDiagonal += difference(element(a, j), element(b, j)) * element(m[i], j) * d;
    }
    return 2.0 * offDiagonal + diagonal;
}

template <class T>
constexpr DistanceKernelsOf<T> kernelsFor = {dotProduct<T>, cityBlock<T>, squaredEuclidean<T>,
                                             diagonalMahalanobis<T>, mahalanobis<T>};

} // namespace

const DistanceKernelsOf<std::int16_t> plain::ofWords = kernelsFor<std::int16_t>;

void plain::install(DistanceKernels &kernels) { kernels = {kernelsFor<float>, ofWords}; }

} // namespace qzk::simd

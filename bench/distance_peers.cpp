#include "distance_peers.hpp"

#include <cmath>

namespace peers {
namespace {

double difference(float a, float b) { return static_cast<double>(a) - static_cast<double>(b); }
double difference(std::int16_t a, std::int16_t b) { return a - b; }

template <class T>
double diagonalSum(const T *a, const T *b, const T *diagonal, int n) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) {
        const double d = difference(a[i], b[i]);
        sum += diagonal[i] * (d * d);
    }
    return sum;
}

template <class T>
double matrixSum(const T *a, const T *b, const T *const *m, int n) {
    double diagonal = 0.0, offDiagonal = 0.0;
    for (int i = 0; i < n; ++i) {
        const double d = difference(a[i], b[i]);
        diagonal += m[i][i] * d * d;
        for (int j = 0; j < i; ++j)
            offDiagonal += difference(a[j], b[j]) * m[i][j] * d;
    }
    return 2.0 * offDiagonal + diagonal;
}

} // namespace

double dotProduct(const float *a, const float *b, int n) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        sum += static_cast<double>(a[i]) * static_cast<double>(b[i]);
    return sum;
}

double cityBlock(const float *a, const float *b, int n) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        sum += std::fabs(difference(a[i], b[i]));
    return sum;
}

double squaredEuclidean(const float *a, const float *b, int n) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        sum += difference(a[i], b[i]) * difference(a[i], b[i]);
    return sum;
}

double diagonalMahalanobis(const float *a, const float *b, const float *diagonal, int n) {
    return diagonalSum(a, b, diagonal, n);
}

double mahalanobis(const float *a, const float *b, const float *const *m, int n) {
    return matrixSum(a, b, m, n);
}

double dotProduct(const std::int16_t *a, const std::int16_t *b, int n) {
    double sum = 0.0;
    for (int i = n - 1; i >= 0; --i)
        sum += a[i] * b[i];
    return sum;
}

double cityBlock(const std::int16_t *a, const std::int16_t *b, int n) {
    double sum = 0.0;
    for (int i = n - 1; i >= 0; --i)
        sum += std::fabs(difference(a[i], b[i]));
    return sum;
}

double squaredEuclidean(const std::int16_t *a, const std::int16_t *b, int n) {
    double sum = 0.0;
    for (int i = n - 1; i >= 0; --i)
        sum += difference(a[i], b[i]) * difference(a[i], b[i]);
    return sum;
}

double diagonalMahalanobis(const std::int16_t *a, const std::int16_t *b, const std::int16_t *diagonal,
                           int n) {
    return diagonalSum(a, b, diagonal, n);
}

double mahalanobis(const std::int16_t *a, const std::int16_t *b, const std::int16_t *const *m, int n) {
    return matrixSum(a, b, m, n);
}

} // namespace peers

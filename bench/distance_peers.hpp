// The distances as plain loops in the order that the results are defined by.
#pragma once

#include <cstdint>

namespace peers {

double dotProduct(const float *a, const float *b, int n);
double cityBlock(const float *a, const float *b, int n);
double squaredEuclidean(const float *a, const float *b, int n);
double diagonalMahalanobis(const float *a, const float *b, const float *diagonal, int n);
double mahalanobis(const float *a, const float *b, const float *const *m, int n);

double dotProduct(const std::int16_t *a, const std::int16_t *b, int n);
double cityBlock(const std::int16_t *a, const std::int16_t *b, int n);
double squaredEuclidean(const std::int16_t *a, const std::int16_t *b, int n);
double diagonalMahalanobis(const std::int16_t *a, const std::int16_t *b, const std::int16_t *diagonal, int n);
double mahalanobis(const std::int16_t *a, const std::int16_t *b, const std::int16_t *const *m, int n);

} // namespace peers

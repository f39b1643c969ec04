// Mixtures as plain loops over the C library's exponential.
#pragma once

#include "common/mixture.hpp"

namespace peers {

double mixture(const QZsGaussMixServer &server, const float *x, int dim);
double mixture(const QZwGaussMixServer &server, const std::int16_t *x, int dim);

/// The same with all arithmetic in long double.
double extendedMixture(const QZsGaussMixServer &server, const float *x, int dim);
double extendedMixture(const QZwGaussMixServer &server, const std::int16_t *x, int dim);

} // namespace peers

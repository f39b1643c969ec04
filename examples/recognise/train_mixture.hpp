#pragma once

#include "matrix.hpp"

#include <cstddef>
#include <vector>

namespace recognise {

/// Gaussian densities with variances of their own in each element; a row for each.
struct Mixture {
    std::vector<float> weights; ///< sum 1
    Matrix means, variances;
};

struct MixtureSettings {
    std::size_t mostComponents;
    std::size_t framesPerComponent;
    double priorFrames; ///< how many frames the prior variance weighs as much as
};

/// Fits a mixture to rows of frames: clusters them, takes mean and variance of each cluster, and draws the
/// variances towards the prior ones, which keeps them sound however few frames there are.
Mixture fitMixture(const Matrix &frames, const std::vector<float> &priorVariances,
                   const MixtureSettings &settings);

/// Variance of each column.
std::vector<float> variancesOf(const Matrix &frames);

/// Common logarithm of each component's factor in the density, its weight included, without 2 pi.
std::vector<double> logFactors(const Mixture &mixture);

/// -log10 of the density, without 2 pi.
double mixtureCost(const Mixture &mixture, const std::vector<double> &factors, const float *frame);

} // namespace recognise

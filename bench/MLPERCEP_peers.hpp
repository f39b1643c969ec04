// Perceptrons as plain loops.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace peers {

/// y = 1 / (1 + e^-s) for each of the sums, in float.
void logistic(float *values, std::size_t n);

/// Sums in double and in order, std::exp in double.
void perceptron(const std::int16_t *input, std::size_t nInputs, double inputUnit,
                const std::vector<std::size_t> &sizes, const std::int16_t *weights, double weightUnit,
                std::vector<double> (&layers)[2]);

} // namespace peers

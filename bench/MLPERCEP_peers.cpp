#include "MLPERCEP_peers.hpp"

#include <cmath>

namespace peers {

void logistic(float *values, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        values[i] = 1.0f / (1.0f + std::exp(-values[i]));
}

void perceptron(const std::int16_t *input, std::size_t nInputs, double inputUnit,
                const std::vector<std::size_t> &sizes, const std::int16_t *weights, double weightUnit,
                std::vector<double> (&layers)[2]) {
    for (std::size_t i = 0; i < nInputs; ++i)
        layers[0][i] = input[i] * inputUnit;
    for (const std::size_t size : sizes) {
        for (std::size_t k = 0; k < size; ++k) {
            double s = 0.0;
            for (std::size_t i = 0; i < nInputs; ++i)
                s += layers[0][i] * (*weights++ * weightUnit);
            layers[1][k] = 1.0 / (1.0 + std::exp(-s));
        }
        layers[0].swap(layers[1]);
        nInputs = size;
    }
}

} // namespace peers

// Layers of a perceptron.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

/// A fully connected layer of logistic units: output[k] = 1 / (1 + e^-s) of s, the sum of input[i] w[i] over
/// the inputs in order, where w are the unit's weights, which follow one another unit by unit. Operands may
/// have any address; the outputs overlap nothing else.
struct PerceptronKernels {
    /// Sums and logistic function in extended precision, rounded to float at the end.
    void (*layerOfFloats)(const float *input, std::size_t nInputs, const float *weights, std::size_t nUnits,
                          float *output);
    /// Weights times weightUnit, products and sums in double; the logistic function in extended precision,
    /// rounded to double.
    void (*layerOfWords)(const double *input, std::size_t nInputs, const std::int16_t *weights,
                         double weightUnit, std::size_t nUnits, double *output);
};

namespace plain {
extern const PerceptronKernels perceptron;
void install(PerceptronKernels &kernels);
} // namespace plain
namespace sse2 {
void install(PerceptronKernels &kernels);
}
namespace avx2 {
void install(PerceptronKernels &kernels);
}
namespace avx512 {
void install(PerceptronKernels &kernels);
}

} // namespace qzk::simd

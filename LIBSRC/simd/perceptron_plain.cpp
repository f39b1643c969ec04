#include "simd/perceptron.hpp"

#include "common/elementary.hpp"
#include "common/unaligned.hpp"
#include "simd/extended.hpp"

namespace qzk::simd {
namespace {

using Extended = long double;

Extended logistic(Extended s) { return 1.0L / (1.0L + exponential(-s)); }

[[gnu::noinline]] void floatUnits(const float *input, std::size_t nInputs, const float *weights,
                                  std::size_t nUnits, float *output) {
    for (std::size_t k = 0; k < nUnits; ++k) {
        const float *const w = weights + k * nInputs;
        Extended s = 0;
        for (std::size_t i = 0; i < nInputs; ++i)
            s += static_cast<Extended>(elementAt(input, i)) * elementAt(w, i);
        setElement(output, k, static_cast<float>(logistic(s)));
    }
}

[[gnu::noinline]] void wordUnits(const double *input, std::size_t nInputs, const std::int16_t *weights,
                                 double weightUnit, std::size_t nUnits, double *output) {
    for (std::size_t k = 0; k < nUnits; ++k) {
        const std::int16_t *const w = weights + k * nInputs;
        double s = 0.0;
        for (std::size_t i = 0; i < nInputs; ++i)
            s += input[i] * (elementAt(w, i) * weightUnit);
        output[k] = static_cast<double>(logistic(s));
    }
}

void layerOfFloats(const float *input, std::size_t nInputs, const float *weights, std::size_t nUnits,
                   float *output) {
    const ExtendedPrecision precision;
    floatUnits(input, nInputs, weights, nUnits, output);
}

void layerOfWords(const double *input, std::size_t nInputs, const std::int16_t *weights, double weightUnit,
                  std::size_t nUnits, double *output) {
    const ExtendedPrecision precision;
    wordUnits(input, nInputs, weights, weightUnit, nUnits, output);
}

} // namespace

const PerceptronKernels plain::perceptron = {layerOfFloats, layerOfWords};

void plain::install(PerceptronKernels &kernels) { kernels = perceptron; }

} // namespace qzk::simd

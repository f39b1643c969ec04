// Multilayer perceptrons: the forward pass.
#include "common/memory.hpp"
#include "common/report.hpp"
#include "common/unaligned.hpp"
#include "qzk.h"
#include "simd/kernels.hpp"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>

using namespace qzk;

namespace {

constexpr Reporter report("..\\LIBSRC\\MLPERCEP");

/// kept: the float form reports under this name too.
constexpr const char *reportedName = "QZwMLPerceptron";

std::size_t countOf(std::int32_t count) { return static_cast<std::size_t>(std::max(count, 0)); }

std::size_t unitsOf(const std::int32_t *layerSizes, std::int32_t layer) {
    return countOf(elementAt(layerSizes, static_cast<std::size_t>(layer)));
}

/// The scale factor that multiplies by 2^scale.
std::int32_t scaleUp(std::int32_t scale) {
    return -std::max(scale, -std::numeric_limits<std::int32_t>::max());
}

template <class T>
Buffer<T> allocateUnits(std::size_t count, const char *message, std::int32_t line) {
    Buffer<T> units(static_cast<std::int64_t>(count));
    if (!units) report(QZ_StsNoMem, reportedName, message, line);
    return units;
}

} // namespace

extern "C" {

void QZsMLPerceptron(int32_t nInputs, const float *input, int32_t nLayers, const int32_t *layerSizes,
                     const float *weights, float *output) {
    const auto &kernels = simd::kernels().perceptron;
    Buffer<float> below;
    std::size_t nBelow = countOf(nInputs);
    for (std::int32_t layer = 0; layer < nLayers; ++layer) {
        const std::size_t nUnits = unitsOf(layerSizes, layer);
        const bool isLast = layer == nLayers - 1;
        Buffer<float> units;
        if (!isLast) {
            units = allocateUnits<float>(nUnits, "insufficiency of memory for pointer  outputBlockPtr", 251);
            if (!units) return;
        }
        kernels.layerOfFloats(layer == 0 ? input : below.get(), nBelow, weights, nUnits,
                              isLast ? output : units.get());
        weights += nUnits * nBelow;
        nBelow = nUnits;
        below = std::move(units);
    }
}

void QZwMLPerceptron(int32_t nInputs, int32_t inputScale, const int16_t *input, int32_t nLayers,
                     const int32_t *layerSizes, int32_t weightScale, const int16_t *weights, int16_t *output,
                     int32_t outputMode, int32_t *outputScale) {
    if (nLayers < 1) return;
    std::size_t nBelow = countOf(nInputs);
    auto below = allocateUnits<double>(nBelow, "insufficiency of memory for pointer  inputPtr", 159);
    if (!below) return;
    QZwdbConvertUp(input, below.get(), nInputs, scaleUp(inputScale));
    const double weightUnit = QZwdConvertUp(1, scaleUp(weightScale));
    for (std::int32_t layer = 0; layer < nLayers; ++layer) {
        const std::size_t nUnits = unitsOf(layerSizes, layer);
        auto units = allocateUnits<double>(nUnits, "insufficiency of memory for pointer  outputPtr", 167);
        if (!units) return;
        simd::kernels().perceptron.layerOfWords(below.get(), nBelow, weights, weightUnit, nUnits,
                                                units.get());
        weights += nUnits * nBelow;
        nBelow = nUnits;
        below = std::move(units);
    }
    QZdwbConvertDown(below.get(), output, static_cast<std::int32_t>(nBelow), outputMode, outputScale);
}

} // extern "C"

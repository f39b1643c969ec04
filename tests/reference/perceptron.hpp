// Layers of logistic units, unit by unit, with the correctly rounded exponential of another library.
#pragma once

#include "reference/elementary.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qzk::test::reference {

/// 1 / (1 + e^-s), each step rounded to 64 bits.
inline long double logistic(long double s) { return 1.0L / (1.0L + exponential(-s)); }

inline std::vector<float> perceptron(std::vector<float> values, const std::vector<std::int32_t> &sizes,
                                     const std::vector<float> &weights) {
    std::size_t next = 0;
    for (const std::int32_t size : sizes) {
        std::vector<float> layer;
        for (std::int32_t unit = 0; unit < size; unit++) {
            long double s = 0;
            for (const float x : values) {
                const long double product = (long double)x * (long double)weights[next++];
                s = s + product;
            }
            layer.push_back((float)logistic(s));
        }
        values = layer;
    }
    return values;
}

/// Activations before the conversion; weights count in units of `weightUnit`.
inline std::vector<double> perceptron(std::vector<double> values, const std::vector<std::int32_t> &sizes,
                                      const std::vector<std::int16_t> &weights, double weightUnit) {
    std::size_t next = 0;
    for (const std::int32_t size : sizes) {
        std::vector<double> layer;
        for (std::int32_t unit = 0; unit < size; unit++) {
            double s = 0;
            for (const double x : values)
                s = s + x * (weights[next++] * weightUnit);
            layer.push_back((double)logistic(s));
        }
        values = layer;
    }
    return values;
}

} // namespace qzk::test::reference

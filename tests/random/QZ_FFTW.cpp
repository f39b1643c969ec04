// Accuracy of the 16-bit transforms against the Fourier sum in extended precision.
//
// Bound: the float transform is off by at most order * 2^-23 of the whole vector's norm (see the float
// transforms' own test), and truncation changes a value by less than one unit.
#include "qzk.h"
#include "reference/fourier_sum.hpp"
#include "support/random.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

namespace qzk::test {
namespace {

using reference::fourierSum;
using reference::Wide;

std::vector<long double> complexSum(const std::vector<int16_t> &data, int flags) {
    std::vector<Wide> x(data.size() / 2);
    for (std::size_t k = 0; k < x.size(); ++k)
        x[k] = {static_cast<long double>(data[2 * k]), static_cast<long double>(data[2 * k + 1])};
    std::vector<long double> result;
    for (const Wide &value : fourierSum(x, flags))
        result.insert(result.end(), {value.real(), value.imag()});
    return result;
}

std::vector<long double> realSum(const std::vector<int16_t> &data, int flags) {
    const auto spectrum = fourierSum({data.begin(), data.end()}, flags);
    std::vector<long double> result = {spectrum[0].real(), spectrum[data.size() / 2].real()};
    for (std::size_t k = 1; k < data.size() / 2; ++k)
        result.insert(result.end(), {spectrum[k].real(), spectrum[k].imag()});
    return result;
}

std::vector<long double> ccsSum(const std::vector<int16_t> &data, int flags) {
    std::vector<long double> result;
    for (const Wide &value : fourierSum(reference::unpacked(data), flags))
        result.push_back(value.real());
    return result;
}

/// Runs one transform over orders, directions and scale modes.
template <class Sum, class Transform>
void expectNear(std::size_t valuesPerElement, Sum sum, Transform transform) {
    Random random;
    for (int order = 1; order <= 9; ++order)
        for (const int32_t flags : {QZ_FORWARD, QZ_INVERSE, QZ_INVERSE | QZ_NOSCALE}) {
            const auto data = random.elements<int16_t>(valuesPerElement << order);
            const auto exact = sum(data, flags);
            long double norm = 0;
            for (const long double value : exact)
                norm += value * value;
            norm = std::sqrt(norm);
            for (const int32_t mode : {QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate}) {
                auto actual = data;
                int32_t scale = mode == QZ_ScaleFixed ? order + 1 : 99;
                transform(actual.data(), order, flags, mode, &scale);
                const long double unit = std::ldexp(1.0L, scale);
                for (std::size_t i = 0; i < exact.size(); ++i) {
                    long double wanted = exact[i] / unit;
                    if (mode == QZ_ScaleSaturate) wanted = std::fmin(32767, std::fmax(-32768, wanted));
                    ASSERT_LE(std::fabs(wanted - actual[i]), 1.0L + norm * order * 0x1p-23L / unit)
                        << "order " << order << ", flags " << flags << ", mode " << mode << ", value " << i
                        << ", seed " << seed();
                }
                if (mode == QZ_ScaleAuto) {
                    int largest = 0;
                    for (const int16_t value : actual)
                        largest = std::max(largest, std::abs(int{value}));
                    ASSERT_GE(largest, 16382) << "order " << order << ", flags " << flags;
                }
            }
        }
    QZFreeFftTbls();
}

TEST(ShortFftAccuracy, Complex) {
    expectNear(2, complexSum,
               [](int16_t *data, int32_t order, int32_t flags, int32_t doScale, int32_t *scaleFactor) {
                   QZvFft(reinterpret_cast<QZComplexShort *>(data), order, flags, doScale, scaleFactor);
               });
}

TEST(ShortFftAccuracy, Real) { expectNear(1, realSum, QZwRealFft); }

TEST(ShortFftAccuracy, Ccs) { expectNear(1, ccsSum, QZwCcsFft); }

} // namespace
} // namespace qzk::test

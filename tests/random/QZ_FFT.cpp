// Accuracy of the transforms against the Fourier sum in extended precision, and their round trips.
//
// Bound: every pass rounds each value once (2^-24 relative to the largest part) and multiplies with table
// entries that are off by a few 2^-24. Over order/2 passes the relative error of the whole vector stays below
// order * 2^-23.
#include "qzk.h"
#include "reference/fourier_sum.hpp"
#include "support/random.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

namespace qzk::test {
namespace {

using reference::fourierSum;
using reference::unpacked;
using reference::Wide;

long double norm(const std::vector<Wide> &x) {
    long double sum = 0;
    for (const Wide &value : x)
        sum += std::norm(value);
    return std::sqrt(sum);
}

void expectNear(const std::vector<Wide> &expected, const std::vector<Wide> &actual, int order) {
    std::vector<Wide> difference(expected.size());
    for (std::size_t k = 0; k < expected.size(); ++k)
        difference[k] = actual[k] - expected[k];
    EXPECT_LT(norm(difference), norm(expected) * order * 0x1p-23L)
        << "order " << order << ", seed " << seed();
}

std::vector<Wide> widened(const std::vector<QZComplexFloat> &x) {
    std::vector<Wide> result;
    for (const auto &point : x)
        result.emplace_back(point.re, point.im);
    return result;
}

std::vector<QZComplexFloat> randomPoints(Random &random, std::size_t n) {
    std::vector<QZComplexFloat> x(n);
    for (auto &point : x)
        point = {static_cast<float>(random.real(-1, 1)), static_cast<float>(random.real(-1, 1))};
    return x;
}

std::vector<Wide> scaled(std::vector<Wide> x, long double factor) {
    for (Wide &value : x)
        value *= factor;
    return x;
}

TEST(FftAccuracy, Complex) {
    Random random;
    for (int order = 1; order <= 10; ++order) {
        const std::size_t n = std::size_t{1} << order;
        const auto x = randomPoints(random, n);
        auto actual = x;
        QZcFft(actual.data(), order, QZ_FORWARD);
        expectNear(fourierSum(widened(x), QZ_FORWARD), widened(actual), order);
        actual = x;
        QZcFft(actual.data(), order, QZ_INVERSE);
        expectNear(fourierSum(widened(x), QZ_INVERSE), widened(actual), order);
        actual = x;
        QZcFft(actual.data(), order, QZ_INVERSE | QZ_NOSCALE);
        expectNear(fourierSum(widened(x), QZ_INVERSE | QZ_NOSCALE), widened(actual), order);
    }
}

TEST(FftAccuracy, Real) {
    Random random;
    for (int order = 1; order <= 10; ++order) {
        const std::size_t n = std::size_t{1} << order;
        const auto x = random.reals<float>(n);
        const std::vector<Wide> wide(x.begin(), x.end());
        auto actual = x;
        QZsRealFft(actual.data(), order, QZ_FORWARD);
        expectNear(fourierSum(wide, QZ_FORWARD), unpacked(actual), order);
        actual = x;
        QZsRealFft(actual.data(), order, QZ_INVERSE);
        expectNear(fourierSum(wide, QZ_INVERSE), unpacked(actual), order);
        actual = x;
        QZsRealFft(actual.data(), order, QZ_INVERSE | QZ_NOSCALE);
        expectNear(fourierSum(wide, QZ_INVERSE | QZ_NOSCALE), unpacked(actual), order);
    }
}

TEST(FftAccuracy, Ccs) {
    Random random;
    for (int order = 1; order <= 10; ++order) {
        const std::size_t n = std::size_t{1} << order;
        const auto packed = random.reals<float>(n);
        const auto spectrum = unpacked(packed);
        const auto wide = [](const std::vector<float> &x) { return std::vector<Wide>(x.begin(), x.end()); };
        auto actual = packed;
        QZsCcsFft(actual.data(), order, QZ_FORWARD);
        expectNear(fourierSum(spectrum, QZ_FORWARD), wide(actual), order);
        actual = packed;
        QZsCcsFft(actual.data(), order, QZ_INVERSE);
        expectNear(fourierSum(spectrum, QZ_INVERSE), wide(actual), order);
        actual = packed;
        QZsCcsFft(actual.data(), order, QZ_INVERSE | QZ_NOSCALE);
        expectNear(fourierSum(spectrum, QZ_INVERSE | QZ_NOSCALE), wide(actual), order);
    }
}

TEST(FftRoundTrip, ComplexGivesBackTheInput) {
    Random random;
    for (int order = 0; order <= 15; ++order) {
        const std::size_t n = std::size_t{1} << order;
        const auto x = randomPoints(random, n);
        auto there = x;
        QZcFft(there.data(), order, QZ_FORWARD);
        auto back = there;
        QZcFft(back.data(), order, QZ_INVERSE);
        expectNear(widened(x), widened(back), 2 * order + 1);
        back = there;
        QZcFft(back.data(), order, QZ_INVERSE | QZ_NOSCALE);
        expectNear(scaled(widened(x), static_cast<long double>(n)), widened(back), 2 * order + 1);
    }
    QZFreeFftTbls();
}

TEST(FftRoundTrip, CcsGivesBackTheSamplesOfReal) {
    Random random;
    for (int order = 0; order <= 15; ++order) {
        const auto x = random.reals<float>(std::size_t{1} << order);
        auto data = x;
        QZsRealFft(data.data(), order, QZ_FORWARD);
        QZsCcsFft(data.data(), order, QZ_INVERSE);
        expectNear({x.begin(), x.end()}, {data.begin(), data.end()}, 2 * order + 1);
    }
    QZFreeFftTbls();
}

} // namespace
} // namespace qzk::test

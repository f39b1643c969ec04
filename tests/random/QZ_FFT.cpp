// Accuracy of the transforms against the Fourier sum in extended precision, and their round trips.
//
// Bound: every pass rounds each value once (2^-24 relative to the largest part) and multiplies with table
// entries that are off by a few 2^-24. Over order/2 passes the relative error of the whole vector stays below
// order * 2^-23.
#include "qzk.h"
#include "support/random.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

namespace qzk::test {
namespace {

using Wide = std::complex<long double>;

std::vector<Wide> fourierSum(const std::vector<Wide> &x, int sign) {
    const std::size_t n = x.size();
    std::vector<Wide> roots(n), result(n);
    for (std::size_t k = 0; k < n; ++k)
        roots[k] = std::polar<long double>(1, -sign * 2 * std::numbers::pi_v<long double> *
                                                  static_cast<long double>(k) / static_cast<long double>(n));
    for (std::size_t k = 0; k < n; ++k)
        for (std::size_t j = 0; j < n; ++j)
            result[k] += x[j] * roots[j * k % n];
    return result;
}

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

/// The full conjugate-symmetric spectrum of a packed one.
std::vector<Wide> unpacked(const std::vector<float> &packed) {
    const std::size_t n = packed.size();
    std::vector<Wide> spectrum(n);
    spectrum[0] = packed[0];
    spectrum[n / 2] = packed[1];
    for (std::size_t k = 1; k < n / 2; ++k) {
        spectrum[k] = {packed[2 * k], packed[2 * k + 1]};
        spectrum[n - k] = std::conj(spectrum[k]);
    }
    return spectrum;
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
        expectNear(fourierSum(widened(x), 1), widened(actual), order);
        actual = x;
        QZcFft(actual.data(), order, QZ_INVERSE);
        expectNear(scaled(fourierSum(widened(x), -1), 1.0L / static_cast<long double>(n)), widened(actual),
                   order);
        actual = x;
        QZcFft(actual.data(), order, QZ_INVERSE | QZ_NOSCALE);
        expectNear(fourierSum(widened(x), -1), widened(actual), order);
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
        expectNear(fourierSum(wide, 1), unpacked(actual), order);
        actual = x;
        QZsRealFft(actual.data(), order, QZ_INVERSE);
        expectNear(scaled(fourierSum(wide, -1), 1.0L / static_cast<long double>(n)), unpacked(actual), order);
        actual = x;
        QZsRealFft(actual.data(), order, QZ_INVERSE | QZ_NOSCALE);
        expectNear(fourierSum(wide, -1), unpacked(actual), order);
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
        expectNear(fourierSum(spectrum, 1), wide(actual), order);
        actual = packed;
        QZsCcsFft(actual.data(), order, QZ_INVERSE);
        expectNear(scaled(fourierSum(spectrum, -1), 1.0L / static_cast<long double>(n)), wide(actual), order);
        actual = packed;
        QZsCcsFft(actual.data(), order, QZ_INVERSE | QZ_NOSCALE);
        expectNear(fourierSum(spectrum, -1), wide(actual), order);
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

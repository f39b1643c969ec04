// Random data of all magnitudes against the slow reference: every conversion is exact to the last bit.
#include "qzk.h"
#include "reference/convert.hpp"
#include "support/bits.hpp"
#include "support/guarded.hpp"
#include "support/random.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace qzk::test {
namespace {

/// Vectors of one magnitude, of all magnitudes, of one sign and with specials.
template <class S>
std::vector<S> anyVector(Random &random, std::size_t n) {
    const auto kind = random.bits() % 4;
    if (kind == 0) return random.anyReals<S>(n);
    const int exponent = static_cast<int>(random.integer(-80, 110));
    auto values = random.reals<S>(n, kind == 1 ? 0.0 : -1.0, kind == 2 ? 0.0 : 1.0);
    for (S &value : values)
        value = std::ldexp(value, kind == 3 ? exponent % 20 + 10 : exponent);
    return values;
}

template <class S, class T>
void downVectors(std::int32_t (*function)(const S *, T *, std::int32_t, std::int32_t, std::int32_t *)) {
    Random random;
    for (int run = 0; run < 2000; ++run) {
        const auto n = static_cast<std::size_t>(random.integer(1, 40));
        const auto src = anyVector<S>(random, n);
        const auto mode = static_cast<std::int32_t>(run % 4);
        const auto given = static_cast<std::int32_t>(random.integer(-64, 64));

        std::optional<std::int32_t> scale = 0;
        if (mode == QZ_ScaleFixed) scale = given;
        if (mode == QZ_ScaleAuto) scale = reference::vectorScale<T>(src);
        std::vector<T> expected(n, T(77));
        if (scale)
            for (std::size_t i = 0; i < n; ++i)
                expected[i] = mode == QZ_ScaleSaturate
                                  ? reference::saturated<T>(src[i])
                                  : reference::wrapped<T>(std::ldexp(static_cast<double>(src[i]), -*scale));

        const RecordedReports reports;
        std::vector<T> actual(n, T(77));
        std::int32_t scaleFactor = given;
        const auto returned =
            function(src.data(), actual.data(), static_cast<std::int32_t>(n), mode, &scaleFactor);
        SCOPED_TRACE(testing::Message() << "run " << run << ", mode " << mode << ", seed " << seed());
        ASSERT_EQ(expected, actual);
        ASSERT_EQ(scale.value_or(given), scaleFactor);
        ASSERT_EQ(scale ? 0 : -7, returned);
        ASSERT_EQ(scale ? 0u : 1u, reports.all().size());
    }
}

TEST(RandomConvertDown, Vectors) {
    downVectors<float, std::int16_t>(QZswbConvertDown);
    downVectors<float, std::int32_t>(QZsibConvertDown);
    downVectors<double, std::int16_t>(QZdwbConvertDown);
    downVectors<double, std::int32_t>(QZdibConvertDown);
}

template <class T, class S>
void downScalars(std::int32_t (*function)(S, std::int32_t, std::int32_t *)) {
    Random random;
    for (int run = 0; run < 8000; ++run) {
        const S x = anyVector<S>(random, 1)[0];
        const auto mode = static_cast<std::int32_t>(run % 4);
        const auto given = static_cast<std::int32_t>(random.integer(-64, 64));
        std::optional<std::int32_t> scale = 0;
        if (mode == QZ_ScaleFixed) scale = given;
        if (mode == QZ_ScaleAuto) scale = reference::scalarScale<T>(x);
        std::int32_t expected = -65536;
        if (scale)
            expected = mode == QZ_ScaleSaturate
                           ? reference::saturated<T>(x)
                           : reference::wrapped<T>(std::ldexp(static_cast<double>(x), -*scale));

        const RecordedReports reports;
        std::int32_t scaleFactor = given;
        ASSERT_EQ(expected, function(x, mode, &scaleFactor)) << x << ", mode " << mode << ", seed " << seed();
        ASSERT_EQ(scale.value_or(given), scaleFactor) << x << ", mode " << mode << ", seed " << seed();
    }
}

TEST(RandomConvertDown, Scalars) {
    downScalars<std::int16_t>(QZswConvertDown);
    downScalars<std::int32_t>(QZsiConvertDown);
    downScalars<std::int16_t>(QZdwConvertDown);
    downScalars<std::int32_t>(QZdiConvertDown);
}

/// Every power of two with the mantissas next to the limits'.
template <class T>
void everyScale(std::int32_t (*function)(double, std::int32_t, std::int32_t *)) {
    for (int exponent = -110; exponent <= 110; ++exponent)
        for (const double limit : {0.999969482421875, 1.0, 0.99999999953433871, 0.75})
            for (const double mantissa : {std::nextafter(limit, 0.0), limit, std::nextafter(limit, 2.0)})
                for (const double x : {std::ldexp(mantissa, exponent), -std::ldexp(mantissa, exponent)}) {
                    const RecordedReports reports;
                    std::int32_t scaleFactor = 999;
                    function(x, QZ_ScaleAuto, &scaleFactor);
                    ASSERT_EQ(reference::scalarScale<T>(x).value_or(999), scaleFactor) << x;
                }
}

TEST(RandomConvertDown, EveryScale) {
    everyScale<std::int16_t>(QZdwConvertDown);
    everyScale<std::int32_t>(QZdiConvertDown);
}

template <class S, class T>
void up(void (*vector)(const S *, T *, std::int32_t, std::int32_t), T (*scalar)(S, std::int32_t)) {
    Random random;
    for (std::int32_t scale = -70; scale <= 70; ++scale) {
        const auto n = static_cast<std::size_t>(random.integer(0, 70));
        const auto src = random.elements<S>(n);
        std::vector<T> expected(n), actual(n), scalars(n);
        for (std::size_t i = 0; i < n; ++i) {
            expected[i] = static_cast<T>(std::ldexp(static_cast<double>(src[i]), -scale));
            scalars[i] = scalar(src[i], scale);
        }
        vector(src.data(), actual.data(), static_cast<std::int32_t>(n), scale);
        ASSERT_TRUE(sameBits(expected, actual)) << "scale " << scale << ", seed " << seed();
        ASSERT_TRUE(sameBits(expected, scalars)) << "scale " << scale << ", seed " << seed();
    }
}

TEST(RandomConvertUp, VectorsAndScalars) {
    up(QZwsbConvertUp, QZwsConvertUp);
    up(QZwdbConvertUp, QZwdConvertUp);
    up(QZisbConvertUp, QZisConvertUp);
    up(QZidbConvertUp, QZidConvertUp);
}

std::vector<QZComplexFloat> complexVector(const std::vector<float> &parts) {
    std::vector<QZComplexFloat> vector(parts.size() / 2);
    for (std::size_t i = 0; i < vector.size(); ++i)
        vector[i] = {parts[2 * i], parts[2 * i + 1]};
    return vector;
}

void compareLogarithms(const std::vector<QZComplexFloat> &src) {
    for (const bool half : {true, false}) {
        std::vector<float> actual(src.size());
        QZcsbConvert(src.data(), actual.data(), static_cast<std::int32_t>(src.size()), 4 | (half ? 1 : 2));
        for (std::size_t i = 0; i < src.size(); ++i)
            ASSERT_TRUE(sameBits(reference::logarithm(src[i], half), actual[i]))
                << std::hexfloat << "(" << src[i].re << ", " << src[i].im << ") half " << half << " gives "
                << actual[i] << ", seed " << seed();
    }
}

TEST(RandomComplexConvert, LogarithmsAreRoundedOnce) {
    Random random;
    compareLogarithms(complexVector(random.anyReals<float>(40000)));
    compareLogarithms(complexVector(random.reals<float>(40000, -1000.0, 1000.0)));
}

TEST(RandomComplexConvert, LogarithmsNextToOne) {
    Random random;
    std::vector<QZComplexFloat> src;
    for (int i = 0; i < 20000; ++i) {
        const double angle = random.real(0.0, 6.3);
        const double radius =
            1.0 + std::ldexp(random.real(-1.0, 1.0), static_cast<int>(random.integer(-30, -1)));
        src.push_back(
            {static_cast<float>(radius * std::cos(angle)), static_cast<float>(radius * std::sin(angle))});
    }
    compareLogarithms(src);
}

TEST(RandomComplexConvert, MagnitudesAndPowers) {
    Random random;
    for (const auto &src : {complexVector(random.anyReals<float>(20000)),
                            complexVector(random.reals<float>(20000, -1000.0, 1000.0))}) {
        std::vector<float> magnitudes(src.size()), powers(src.size());
        QZcsbConvert(src.data(), magnitudes.data(), static_cast<std::int32_t>(src.size()), 1);
        QZcsbConvert(src.data(), powers.data(), static_cast<std::int32_t>(src.size()), 2);
        for (std::size_t i = 0; i < src.size(); ++i) {
            const double re = src[i].re, im = src[i].im, power = re * re + im * im;
            ASSERT_TRUE(sameBits(static_cast<float>(std::sqrt(power)), magnitudes[i]))
                << i << ", seed " << seed();
            ASSERT_TRUE(sameBits(static_cast<float>(power), powers[i])) << i << ", seed " << seed();
        }
    }
}

TEST(RandomComplexShortConvert, IsTheThreeConversionsInARow) {
    Random random;
    for (int run = 0; run < 400; ++run) {
        const auto n = static_cast<std::int32_t>(random.integer(1, 40));
        const auto parts = random.elements<std::int16_t>(static_cast<std::size_t>(2 * n));
        const std::int32_t flags = (run & 1) + 1 + (run & 2) * 2, mode = run / 4 % 4;
        std::vector<float> wide(static_cast<std::size_t>(2 * n)), real(static_cast<std::size_t>(n));
        std::vector<std::int16_t> expected(real.size(), 77), actual(real.size(), 77);
        std::int32_t expectedScale = -3, actualScale = -3;
        const RecordedReports reports;
        QZwsbConvertUp(parts.data(), wide.data(), 2 * n, 0);
        QZcsbConvert(complexVector(wide).data(), real.data(), n, flags);
        QZswbConvertDown(real.data(), expected.data(), n, mode, &expectedScale);
        QZvwbConvert(reinterpret_cast<const QZComplexShort *>(parts.data()), actual.data(), n, flags, mode,
                     &actualScale);
        ASSERT_EQ(expected, actual) << "run " << run << ", seed " << seed();
        ASSERT_EQ(expectedScale, actualScale) << "run " << run << ", seed " << seed();
    }
}

} // namespace
} // namespace qzk::test

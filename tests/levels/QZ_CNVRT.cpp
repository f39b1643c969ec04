// Every conversion kernel of every level against the plain definition, bit for bit, and the exports at every
// overlap against the ordered element loop.
#include "qzk.h"
#include "reference/convert.hpp"
#include "support/bits.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

// The linker sends the kernels' calls of the definition here.
extern "C" float __wrap__ZN3qzk4simd16roundedLogarithmEdd(double power, double factor);
extern "C" float __real__ZN3qzk4simd16roundedLogarithmEdd(double power, double factor);

static int definitionCalls;

float __wrap__ZN3qzk4simd16roundedLogarithmEdd(double power, double factor) {
    ++definitionCalls;
    return __real__ZN3qzk4simd16roundedLogarithmEdd(power, factor);
}

namespace qzk::test {
namespace {

using simd::ConvertKernels;

class ConvertLevels : public LevelTest {
protected:
    const ConvertKernels &kernels = simd::kernels().convert;
    const ConvertKernels &plain = simd::kernelsOf(simd::Level::plain).convert;
};
INSTANTIATE_TEST_SUITE_P(Levels, ConvertLevels, testing::ValuesIn(availableLevels()), levelTestName);

std::vector<std::size_t> lengths() {
    std::vector<std::size_t> all;
    for (std::size_t n = 0; n <= 130; ++n)
        all.push_back(n);
    all.push_back(3001);
    return all;
}

template <class T>
std::vector<T> anyElements(Random &random, std::size_t n) {
    if constexpr (std::is_integral_v<T>) {
        return random.elements<T>(n);
    } else {
        // Mostly within 32 bits, so that blocks with and without wide values occur.
        auto values = random.reals<T>(n, -40000.0, 40000.0);
        if (random.bits() % 4 == 0) values = random.anyReals<T>(n);
        const T special[] = {T(2147483648.0),
                             T(-2147483648.0),
                             T(1e10),
                             T(-1e18),
                             T(1e19),
                             T(32767),
                             T(32767.5),
                             T(32768),
                             -T(32768),
                             -T(32769),
                             -std::numeric_limits<T>::quiet_NaN()};
        if (n != 0 && random.bits() % 2 == 0)
            values[random.index(n)] = special[random.index(std::size(special))];
        return values;
    }
}

/// Source and destination at any address; what surrounds the destination stays.
template <class S, class T, class Expected, class Actual>
void compare(Random &random, std::size_t n, Expected expected, Actual actual) {
    const auto values = anyElements<S>(random, n);
    Guarded<S> src(n, random.index(16));
    src.assign(values);
    Guarded<T> dst(n, random.index(16));
    std::vector<T> wanted(n);
    expected(values.data(), wanted.data());
    actual(src.data(), dst.data());
    const auto got = dst.values();
    ASSERT_TRUE(dst.intact()) << "length " << n << ", seed " << seed();
    ASSERT_TRUE(src.intact()) << "length " << n << ", seed " << seed();
    if constexpr (std::is_integral_v<T>)
        ASSERT_EQ(wanted, got) << "length " << n << ", seed " << seed();
    else
        ASSERT_TRUE(sameBits(wanted, got)) << "length " << n << ", seed " << seed();
}

template <class S, class T>
void compareDown(const simd::DownKernels<S, T> &plain, const simd::DownKernels<S, T> &kernels) {
    Random random;
    for (const std::size_t n : lengths())
        for (const double multiplier : {1.0, 0x1p-7, 0x1p40, 0x1p140, 0x1p-140, 0x1p1000}) {
            compare<S, T>(
                random, n, [&](const S *src, T *dst) { plain.wrap(src, dst, n, multiplier); },
                [&](const S *src, T *dst) { kernels.wrap(src, dst, n, multiplier); });
            compare<S, T>(
                random, n, [&](const S *src, T *dst) { plain.saturate(src, dst, n); },
                [&](const S *src, T *dst) { kernels.saturate(src, dst, n); });
        }
}

TEST_P(ConvertLevels, FloatToShort) { compareDown(plain.floatToShort, kernels.floatToShort); }
TEST_P(ConvertLevels, FloatToInt) { compareDown(plain.floatToInt, kernels.floatToInt); }
TEST_P(ConvertLevels, DoubleToShort) { compareDown(plain.doubleToShort, kernels.doubleToShort); }
TEST_P(ConvertLevels, DoubleToInt) { compareDown(plain.doubleToInt, kernels.doubleToInt); }

template <class S>
void compareRange(simd::Range<S> (*plain)(const S *, std::size_t),
                  simd::Range<S> (*kernel)(const S *, std::size_t)) {
    Random random;
    for (const std::size_t n : lengths())
        for (int run = 0; run < 12 && n != 0; ++run) {
            auto values = anyElements<S>(random, n);
            if (run >= 10) values[run == 10 ? 0 : n - 1] = std::numeric_limits<S>::quiet_NaN();
            if (run == 9) values.assign(n, -S(0));
            Guarded<S> src(n, random.index(16));
            src.assign(values);
            const auto expected = plain(values.data(), n), actual = kernel(src.data(), n);
            ASSERT_TRUE(sameBits(expected.minimum, actual.minimum)) << "length " << n << ", seed " << seed();
            ASSERT_TRUE(sameBits(expected.maximum, actual.maximum)) << "length " << n << ", seed " << seed();
        }
}

TEST_P(ConvertLevels, Range) {
    compareRange(plain.floatRange, kernels.floatRange);
    compareRange(plain.doubleRange, kernels.doubleRange);
}

template <class S, class T>
void compareUp(simd::UpKernel<S, T> plain, simd::UpKernel<S, T> kernel) {
    Random random;
    for (const std::size_t n : lengths())
        for (const double multiplier : {1.0, 0x1p-7, 0x1p20, 0x1p95, 0x1p96, 0x1p-100, 0x1p-140, 0x1p1000})
            compare<S, T>(
                random, n, [&](const S *src, T *dst) { plain(src, dst, n, multiplier); },
                [&](const S *src, T *dst) { kernel(src, dst, n, multiplier); });
}

TEST_P(ConvertLevels, Up) {
    compareUp(plain.shortToFloat, kernels.shortToFloat);
    compareUp(plain.shortToDouble, kernels.shortToDouble);
    compareUp(plain.intToFloat, kernels.intToFloat);
    compareUp(plain.intToDouble, kernels.intToDouble);
}

std::vector<QZComplexFloat> complexVector(const std::vector<float> &parts) {
    std::vector<QZComplexFloat> vector(parts.size() / 2);
    for (std::size_t i = 0; i < vector.size(); ++i)
        vector[i] = {parts[2 * i], parts[2 * i + 1]};
    return vector;
}

TEST_P(ConvertLevels, Complex) {
    Random random;
    for (const std::size_t n : lengths())
        for (const auto member : {&ConvertKernels::magnitude, &ConvertKernels::power,
                                  &ConvertKernels::logMagnitude, &ConvertKernels::logPower}) {
            const auto values = complexVector(random.bits() % 2 == 0 ? random.anyReals<float>(2 * n)
                                                                     : random.reals<float>(2 * n, -3.0, 3.0));
            Guarded<QZComplexFloat> src(n, random.index(16));
            src.assign(values);
            Guarded<float> dst(n, random.index(16));
            std::vector<float> expected(n);
            (plain.*member)(values.data(), expected.data(), n);
            (kernels.*member)(src.data(), dst.data(), n);
            ASSERT_TRUE(sameBits(expected, dst.values())) << "length " << n << ", seed " << seed();
            ASSERT_TRUE(dst.intact());
        }
}

/// Complex numbers whose log10(re^2 + im^2) comes as near as two floats allow to the middle between two
/// floats.
std::vector<QZComplexFloat> logarithmsNextToMiddles(std::size_t n) {
    Random random;
    std::vector<QZComplexFloat> values(n);
    for (QZComplexFloat &z : values) {
        const float logarithm = static_cast<float>(random.real(1.0, 8.0));
        const double middle = (static_cast<double>(logarithm) + std::nextafter(logarithm, 10.0f)) / 2.0;
        const auto power = reference::powerOf10(middle);
        z.re = reference::nearest<float>(sqrt(power));
        if (reference::Real(z.re) * z.re > power) z.re = std::nextafter(z.re, 0.0f);
        z.im = reference::nearest<float>(sqrt(reference::Real(power - reference::Real(z.re) * z.re)));
    }
    return values;
}

TEST_P(ConvertLevels, LogarithmsNextToMiddlesAreDecidedByTheDefinition) {
    const auto src = logarithmsNextToMiddles(800);
    std::vector<float> actual(src.size());
    for (const bool half : {true, false}) {
        definitionCalls = 0;
        (half ? kernels.logMagnitude : kernels.logPower)(src.data(), actual.data(), src.size());
        const int undecided = GetParam() == simd::Level::plain ? 0 : static_cast<int>(src.size());
        EXPECT_EQ(undecided, definitionCalls);
        for (std::size_t i = 0; i < src.size(); ++i)
            ASSERT_TRUE(sameBits(reference::logarithm(src[i], half), actual[i])) << i << ", seed " << seed();
    }
}

TEST_P(ConvertLevels, LogarithmsSeldomNeedTheDefinition) {
    Random random;
    const auto src = complexVector(random.reals<float>(2 << 18, -1000.0, 1000.0));
    std::vector<float> dst(src.size());
    definitionCalls = 0;
    kernels.logMagnitude(src.data(), dst.data(), src.size());
    // One call in 2^18 values is expected; the plain kernel needs no call.
    EXPECT_LE(definitionCalls, 12) << "seed " << seed();
}

/// The export on one stretch of bytes against the element loop, the destination at a distance from the
/// source.
template <class S, class T, class Export, class Element>
void compareOverlap(Random &random, int n, int distance, bool ascending, Export function, Element element) {
    const auto room = static_cast<std::size_t>(8 * n + 64), size = static_cast<std::size_t>(n);
    std::vector<std::uint8_t> actual(3 * room);
    const auto values = anyElements<S>(random, size);
    std::memcpy(actual.data() + room, values.data(), size * sizeof(S));
    auto expected = actual;
    const auto *const src = expected.data() + room;
    auto *const dst = expected.data() + room + distance;
    for (std::size_t step = 0; step < size; ++step) {
        const std::size_t i = ascending ? step : size - 1 - step;
        S x;
        std::memcpy(&x, src + i * sizeof(S), sizeof x);
        const T y = element(x);
        std::memcpy(dst + i * sizeof(T), &y, sizeof y);
    }
    function(reinterpret_cast<const S *>(actual.data() + room),
             reinterpret_cast<T *>(actual.data() + room + distance), n);
    ASSERT_EQ(expected, actual) << "length " << n << ", distance " << distance << ", seed " << seed();
}

template <class S, class T, class Export, class Element>
void compareOverlaps(bool ascending, Export function, Element element) {
    Random random;
    constexpr int n = 75, longer = 1111;
    for (int distance = -8 * n; distance <= 8 * n; distance += distance > -40 && distance < 40 ? 1 : 7)
        compareOverlap<S, T>(random, n, distance, ascending, function, element);
    for (const int distance : {0, 4, -4, 13, -13, 64, -64, 1000, -1000, 2 * longer, 4 * longer, -4 * longer})
        compareOverlap<S, T>(random, longer, distance, ascending, function, element);
}

TEST_P(ConvertLevels, OverlappingDown) {
    std::int32_t scale;
    compareOverlaps<float, std::int16_t>(
        true, [&](auto src, auto dst, int n) { QZswbConvertDown(src, dst, n, QZ_ScaleWrap, &scale); },
        reference::wrapped<std::int16_t>);
    compareOverlaps<float, std::int32_t>(
        true, [&](auto src, auto dst, int n) { QZsibConvertDown(src, dst, n, QZ_ScaleSaturate, &scale); },
        reference::saturated<std::int32_t>);
    compareOverlaps<double, std::int16_t>(
        true, [&](auto src, auto dst, int n) { QZdwbConvertDown(src, dst, n, QZ_ScaleSaturate, &scale); },
        reference::saturated<std::int16_t>);
    compareOverlaps<double, std::int32_t>(
        true, [&](auto src, auto dst, int n) { QZdibConvertDown(src, dst, n, QZ_ScaleWrap, &scale); },
        reference::wrapped<std::int32_t>);
}

TEST_P(ConvertLevels, OverlappingUp) {
    compareOverlaps<std::int16_t, float>(
        false, [](auto src, auto dst, int n) { QZwsbConvertUp(src, dst, n, 1); },
        [](std::int16_t x) { return static_cast<float>(x) / 2.0f; });
    compareOverlaps<std::int16_t, double>(
        false, [](auto src, auto dst, int n) { QZwdbConvertUp(src, dst, n, -1); },
        [](std::int16_t x) { return x * 2.0; });
    compareOverlaps<std::int32_t, float>(
        false, [](auto src, auto dst, int n) { QZisbConvertUp(src, dst, n, 0); },
        [](std::int32_t x) { return static_cast<float>(x); });
    compareOverlaps<std::int32_t, double>(
        false, [](auto src, auto dst, int n) { QZidbConvertUp(src, dst, n, 0); },
        [](std::int32_t x) { return static_cast<double>(x); });
}

TEST_P(ConvertLevels, OverlappingComplex) {
    Random random;
    // Whole floats, since parts of several could be a not-a-number.
    constexpr int n = 75, room = 8 * n + 64;
    for (int distance = -room; distance <= room; distance += 4) {
        std::vector<std::uint8_t> actual(3 * room + 8 * n);
        const auto values = random.reals<float>(2 * n, -1000.0, 1000.0);
        std::memcpy(actual.data() + room, values.data(), 8 * n);
        auto expected = actual;
        for (int i = 0; i < n; ++i) {
            QZComplexFloat z;
            std::memcpy(&z, expected.data() + room + i * 8, sizeof z);
            const double re = z.re, im = z.im;
            const float power = static_cast<float>(re * re + im * im);
            std::memcpy(expected.data() + room + distance + i * 4, &power, sizeof power);
        }
        QZcsbConvert(reinterpret_cast<const QZComplexFloat *>(actual.data() + room),
                     reinterpret_cast<float *>(actual.data() + room + distance), n, 2);
        ASSERT_EQ(expected, actual) << "distance " << distance << ", seed " << seed();
    }
}

TEST_P(ConvertLevels, LogMagnitudeInPlace) {
    Random random;
    for (std::size_t n = 0; n <= 130; ++n) {
        const auto parts = random.anyReals<float>(2 * n);
        const auto src = complexVector(parts);
        auto actual = parts, expected = parts;
        std::vector<float> separate(n);
        plain.logMagnitude(src.data(), separate.data(), n);
        std::copy(separate.begin(), separate.end(), expected.begin());
        QZcsbConvert(reinterpret_cast<const QZComplexFloat *>(actual.data()), actual.data(),
                     static_cast<std::int32_t>(n), 1 | 4);
        ASSERT_TRUE(sameBits(expected, actual)) << "length " << n << ", seed " << seed();
    }
}

} // namespace
} // namespace qzk::test

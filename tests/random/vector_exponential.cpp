// The errors of the exponentials in lanes stay within the bounds that their users rely on.
#include "support/vector_exponential.hpp"
#include "reference/elementary.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace qzk::test {
namespace {

/// |hi + lo - e^x| / e^x
double relativeError(double x, double hi, double lo = 0.0) {
    const reference::Real exact = reference::powerOfE(x);
    return static_cast<double>(reference::Real(abs(reference::Real((reference::Real(hi) + lo) / exact - 1))));
}

/// Arguments up to `limit`: at the edges between two exponents, where the reduced argument is largest, and of
/// any size.
template <class Check>
void forArguments(double limit, Check check) {
    constexpr double ln2 = 0x1.62e42fefa39efp-1;
    Random random;
    for (const double x : {0.0, -0.0, 1.0, -1.0, limit, -limit, 0x1p-1074, -0x1p-1022})
        check(x);
    const auto exponents = static_cast<std::int64_t>(limit / ln2) - 1;
    for (int round = 0; round < 10000; ++round) {
        const double edge = (static_cast<double>(random.integer(-exponents, exponents)) + 0.5) * ln2;
        check(edge * (1.0 + random.real(-1, 1) * std::ldexp(1.0, -static_cast<int>(10 + random.index(40)))));
        check(random.real(-limit, limit));
        check(random.real(-1, 1));
        check(std::ldexp(random.real(-1, 1), -static_cast<int>(random.index(100))));
    }
}

void testExponential(double (*exponential)(double)) {
    forArguments(700.0, [&](double x) {
        ASSERT_LT(relativeError(x, exponential(x)), 0x1p-49) << std::hexfloat << x << ", seed " << seed();
    });
}

void testPair(ExponentialPair (*exponential)(double)) {
    forArguments(600.0, [&](double x) {
        const ExponentialPair value = exponential(x);
        ASSERT_LT(relativeError(x, value.hi, value.lo), 1.5 * 0x1p-61)
            << std::hexfloat << x << ", seed " << seed();
        ASSERT_EQ(value.hi, value.hi + value.lo);
    });
}

class VectorExponentialLevels : public LevelTest {};
INSTANTIATE_TEST_SUITE_P(Levels, VectorExponentialLevels, testing::ValuesIn(availableLevels()),
                         levelTestName);

TEST_P(VectorExponentialLevels, ErrorsStayWithinTheirBounds) {
    switch (GetParam()) {
    case simd::Level::plain:
        GTEST_SKIP() << "has no vectors";
#if QZK_HIGHEST_LEVEL >= 1
    case simd::Level::sse2:
        return testExponential(sse2::exponential);
#endif
#if QZK_HIGHEST_LEVEL >= 2
    case simd::Level::avx2:
        testExponential(avx2::exponential);
        return testPair(avx2::exponentialPair);
#endif
#if QZK_HIGHEST_LEVEL >= 3
    case simd::Level::avx512:
        testExponential(avx512::exponential);
        return testPair(avx512::exponentialPair);
#endif
    default:
        FAIL();
    }
}

} // namespace
} // namespace qzk::test

// The elementary functions against correctly rounded ones of another origin: equal bits for every argument.
#include "common/elementary.hpp"
#include "reference/elementary.hpp"
#include "support/bits.hpp"
#include "support/extended_precision.hpp"
#include "support/random.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <iomanip>

namespace qzk::test {
namespace {

using Function = double (*)(double);

template <class Argument>
void compare(Function actual, Function expected, int count, Argument argument) {
    Random random;
    for (int i = 0; i < count; ++i) {
        const double x = argument(random);
        const double wanted = expected(x), got = actual(x);
        ASSERT_TRUE(sameBits(wanted, got))
            << std::hexfloat << x << ": expected " << wanted << ", got " << got << ", seed " << seed();
    }
}

double anyFinite(Random &random) {
    double x;
    do
        x = std::bit_cast<double>(random.bits());
    while (!std::isfinite(x));
    return x;
}

double upTo(Random &random, double limit) {
    return random.real(-limit, limit) * std::ldexp(1.0, static_cast<int>(random.integer(-40, 0)));
}

double nearMultipleOfQuarterPi(Random &random) {
    const double multiple = static_cast<double>(random.integer(0, 1 << random.integer(1, 22)));
    const double x = multiple * 0x1.921fb54442d18p-1;
    return std::nextafter(x, random.bits() % 2 != 0 ? 0.0 : HUGE_VAL);
}

TEST(RandomElementary, SineAndCosine) {
    for (const auto &[actual, expected] :
         {std::pair<Function, Function>{sine, reference::sine}, {cosine, reference::cosine}}) {
        compare(actual, expected, 40000, [](Random &random) { return upTo(random, 13.0); });
        compare(actual, expected, 20000, [](Random &random) { return upTo(random, 0x1p20); });
        compare(actual, expected, 20000, nearMultipleOfQuarterPi);
        compare(actual, expected, 10000, anyFinite);
    }
}

TEST(RandomElementary, AnglesOfTablesAndWindows) {
    for (int n = 2; n <= 130; ++n)
        for (int k = 0; k < n; ++k) {
            const double x = k * (6.283185307179586 / (n - 1));
            ASSERT_TRUE(sameBits(reference::cosine(x), cosine(x))) << k << " of " << n;
        }
}

TEST(RandomElementary, Logarithm) {
    compare(log10, reference::log10<double>, 40000,
            [](Random &random) { return std::fabs(anyFinite(random)); });
    compare(log10, reference::log10<double>, 40000, [](Random &random) { return 1.0 + upTo(random, 0.5); });
    compare(log10, reference::log10<double>, 10000,
            [](Random &random) { return 0x1p-1074 * random.real(1.0, 0x1p52); });
}

TEST(RandomElementary, Powers) {
    for (const auto &[actual, expected] : {std::pair<Function, Function>{exp10, reference::exp10},
                                           {exponential, reference::exponential<double>}}) {
        compare(actual, expected, 40000, [](Random &random) { return random.real(-330.0, 312.0); });
        compare(actual, expected, 20000, [](Random &random) { return random.real(-750.0, 712.0); });
        compare(actual, expected, 20000, [](Random &random) { return upTo(random, 8.0); });
        compare(actual, expected, 10000, anyFinite);
    }
}

TEST(RandomElementary, ExponentialsInExtendedPrecision) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    Random random;
    for (int i = 0; i < 40000; ++i) {
        const double limit = i % 4 == 0 ? 11300.0 : i % 4 == 1 ? 800.0 : i % 4 == 2 ? 40.0 : 0.5;
        const long double x = upTo(random, limit) * (1.0L + upTo(random, 0x1p-54));
        const long double wanted = reference::exponential(x), got = exponential(x);
        ASSERT_EQ(wanted, got) << std::hexfloat << x << ", seed " << seed();
    }
}

} // namespace
} // namespace qzk::test

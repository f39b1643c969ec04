// The elementary functions against correctly rounded ones of another origin: equal bits for every argument.
#include "common/elementary.hpp"
#include "support/bits.hpp"
#include "support/random.hpp"

#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <iomanip>

namespace qzk::test {
namespace {

using Function = double (*)(double);
using MpfrFunction = int (*)(mpfr_t, const mpfr_t, mpfr_rnd_t);

class CorrectlyRounded {
public:
    explicit CorrectlyRounded(MpfrFunction function) : function_(function) {
        mpfr_set_emin(-1073);
        mpfr_set_emax(1024);
        mpfr_init2(value_, 53);
    }
    ~CorrectlyRounded() { mpfr_clear(value_); }
    CorrectlyRounded(const CorrectlyRounded &) = delete;
    CorrectlyRounded &operator=(const CorrectlyRounded &) = delete;

    double operator()(double x) {
        mpfr_set_d(value_, x, MPFR_RNDN);
        const int inexact = function_(value_, value_, MPFR_RNDN);
        mpfr_subnormalize(value_, inexact, MPFR_RNDN);
        return mpfr_get_d(value_, MPFR_RNDN);
    }

private:
    MpfrFunction function_;
    mpfr_t value_;
};

template <class Argument>
void compare(Function actual, MpfrFunction expected, int count, Argument argument) {
    CorrectlyRounded reference(expected);
    Random random;
    for (int i = 0; i < count; ++i) {
        const double x = argument(random);
        const double wanted = reference(x), got = actual(x);
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
         {std::pair<Function, MpfrFunction>{sine, mpfr_sin}, {cosine, mpfr_cos}}) {
        compare(actual, expected, 40000, [](Random &random) { return upTo(random, 13.0); });
        compare(actual, expected, 20000, [](Random &random) { return upTo(random, 0x1p20); });
        compare(actual, expected, 20000, nearMultipleOfQuarterPi);
        compare(actual, expected, 10000, anyFinite);
    }
}

TEST(RandomElementary, AnglesOfTablesAndWindows) {
    CorrectlyRounded reference(mpfr_cos);
    for (int n = 2; n <= 130; ++n)
        for (int k = 0; k < n; ++k) {
            const double x = k * (6.283185307179586 / (n - 1));
            ASSERT_TRUE(sameBits(reference(x), cosine(x))) << k << " of " << n;
        }
}

TEST(RandomElementary, Logarithm) {
    compare(log10, mpfr_log10, 40000, [](Random &random) { return std::fabs(anyFinite(random)); });
    compare(log10, mpfr_log10, 40000, [](Random &random) { return 1.0 + upTo(random, 0.5); });
    compare(log10, mpfr_log10, 10000, [](Random &random) { return 0x1p-1074 * random.real(1.0, 0x1p52); });
}

TEST(RandomElementary, Powers) {
    for (const auto &[actual, expected] :
         {std::pair<Function, MpfrFunction>{exp10, mpfr_exp10}, {exponential, mpfr_exp}}) {
        compare(actual, expected, 40000, [](Random &random) { return random.real(-330.0, 312.0); });
        compare(actual, expected, 20000, [](Random &random) { return random.real(-750.0, 712.0); });
        compare(actual, expected, 20000, [](Random &random) { return upTo(random, 8.0); });
        compare(actual, expected, 10000, anyFinite);
    }
}

TEST(RandomElementary, ExponentialsInExtendedPrecision) {
    volatile long double small = 0x1p-60L;
    if (1.0L + small == 1.0L) GTEST_SKIP() << "no extended precision here, as under valgrind";
    mpfr_set_emin(-16381);
    mpfr_set_emax(16384);
    mpfr_t value;
    mpfr_init2(value, 64);
    Random random;
    for (int i = 0; i < 40000; ++i) {
        const double limit = i % 4 == 0 ? 11300.0 : i % 4 == 1 ? 800.0 : i % 4 == 2 ? 40.0 : 0.5;
        const long double x = upTo(random, limit) * (1.0L + upTo(random, 0x1p-54));
        mpfr_set_ld(value, x, MPFR_RNDN);
        mpfr_exp(value, value, MPFR_RNDN);
        const long double wanted = mpfr_get_ld(value, MPFR_RNDN), got = exponential(x);
        ASSERT_EQ(wanted, got) << std::hexfloat << x << ", seed " << seed();
    }
    mpfr_clear(value);
}

} // namespace
} // namespace qzk::test

#include "common/elementary.hpp"
#include "support/bits.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qzk::test {
namespace {

using Limits = std::numeric_limits<double>;

constexpr double pi = 0x1.921fb54442d18p+1;

TEST(Elementary, SineAndCosineValues) {
    EXPECT_EQ(0x1.aed548f090ceep-1, sine(1.0));
    EXPECT_EQ(0x1.14a280fb5068cp-1, cosine(1.0));
    EXPECT_EQ(0x1.6a09e667f3bccp-1, sine(pi / 4));
    EXPECT_EQ(0x1.6a09e667f3bcdp-1, cosine(pi / 4));
    EXPECT_EQ(0x1.1a62633145c07p-54, cosine(pi / 2));
    EXPECT_EQ(0x1.1a62633145c07p-53, sine(pi));
    EXPECT_EQ(-1.0, cosine(pi));
    EXPECT_EQ(-1.0, cosine(-pi));
    EXPECT_EQ(-0x1.1a62633145c07p-53, sine(-pi));
}

TEST(Elementary, SineAndCosineSpecialValues) {
    EXPECT_TRUE(sameBits(0.0, sine(0.0)));
    EXPECT_TRUE(sameBits(-0.0, sine(-0.0)));
    EXPECT_EQ(1.0, cosine(-0.0));
    EXPECT_EQ(Limits::denorm_min(), sine(Limits::denorm_min()));
    EXPECT_EQ(1.0, cosine(Limits::min()));
    for (const double x : {Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN()}) {
        EXPECT_TRUE(std::isnan(sine(x)));
        EXPECT_TRUE(std::isnan(cosine(x)));
    }
}

TEST(Elementary, LogarithmValues) {
    EXPECT_EQ(0x1.34413509f79ffp-2, log10(2.0));
    EXPECT_EQ(-0x1.34413509f79ffp-2, log10(0.5));
    EXPECT_EQ(-0x1.434e6420f4374p+8, log10(Limits::denorm_min()));
    EXPECT_TRUE(sameBits(0.0, log10(1.0)));
    double power = 1.0;
    for (int exponent = 0; exponent <= 22; ++exponent, power *= 10.0)
        EXPECT_EQ(exponent, log10(power));
}

TEST(Elementary, LogarithmSpecialValues) {
    EXPECT_EQ(-Limits::infinity(), log10(0.0));
    EXPECT_EQ(-Limits::infinity(), log10(-0.0));
    EXPECT_EQ(Limits::infinity(), log10(Limits::infinity()));
    for (const double x : {-1.0, -Limits::infinity(), Limits::quiet_NaN()})
        EXPECT_TRUE(std::isnan(log10(x)));
}

TEST(Elementary, PowerValues) {
    EXPECT_EQ(0x1.94c583ada5b53p+1, exp10(0.5));
    EXPECT_EQ(0x1.5bf0a8b145769p+1, exponential(1.0));
    EXPECT_EQ(1e-300, exp10(-300.0));
    EXPECT_EQ(1e-320, exp10(-320.0));
    double power = 1.0;
    for (int exponent = 0; exponent <= 22; ++exponent, power *= 10.0)
        EXPECT_EQ(power, exp10(exponent));
}

TEST(Elementary, PowerSpecialValues) {
    for (double (*const function)(double) :
         {static_cast<double (*)(double)>(exp10), static_cast<double (*)(double)>(exponential)}) {
        EXPECT_EQ(1.0, function(0.0));
        EXPECT_EQ(1.0, function(-0.0));
        EXPECT_EQ(1.0, function(Limits::denorm_min()));
        for (const double x : {1000.0, Limits::max(), Limits::infinity()}) {
            EXPECT_EQ(Limits::infinity(), function(x));
            EXPECT_TRUE(sameBits(0.0, function(-x)));
        }
        EXPECT_TRUE(std::isnan(function(Limits::quiet_NaN())));
    }
}

TEST(Elementary, ExponentialInExtendedPrecision) {
    using ExtendedLimits = std::numeric_limits<long double>;
    volatile long double small = 0x1p-60L;
    if (1.0L + small != 1.0L) {
        EXPECT_EQ(2.71828182845904523536L, exponential(1.0L));
        EXPECT_EQ(0.60653065971263342360379953499118L, exponential(-0.5L));
        EXPECT_TRUE(exponential(1000.0L) > 0x1p1442L && exponential(-1000.0L) < 0x1p-1442L);
        EXPECT_TRUE(exponential(-1000.0L) > 0.0L);
    }
    EXPECT_EQ(1.0L, exponential(0.0L));
    EXPECT_EQ(1.0L, exponential(-0.0L));
    for (const long double x : {12000.0L, ExtendedLimits::max(), ExtendedLimits::infinity()}) {
        EXPECT_EQ(ExtendedLimits::infinity(), exponential(x));
        EXPECT_EQ(0.0L, exponential(-x));
    }
    EXPECT_TRUE(std::isnan(exponential(ExtendedLimits::quiet_NaN())));
}

TEST(DoubleDouble, RoundsOnceToFloat) {
    // 1 + 2^-24 is the middle between two floats; what lies below it in hi decides.
    EXPECT_EQ(1.0f, roundedToFloat(0x1.000001p0));
    EXPECT_EQ(0x1.000002p0f, roundedToFloat({0x1.000001p0, 0x1p-80}));
    EXPECT_EQ(1.0f, roundedToFloat({0x1.000001p0, -0x1p-80}));
    EXPECT_EQ(-0x1.000002p0f, roundedToFloat({-0x1.000001p0, -0x1p-80}));
    EXPECT_EQ(-1.0f, roundedToFloat({-0x1.000001p0, 0x1p-80}));
    EXPECT_EQ(0x1.000002p0f, roundedToFloat({0x1.000003p0, -0x1p-80}));
    EXPECT_EQ(0x1.000004p0f, roundedToFloat(0x1.000003p0));
    EXPECT_TRUE(sameBits(-0.0f, roundedToFloat(-0.0)));
}

} // namespace
} // namespace qzk::test

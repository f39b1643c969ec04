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
    EXPECT_EQ(1e-300, exp10(-300.0));
    EXPECT_EQ(1e-320, exp10(-320.0));
    double power = 1.0;
    for (int exponent = 0; exponent <= 22; ++exponent, power *= 10.0)
        EXPECT_EQ(power, exp10(exponent));
}

TEST(Elementary, PowerSpecialValues) {
    EXPECT_EQ(1.0, exp10(0.0));
    EXPECT_EQ(1.0, exp10(-0.0));
    EXPECT_EQ(1.0, exp10(Limits::denorm_min()));
    for (const double x : {1000.0, Limits::max(), Limits::infinity()}) {
        EXPECT_EQ(Limits::infinity(), exp10(x));
        EXPECT_TRUE(sameBits(0.0, exp10(-x)));
    }
    EXPECT_TRUE(std::isnan(exp10(Limits::quiet_NaN())));
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

// The references' elementary functions themselves, so that no error of theirs can hide one of the library:
// conversions against integers and neighbours, values against power series in so many bits that nothing needs
// to be reduced cleverly, and digits known from elsewhere.
#include "reference/elementary.hpp"
#include "support/bits.hpp"
#include "support/extended_precision.hpp"
#include "support/random.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <utility>

namespace qzk::test {
namespace {

using reference::Real;

template <class T>
class ReferenceConversion : public testing::Test {
protected:
    using Limits = std::numeric_limits<T>;

    void SetUp() override {
        if (Limits::digits == 64 && !hasExtendedPrecision())
            GTEST_SKIP() << "no extended precision here, as under valgrind";
    }

    /// significand * 2^exponent
    struct Parts {
        std::uint64_t significand;
        int exponent;

        T value() const { return std::ldexp(static_cast<T>(significand), exponent); }
    };

    /// Any finite number of T, often subnormal, with many zeros or ones.
    static Parts anyParts(Random &random) {
        std::uint64_t significand = random.bits() >> (64 - Limits::digits);
        if (random.bits() % 4 == 0) significand >>= random.index(Limits::digits);
        if (random.bits() % 4 == 0) significand ^= ~std::uint64_t{0} >> (64 - Limits::digits);
        constexpr int lowest = Limits::min_exponent - Limits::digits,
                      highest = Limits::max_exponent - Limits::digits;
        const int lowestHere =
            random.bits() % 4 == 0 ? lowest : static_cast<int>(random.integer(lowest, highest));
        return {significand, static_cast<int>(random.integer(lowestHere, std::min(lowestHere + 3, highest)))};
    }

    static bool isEven(T x) {
        unsigned char lowest;
        std::memcpy(&lowest, &x, 1);
        return lowest % 2 == 0;
    }
};
using Targets = testing::Types<float, double, long double>;
TYPED_TEST_SUITE(ReferenceConversion, Targets);

TYPED_TEST(ReferenceConversion, IsExactInBothDirections) {
    Random random;
    for (int run = 0; run < 20000; ++run) {
        const auto parts = TestFixture::anyParts(random);
        const Real exact = ldexp(Real(parts.significand), parts.exponent);
        for (const int sign : {1, -1}) {
            const TypeParam x = static_cast<TypeParam>(sign) * parts.value();
            ASSERT_EQ(Real(sign * exact), Real(x)) << x << ", seed " << seed();
            ASSERT_EQ(x, reference::nearest<TypeParam>(Real(x))) << "seed " << seed();
        }
    }
}

TYPED_TEST(ReferenceConversion, RoundsToTheNearestAndTiesToEven) {
    Random random;
    for (int run = 0; run < 20000; ++run) {
        const TypeParam below = TestFixture::anyParts(random).value(),
                        above = std::nextafter(below, std::numeric_limits<TypeParam>::infinity());
        const Real middle = std::isinf(above)
                                ? Real(below) + ldexp(Real(1), std::numeric_limits<TypeParam>::max_exponent -
                                                                   std::numeric_limits<TypeParam>::digits - 1)
                                : Real(Real(below) + Real(above)) / 2;
        const Real bit = ldexp(middle, -100);
        const TypeParam even = TestFixture::isEven(below) ? below : above;
        for (const int sign : {1, -1}) {
            const auto s = static_cast<TypeParam>(sign);
            ASSERT_EQ(s * even, reference::nearest<TypeParam>(Real(sign * middle)))
                << below << ", seed " << seed();
            ASSERT_EQ(s * below, reference::nearest<TypeParam>(Real(sign * (middle - bit))))
                << "seed " << seed();
            ASSERT_EQ(s * above, reference::nearest<TypeParam>(Real(sign * (middle + bit))))
                << "seed " << seed();
        }
    }
}

TYPED_TEST(ReferenceConversion, AtTheEndsOfTheRange) {
    using Limits = std::numeric_limits<TypeParam>;
    const auto nearest = [](const Real &x) { return reference::nearest<TypeParam>(x); };
    const Real tiny = Limits::denorm_min(), end = ldexp(Real(1), Limits::max_exponent);
    EXPECT_EQ(0, nearest(tiny / 2));
    EXPECT_EQ(Limits::denorm_min(), nearest(tiny / 2 + ldexp(tiny, -90)));
    EXPECT_EQ(0, nearest(ldexp(tiny, -20000)));
    EXPECT_EQ(2 * Limits::denorm_min(), nearest(tiny * 3 / 2));
    EXPECT_EQ(Limits::max(), nearest(end - ldexp(end, -Limits::digits)));
    EXPECT_EQ(Limits::infinity(), nearest(end - ldexp(end, -Limits::digits - 1)));
    EXPECT_EQ(-Limits::infinity(), nearest(ldexp(-end, 20000)));
    EXPECT_EQ(Limits::infinity(), nearest(Real(Limits::infinity())));
    EXPECT_TRUE(std::isnan(nearest(Real(Limits::quiet_NaN()))));
    EXPECT_TRUE(std::signbit(nearest(Real(-TypeParam(0)))));
    EXPECT_FALSE(std::signbit(nearest(Real(TypeParam(0)))));
}

TEST(ReferenceElementary, RefusesWhatItCannotRound) {
    using reference::rounded;
    const Real middle = 1 + ldexp(Real(1), -53), bit = ldexp(Real(1), -reference::correctBits);
    EXPECT_THROW(rounded<double>(middle), std::range_error);
    EXPECT_THROW(rounded<double>(Real(middle + bit / 2)), std::range_error);
    EXPECT_THROW(rounded<double>(Real(middle - bit / 2)), std::range_error);
    EXPECT_EQ(1 + 0x1p-52, rounded<double>(Real(middle + 2 * bit)));
    EXPECT_EQ(1, rounded<double>(Real(middle - 2 * bit)));
    EXPECT_EQ(0, rounded<double>(Real(0)));
}

/// Holds the squarings that a power takes, and the turns of the largest double.
using Long = reference::Binary<1600>;

/// e^x by its power series at x / 2^n, squared n times.
Long slowExponential(const Long &x) {
    constexpr int n = 30;
    const Long small = ldexp(x, -n);
    Long sum = 1, term = 1;
    for (int k = 1; k < 60; ++k) {
        term = term * small / k;
        sum += term;
    }
    for (int i = 0; i < n; ++i)
        sum *= sum;
    return sum;
}

struct Turn {
    Long sine, cosine;
};

/// Sine and cosine of x by their power series at x / 2^n, the angle doubled n times.
Turn slowTurn(double x) {
    const int n = std::max(0, x == 0.0 ? 0 : std::ilogb(x) + 20);
    const Long small = ldexp(Long(x), -n), square = small * small;
    Turn turn = {small, 1};
    Long sine = small, cosine = 1;
    for (int k = 1; k < 80; ++k) {
        cosine *= -square / (2 * k * (2 * k - 1));
        sine *= -square / (2 * k * (2 * k + 1));
        turn.cosine += cosine;
        turn.sine += sine;
    }
    for (int i = 0; i < n; ++i)
        turn = {2 * turn.sine * turn.cosine, turn.cosine * turn.cosine - turn.sine * turn.sine};
    return turn;
}

/// By way of doubles, since GCC 12 warns of Boost's own way.
Long widened(const Real &x) {
    const auto high = static_cast<double>(x), middle = static_cast<double>(Real(x - high)),
               low = static_cast<double>(Real(x - high - middle));
    return Long(high) + middle + low;
}

/// Whether x is as correct as is promised.
testing::AssertionResult isCorrect(const Real &x, const Long &exact) {
    const Real error = x - Real(exact);
    if (abs(error) <= ldexp(Real(abs(x)), -reference::correctBits)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "relative error " << Real(error / x) << ", seed " << seed();
}

TEST(ReferenceElementary, PowersAreCorrectToTheirBits) {
    Random random;
    const Long ln10 = log(Long(10));
    ASSERT_LT(abs(Long(slowExponential(ln10) / 10 - 1)), ldexp(Long(1), -500));
    const auto check = [&](double x) {
        ASSERT_TRUE(isCorrect(reference::powerOfE(x), slowExponential(x))) << x;
        ASSERT_TRUE(isCorrect(reference::powerOf10(x), slowExponential(x * ln10))) << x;
    };
    for (int run = 0; run < 300; ++run) {
        check(random.real(-330.0, 330.0));
        check(random.real(-1.0, 1.0));
        check(std::ldexp(random.real(-1.0, 1.0), -static_cast<int>(random.index(200))));
        const double large = random.real(-11500.0, 11500.0);
        ASSERT_TRUE(isCorrect(reference::powerOfE(large), slowExponential(large))) << large;
    }
}

TEST(ReferenceElementary, LogarithmsAreCorrectToTheirBits) {
    Random random;
    for (int run = 0; run < 800; ++run) {
        const double range = std::ldexp(1.0, -static_cast<int>(random.index(53)));
        const double x =
            run % 2 == 0 ? std::ldexp(random.real(0.5, 1.0), static_cast<int>(random.integer(-1073, 1024)))
                         : 1.0 + range * random.real(-0.5, 1.0);
        const Real logarithm = reference::logarithm(x);
        // One step of Newton's method from a value that is correct to a hundred bits doubles them.
        const Long wide = widened(logarithm);
        ASSERT_TRUE(isCorrect(logarithm, wide + (x / slowExponential(wide) - 1))) << std::hexfloat << x;
    }
}

TEST(ReferenceElementary, TurnsAreCorrectToTheirBits) {
    Random random;
    for (int run = 0; run < 400; ++run) {
        double x = random.real(-1.0, 1.0);
        if (run % 4 == 1) x = std::ldexp(x, static_cast<int>(random.index(1025)));
        if (run % 4 == 2) x = std::ldexp(x, -static_cast<int>(random.index(1025)));
        // Next to multiples of a quarter of pi.
        if (run % 4 == 3)
            x = std::nextafter(static_cast<double>(random.index(1000000)) * 0x1.921fb54442d18p-1,
                               random.real(-1, 2e6));
        const Turn turn = slowTurn(x);
        for (int quarters = 0; quarters < 4; ++quarters) {
            const Long exact = (quarters % 2 == 0 ? turn.sine : turn.cosine) * (quarters < 2 ? 1 : -1);
            ASSERT_TRUE(isCorrect(reference::sineOfTurned(x, quarters), exact))
                << std::hexfloat << x << ", " << quarters;
        }
    }
}

TEST(ReferenceElementary, KnownDigits) {
    const auto expect = [](const char *digits, const Real &x) {
        EXPECT_LT(abs(Real(x / Real(digits) - 1)), ldexp(Real(1), -reference::correctBits)) << digits;
    };
    expect("2.7182818284590452353602874713526624977572", reference::powerOfE(1));
    expect("0.36787944117144232159552377016146086744581", reference::powerOfE(-1));
    expect("3.1622776601683793319988935444327185337196", reference::powerOf10(0.5));
    expect("2.3025850929940456840179914546843642076011", reference::logarithm(10));
    expect("0.84147098480789650665250232163029899962256", reference::sineOfTurned(1, 0));
    expect("0.54030230586813971740093660744297660373231", reference::sineOfTurned(1, 1));
    expect("-0.85220084976718880177270589375302936826176", reference::sineOfTurned(1e22, 0));
    expect("0.52321478539513894549759447338470949214092", reference::sineOfTurned(1e22, 1));
    expect("0.00496195478918406179050267119707470575076470",
           reference::sineOfTurned(std::numeric_limits<double>::max(), 0));
}

TEST(ReferenceElementary, ExactValuesTiesAndSpecialValues) {
    using namespace reference;
    constexpr double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(1e22, reference::exp10(22.0));
    EXPECT_EQ(1e23, reference::exp10(23.0)) << "a tie";
    EXPECT_EQ(1e-320, reference::exp10(-320.0));
    EXPECT_EQ(0.0, reference::exp10(-400.0));
    EXPECT_EQ(infinity, reference::exp10(1e300));
    EXPECT_EQ(1.0, exponential(0.0));
    EXPECT_EQ(infinity, exponential(infinity));
    EXPECT_EQ(0.0L, exponential(-12000.0L));
    EXPECT_TRUE(std::isnan(exponential(std::numeric_limits<double>::quiet_NaN())));
    EXPECT_TRUE(sameBits(0.0, reference::log10(1.0)));
    EXPECT_EQ(-5.0, reference::log10(1e-5)) << "not exact, but nearest";
    EXPECT_EQ(22.0f, reference::log10<float>(1e22));
    EXPECT_EQ(-infinity, reference::log10(0.0));
    EXPECT_EQ(infinity, reference::log10(infinity));
    EXPECT_TRUE(std::isnan(reference::log10(-1.0)));
    EXPECT_EQ(1.0, cosine(0.0));
    EXPECT_TRUE(sameBits(0.0, sine(0.0)));
    EXPECT_TRUE(sameBits(-0.0, sine(-0.0)));
    EXPECT_EQ(-0x1p-1074, sine(-0x1p-1074));
    EXPECT_TRUE(std::isnan(cosine(infinity)));
    EXPECT_TRUE(std::isnan(sine(-infinity)));
}

} // namespace
} // namespace qzk::test

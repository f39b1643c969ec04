#include "common/elementary.hpp"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace qzk {
namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

constexpr DoubleDouble ln10 = {0x1.26bb1bbb55516p+1, -0x1.f48ad494ea3e9p-53};
constexpr DoubleDouble inverseLn10 = {0x1.bcb7b1526e50ep-2, 0x1.95355baaafad3p-57};
constexpr DoubleDouble log10Of2 = {0x1.34413509f79ffp-2, -0x1.9dc1da994fd21p-59};
constexpr DoubleDouble halfPi = {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54};
constexpr double quarterPi = 0x1.921fb54442d18p-1;

/// Coefficients of a power series: term(k) for k = 0 .. n - 1, evaluated by the compiler.
template <std::size_t n>
struct Series {
    DoubleDouble c[n];

    constexpr explicit Series(DoubleDouble (*term)(int k)) {
        for (std::size_t k = 0; k < n; ++k)
            c[k] = term(static_cast<int>(k));
    }
};

constexpr DoubleDouble inverseFactorial(int n) {
    DoubleDouble product = 1.0;
    for (int i = 2; i <= n; ++i)
        product = product / static_cast<double>(i);
    return product;
}

constexpr double alternating(int k) { return k % 2 == 0 ? 1.0 : -1.0; }

// The first term left out of each series and the rounding of the part in double are below 2^-106 of the
// result: sine and cosine for |x| <= pi/4, the exponential for |x| <= ln(2)/2, the inverse hyperbolic tangent
// for |x| <= 3 - 2 sqrt(2).
constexpr Series<14> sineSeries([](int k) { return alternating(k) * inverseFactorial(2 * k + 1); });
constexpr std::size_t sineFromDouble = 8;
constexpr Series<15> cosineSeries([](int k) { return alternating(k) * inverseFactorial(2 * k); });
constexpr std::size_t cosineFromDouble = 9;
constexpr Series<24> exponentialSeries(inverseFactorial);
constexpr std::size_t exponentialFromDouble = 14;
constexpr Series<21> atanhSeries([](int k) { return DoubleDouble(1.0) / static_cast<double>(2 * k + 1); });
constexpr std::size_t atanhFromDouble = 10;

// An angle is reduced in fixed point. Its limbs have 32 bits, the most significant one first.
constexpr int limbBits = 32;
constexpr int windowLimbs = 8;

// The bits of 2/pi after the binary point, behind two limbs of zeros. The last window of the largest double
// starts 969 bits after the point.
constexpr int leadingZeros = 2 * limbBits;
constexpr std::uint32_t twoOverPi[] = {
    0x00000000, 0x00000000, 0xa2f9836e, 0x4e441529, 0xfc2757d1, 0xf534ddc0, 0xdb629599,
    0x3c439041, 0xfe5163ab, 0xdebbc561, 0xb7246e3a, 0x424dd2e0, 0x06492eea, 0x09d1921c,
    0xfe1deb1c, 0xb129a73e, 0xe88235f5, 0x2ebb4484, 0xe99c7026, 0xb45f7e41, 0x3991d639,
    0x835339f4, 0x9c845f8b, 0xbdf9283b, 0x1ff897ff, 0xde05980f, 0xef2f118b, 0x5a0a6d1f,
    0x6d367ecf, 0x27cb09b7, 0x4f463f66, 0x9e5fea2d, 0x7527bac7, 0xebe5f17b, 0x3d0739f7,
    0x8a5292ea, 0x6bfb5fb1, 0x1f8d5d08, 0x56033046, 0xfc7b6bab, 0xf0cfbc20, 0x9af4361d,
};

/// 32 bits of twoOverPi from this bit on.
constexpr std::uint32_t bitsOfTwoOverPi(int firstBit) {
    const int limb = firstBit / limbBits, shift = firstBit % limbBits;
    const std::uint64_t pair = std::uint64_t{twoOverPi[limb]} << limbBits | twoOverPi[limb + 1];
    return static_cast<std::uint32_t>(pair >> (limbBits - shift));
}

/// angle = quadrant * pi/2 + rest, |rest| <= pi/4 up to rounding.
struct ReducedAngle {
    unsigned quadrant;
    DoubleDouble rest;
};

/// The fraction of limbs after the binary point. Five limbs from the first that is not zero hold 129 bits.
DoubleDouble fractionOf(const std::uint32_t (&limbs)[windowLimbs]) {
    int first = 0;
    while (first < windowLimbs - 1 && limbs[first] == 0)
        ++first;
    const int last = first + 4 < windowLimbs ? first + 4 : windowLimbs - 1;
    DoubleDouble sum;
    for (int i = last; i >= first; --i)
        sum = sum + std::ldexp(static_cast<double>(limbs[i]), -limbBits * (i + 1));
    return sum;
}

/// For finite x >= 0. With x = mantissa * 2^exponent, the bits of 2/pi before the window, which starts at the
/// bit of weight 2^(1 - exponent), only add multiples of 4 quadrants. What follows the 256 bits of the window
/// is below 2^(53 - 254) quadrants; no double but 0 is nearer than 2^-62 quadrants to a multiple of pi/2, so
/// the rest has a relative error below 2^-139 here and 2^-102 after the product.
ReducedAngle reduceAngle(double x) {
    if (x <= quarterPi) return {0, x};
    int exponent;
    const auto mantissa = static_cast<std::uint64_t>(std::ldexp(std::frexp(x, &exponent), 53));
    exponent -= 53;

    std::uint32_t product[windowLimbs] = {};
    const std::uint32_t factors[] = {static_cast<std::uint32_t>(mantissa),
                                     static_cast<std::uint32_t>(mantissa >> limbBits)};
    for (int shift = 0; shift < 2; ++shift) {
        std::uint64_t carry = 0;
        for (int i = windowLimbs - 1; i >= shift; --i) {
            const int bit = leadingZeros + exponent - 2 + limbBits * i;
            carry += std::uint64_t{bitsOfTwoOverPi(bit)} * factors[shift] + product[i - shift];
            product[i - shift] = static_cast<std::uint32_t>(carry);
            carry >>= limbBits;
        }
    }

    // Two bits of quadrant, then the fraction; one of a half or more belongs to the next quadrant.
    unsigned quadrant = product[0] >> (limbBits - 2);
    for (int i = 0; i < windowLimbs; ++i)
        product[i] = product[i] << 2 | (i + 1 < windowLimbs ? product[i + 1] >> (limbBits - 2) : 0);
    const bool negative = product[0] >> (limbBits - 1) != 0;
    if (negative) {
        ++quadrant;
        std::uint64_t carry = 1;
        for (int i = windowLimbs - 1; i >= 0; --i) {
            carry += ~product[i];
            product[i] = static_cast<std::uint32_t>(carry);
            carry >>= limbBits;
        }
    }
    const DoubleDouble rest = fractionOf(product) * halfPi;
    return {quadrant % 4, negative ? -rest : rest};
}

double sineOfQuadrant(ReducedAngle angle) {
    const DoubleDouble square = angle.rest * angle.rest;
    const DoubleDouble value = angle.quadrant % 2 == 0
                                   ? angle.rest * polynomial(sineSeries.c, sineFromDouble, square)
                                   : polynomial(cosineSeries.c, cosineFromDouble, square);
    return angle.quadrant < 2 ? value.hi : -value.hi;
}

/// A base b of powers: b^x = 2^n * e^((x - n log_b(2)) ln(b)), n being the nearest integer to x log2(b).
/// log_b(2) is the sum of three parts.
struct Base {
    double log2OfBase;
    double logarithmOf2[3];
    DoubleDouble naturalLogarithm;
};

constexpr Base base10 = {
    0x1.a934f0979a371p+1, {0x1.34413509f7800p-2, 0x1.fef311f12b000p-46, 0x1.ac0b7c917826bp-89}, ln10};
constexpr Base baseE = {
    0x1.71547652b82fep+0, {0x1.62e42fefa3800p-1, 0x1.ef35793c76000p-45, 0x1.cc01f97b57a08p-87}, 1.0};

/// value * 2^exponent, with value between sqrt(1/2) and sqrt(2) up to rounding.
struct Power {
    DoubleDouble value;
    int exponent;
};

/// base^x for |x| log2(base) < 2^15; relative error below 2^-95. The sum of the parts of log_b(2) is exact to
/// 2^-135, of which n times as much is lost.
Power powerOf(const Base &base, DoubleDouble x) {
    const double n = std::nearbyint(x.hi * base.log2OfBase);
    DoubleDouble rest = x;
    for (const double part : base.logarithmOf2)
        rest = rest - twoProduct(n, part);
    return {polynomial(exponentialSeries.c, exponentialFromDouble, rest * base.naturalLogarithm),
            static_cast<int>(n)};
}

/// value * 2^exponent rounded once, gradual underflow included. Each ldexp is exact or overflows, since how
/// it rounds is a matter of the C library.
double rounded(Power power) {
    const int n = power.exponent;
    constexpr int lowestExponent = std::numeric_limits<double>::min_exponent - 1;
    if (n > lowestExponent || (n == lowestExponent && power.value.hi >= 1.0))
        return std::ldexp(power.value.hi, n);
    // Next to 2^52 units of the smallest subnormal number, the sum is rounded to whole units.
    const double offset = std::ldexp(0x1p52, -1074 - n);
    return std::ldexp((DoubleDouble(offset) + power.value).hi - offset, n);
}

double power(const Base &base, double x) {
    constexpr double beyondAllExponents = 1100.0;
    if (!(std::fabs(x * base.log2OfBase) < beyondAllExponents)) return x != x ? x : x > 0.0 ? infinity : 0.0;
    return rounded(powerOf(base, x));
}

} // namespace

double sine(double x) {
    // Below 2^-26 the sine is nearer to x than half a unit in the last place on either side.
    if (!(std::fabs(x) > 0x1p-26)) return x;
    if (std::fabs(x) == infinity) return notANumber;
    const double magnitude = sineOfQuadrant(reduceAngle(std::fabs(x)));
    return x < 0.0 ? -magnitude : magnitude;
}

double cosine(double x) {
    if (x != x) return x;
    if (std::fabs(x) == infinity) return notANumber;
    const ReducedAngle angle = reduceAngle(std::fabs(x));
    return sineOfQuadrant({(angle.quadrant + 1) % 4, angle.rest});
}

DoubleDouble log10Extended(double x) {
    // x = m * 2^exponent with m between sqrt(1/2) and sqrt(2), ln(m) = 2 atanh((m - 1) / (m + 1)).
    constexpr double sqrtHalf = 0x1.6a09e667f3bcdp-1;
    int exponent;
    double m = std::frexp(x, &exponent);
    if (m < sqrtHalf) {
        m *= 2.0;
        --exponent;
    }
    const DoubleDouble quotient = DoubleDouble(m - 1.0) / twoSum(m, 1.0);
    const DoubleDouble atanh = quotient * polynomial(atanhSeries.c, atanhFromDouble, quotient * quotient);
    return log10Of2 * static_cast<double>(exponent) + (atanh * 2.0) * inverseLn10;
}

double log10(double x) {
    if (x != x) return x;
    if (x == 0.0) return -infinity;
    if (x < 0.0) return notANumber;
    return x == infinity ? x : log10Extended(x).hi;
}

double exp10(double x) { return power(base10, x); }
double exponential(double x) { return power(baseE, x); }

long double exponential(long double x) {
    constexpr long double beyondAllExponents = 11500.0L;
    if (!(std::fabs(x) < beyondAllExponents)) return x != x ? x : x > 0.0L ? HUGE_VALL : 0.0L;
    const auto high = static_cast<double>(x);
    const Power power = powerOf(baseE, {high, static_cast<double>(x - high)});
    return std::ldexp(static_cast<long double>(power.value.hi) + power.value.lo, power.exponent);
}

} // namespace qzk

// Logarithms of the lanes of a vector, which settle all but a few of them.
#pragma once

#include "simd/vec.hpp"

namespace qzk::simd {
namespace {

#if QZK_SIMD_LEVEL == 1
QZK_INLINE unsigned signBits(Vec<double> x) { return static_cast<unsigned>(_mm_movemask_pd((__m128d)x)); }
#elif QZK_SIMD_LEVEL == 2
QZK_INLINE unsigned signBits(Vec<double> x) { return static_cast<unsigned>(_mm256_movemask_pd((__m256d)x)); }
#else
QZK_INLINE unsigned signBits(Vec<double> x) { return _mm512_movepi64_mask((__m512i)x); }
#endif

// factor * log10(x) with a relative error below 2^-44, factor being 1 or 1/2, and the lanes where that does
// not settle the float, one bit each.
//
// The rounded value is right unless it lies within its error of the middle between two floats. A relative
// error of 2^-44 is below 2^9 units in the last place of the double; less than 2^10 from a middle, about once
// in 2^18 values, the definition decides.
struct ApproximateLogarithm {
    Vec<double> value;
    unsigned undecided;
};

// The middle, in the 29 bits that a double has more than a float.
constexpr std::int64_t middle = std::int64_t{1} << 28, belowFloat = 2 * middle - 1, band = 1 << 10;
constexpr double log10Of2 = 0x1.34413509f79ffp-2;

template <std::size_t n>
QZK_INLINE Vec<double> polynomial(const double (&c)[n], double factor, Vec<double> x) {
    Vec<double> sum = splat(c[n - 1] * factor);
    for (std::size_t k = n - 1; k-- > 0;)
        sum = multiplyAdd(sum, x, splat(c[k] * factor));
    return sum;
}

#if QZK_SIMD_LEVEL == 3

// With m in [3/4, 3/2) and 2^floor(log2(x)) = 2^e, x is m * 2^e, or m * 2^(e + 1) where m is below 1. Sixteen
// cells of x's mantissa have a reciprocal c, so that r = m c - 1 is in [-1/32, 1/16], and
// log10(x) = e log10(2) + t + log10(1 + r), t = -log10(c), with another log10(2) where m is below 1. The
// instructions give e and m of 0, infinities and not-a-numbers so that the sum is the result for these too.
//
// Bound: the polynomial interpolates log10(1 + r) / r at the eight Chebyshev points of [-1/32, 1/16]; the
// error is at most 2 (3/128)^8 times the eighth divided derivative, which is below (31/32)^-9 / 9 of
// log10(e), and the function is above 0.96 log10(e): together 2^-45.0, relative. In the two cells next to 1,
// c is 1: there r is exact and, when x is next to 1, e log10(2) + t is exactly 0, so that only relative
// roundings of some 2^-52 come on top. Elsewhere the result is above 2^-6.2 and the roundings of log10(2), t
// and the sums are some 2^-53 of it and of the numbers below 1: less than 2^-46.
constexpr double reciprocals[] = {1.0,       0x1.d4p-1, 0x1.bap-1, 0x1.a4p-1, 0x1.9p-1,  0x1.7ep-1,
                                  0x1.6cp-1, 0x1.5cp-1, 0x1.4ep+0, 0x1.41p+0, 0x1.35p+0, 0x1.2ap+0,
                                  0x1.1fp+0, 0x1.16p+0, 0x1.0dp+0, 1.0};
constexpr double cellLogarithms[] = {0.0,
                                     0x1.3faf7c663060ep-5,
                                     0x1.0585283764178p-4,
                                     0x1.605735ee985f1p-4,
                                     0x1.b721cd17157e3p-4,
                                     0x1.0484e4942aa43p-3,
                                     0x1.2f7301cf4e87bp-3,
                                     0x1.576e3b0bde0a7p-3,
                                     0x1.7bf3bde099f30p-3,
                                     0x1.9f433807e7836p-3,
                                     0x1.c12660c730d0cp-3,
                                     0x1.e163d527e68cfp-3,
                                     0x1.016bdf6a18017p-2,
                                     0x1.0f972f87ff3d6p-2,
                                     0x1.1e39e209bd0b0p-2,
                                     log10Of2};
constexpr double coefficients[] = {0x1.bcb7b1526e590p-2,  -0x1.bcb7b1527386dp-3, 0x1.287a7633010eep-3,
                                   -0x1.bcb7b0336284cp-4, 0x1.63c66ae05282fp-4,  -0x1.2883b4e4b5246p-4,
                                   0x1.fb7289b7c6c18p-5,  -0x1.8fa674dfe32b6p-5};

QZK_INLINE Vec<double> lookUp(const double (&table)[16], double factor, __m512i index) {
    const auto low = (__m512d)(load(table) * factor), high = (__m512d)(load(table + 8) * factor);
    return (Vec<double>)_mm512_permutex2var_pd(low, index, high);
}

QZK_INLINE ApproximateLogarithm approximateLogarithm(Vec<double> x, double factor) {
    const auto e = (Vec<double>)_mm512_getexp_pd((__m512d)x);
    const auto m = (Vec<double>)_mm512_getmant_pd((__m512d)x, _MM_MANT_NORM_p75_1p5, _MM_MANT_SIGN_src);
    const __m512i cell = _mm512_srli_epi64((__m512i)x, 48);
    const Vec<double> r = multiplyAdd(m, lookUp(reciprocals, 1.0, cell), splat(-1.0));
    const Vec<double> ofCell = multiplyAdd(e, splat(log10Of2 * factor), lookUp(cellLogarithms, factor, cell));
    const Vec<double> value = multiplyAdd(polynomial(coefficients, factor, r), r, ofCell);
    const __m512i distance = _mm512_add_epi64((__m512i)value, _mm512_set1_epi64(band - middle));
    return {value, _mm512_testn_epi64_mask(distance, _mm512_set1_epi64(belowFloat & ~(2 * band - 1)))};
}

#else

// x = m * 2^e with m in [sqrt(1/2), sqrt(2)) has the logarithm e log10(2) + (2 / ln 10) atanh(s),
// s = (m - 1) / (m + 1), and the polynomial stands for (2 / ln 10) atanh(s) / s in z = s^2, with
// 0 <= z <= h = (3 - 2 sqrt(2))^2.
//
// Bound: the polynomial interpolates atanh(s) / s = 1 + z/3 + z^2/5 + ... at the six Chebyshev points of [0,
// h]. The error is at most 2 (h/4)^6 times the sixth divided derivative, which is below (1 - h)^-7 / 13:
// together 2^-44.9, relative too, as the function is at least 1. Below 2^-48 are the rounded coefficients and
// the roundings: m - 1 is exact; m + 1, the quotient, z, the polynomial, the product with s, log10(2), its
// product with e and the last sum are each within a few 2^-53 of what they stand for; and where e is not 0,
// neither term of the last sum is above twice the sum.
constexpr double coefficients[] = {0x1.bcb7b1526e440p-1, 0x1.287a7637ead8ep-2, 0x1.63c6247ae436ep-3,
                                   0x1.fc4301f26486ep-4, 0x1.8a737cd04176ep-4, 0x1.5ccd753552548p-4};

QZK_INLINE ApproximateLogarithm approximateLogarithm(Vec<double> x, double factor) {
    constexpr std::uint64_t sqrtHalfBits = 0x3FE6A09E667F3BCD, oneBits = 0x3FF0000000000000;
    constexpr std::uint64_t bitsOf2To52 = 0x4330000000000000, mantissaMask = 0x000FFFFFFFFFFFFF;
    using Words = Vec<std::uint64_t>;
    // The exponent field is e + 1023 here; behind the digits of 2^52 it becomes a double.
    const Words fromSqrtHalf = (Words)x + (oneBits - sqrtHalfBits);
    const auto e = (Vec<double>)((fromSqrtHalf >> 52) | bitsOf2To52) - (0x1p52 + 1023.0);
    const auto m = (Vec<double>)((fromSqrtHalf & mantissaMask) + sqrtHalfBits);
    const Vec<double> s = (m - 1.0) / (m + 1.0);
    const Vec<double> value =
        multiplyAdd(polynomial(coefficients, factor, s * s), s, e * (log10Of2 * factor));
    // 0, infinities and not-a-numbers are left to the definition too.
    const Vec<std::int64_t> distance = ((Vec<std::int64_t>)value + (band - middle)) & belowFloat;
    const Vec<std::int64_t> ordinary = (x > 0.0) & (x < __builtin_inf());
    return {value, signBits((Vec<double>)((distance - 2 * band) | ~ordinary))};
}

#endif

} // namespace
} // namespace qzk::simd

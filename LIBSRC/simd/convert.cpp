#include "simd/convert.hpp"
#include "common/unaligned.hpp"
#include "simd/truncation.hpp"
#include "simd/vec.hpp"

namespace qzk::simd {
namespace {

using Ints = Vec<std::int32_t>;
constexpr std::size_t intLanes = lanesOf<std::int32_t>;
constexpr std::size_t doubleLanes = lanesOf<double>;

// A conversion to 32-bit integers gives this for what does not fit, the processor's "integer indefinite".
constexpr std::int32_t outside = INT32_MIN;

#if QZK_SIMD_LEVEL == 1

QZK_INLINE Ints truncated(Vec<float> x) { return (Ints)_mm_cvttps_epi32((__m128)x); }
QZK_INLINE Ints truncated(Vec<double> low, Vec<double> high) {
    return (Ints)_mm_unpacklo_epi64(_mm_cvttpd_epi32((__m128d)low), _mm_cvttpd_epi32((__m128d)high));
}
QZK_INLINE Vec<float> rounded(Vec<double> low, Vec<double> high) {
    return (Vec<float>)_mm_movelh_ps(_mm_cvtpd_ps((__m128d)low), _mm_cvtpd_ps((__m128d)high));
}
QZK_INLINE unsigned signBits(Vec<double> x) { return static_cast<unsigned>(_mm_movemask_pd((__m128d)x)); }
QZK_INLINE bool anyOutside(Ints a, Ints b) {
    return _mm_movemask_epi8((__m128i)((a == outside) | (b == outside))) != 0;
}
QZK_INLINE void storeLowHalves(std::int16_t *to, Ints a, Ints b) {
    _mm_storeu_si128((__m128i *)to, _mm_packs_epi32((__m128i)(a << 16 >> 16), (__m128i)(b << 16 >> 16)));
}
QZK_INLINE void storeClamped(std::int16_t *to, Ints a, Ints b) {
    _mm_storeu_si128((__m128i *)to, _mm_packs_epi32((__m128i)a, (__m128i)b));
}
QZK_INLINE Ints loadInts(const std::int16_t *from) {
    const __m128i shorts = _mm_loadl_epi64((const __m128i *)from);
    return (Ints)_mm_unpacklo_epi16(shorts, shorts) >> 16;
}
QZK_INLINE Vec<float> toFloats(Ints x) { return (Vec<float>)_mm_cvtepi32_ps((__m128i)x); }
QZK_INLINE Vec<double> lowDoubles(Ints x) { return (Vec<double>)_mm_cvtepi32_pd((__m128i)x); }
QZK_INLINE Vec<double> highDoubles(Ints x) {
    return (Vec<double>)_mm_cvtepi32_pd(_mm_unpackhi_epi64((__m128i)x, (__m128i)x));
}
QZK_INLINE Vec<float> larger(Vec<float> x, Vec<float> kept) {
    return (Vec<float>)_mm_max_ps((__m128)x, (__m128)kept);
}
QZK_INLINE Vec<float> smaller(Vec<float> x, Vec<float> kept) {
    return (Vec<float>)_mm_min_ps((__m128)x, (__m128)kept);
}
QZK_INLINE Vec<double> larger(Vec<double> x, Vec<double> kept) {
    return (Vec<double>)_mm_max_pd((__m128d)x, (__m128d)kept);
}
QZK_INLINE Vec<double> smaller(Vec<double> x, Vec<double> kept) {
    return (Vec<double>)_mm_min_pd((__m128d)x, (__m128d)kept);
}
QZK_INLINE Vec<double> squareRoot(Vec<double> x) { return (Vec<double>)_mm_sqrt_pd((__m128d)x); }
/// The sum rounded once or twice: for uses whose bound covers both.
QZK_INLINE Vec<double> multiplyAdd(Vec<double> a, Vec<double> b, Vec<double> c) { return a * b + c; }
QZK_INLINE void loadComplex(const QZComplexFloat *from, Vec<double> &re, Vec<double> &im) {
    const __m128 z = _mm_loadu_ps((const float *)from);
    re = (Vec<double>)_mm_cvtps_pd(_mm_shuffle_ps(z, z, 0x88));
    im = (Vec<double>)_mm_cvtps_pd(_mm_shuffle_ps(z, z, 0xDD));
}

#elif QZK_SIMD_LEVEL == 2

QZK_INLINE Ints truncated(Vec<float> x) { return (Ints)_mm256_cvttps_epi32((__m256)x); }
QZK_INLINE Ints truncated(Vec<double> low, Vec<double> high) {
    return (Ints)_mm256_set_m128i(_mm256_cvttpd_epi32((__m256d)high), _mm256_cvttpd_epi32((__m256d)low));
}
QZK_INLINE Vec<float> rounded(Vec<double> low, Vec<double> high) {
    return (Vec<float>)_mm256_set_m128(_mm256_cvtpd_ps((__m256d)high), _mm256_cvtpd_ps((__m256d)low));
}
QZK_INLINE unsigned signBits(Vec<double> x) { return static_cast<unsigned>(_mm256_movemask_pd((__m256d)x)); }
QZK_INLINE bool anyOutside(Ints a, Ints b) {
    return _mm256_movemask_epi8((__m256i)((a == outside) | (b == outside))) != 0;
}
QZK_INLINE __m256i inOrder(__m256i packedPerHalf) { return _mm256_permute4x64_epi64(packedPerHalf, 0xD8); }
QZK_INLINE void storeLowHalves(std::int16_t *to, Ints a, Ints b) {
    const __m256i zero = _mm256_setzero_si256();
    _mm256_storeu_si256((__m256i *)to,
                        inOrder(_mm256_packus_epi32(_mm256_blend_epi16((__m256i)a, zero, 0xAA),
                                                    _mm256_blend_epi16((__m256i)b, zero, 0xAA))));
}
QZK_INLINE void storeClamped(std::int16_t *to, Ints a, Ints b) {
    _mm256_storeu_si256((__m256i *)to, inOrder(_mm256_packs_epi32((__m256i)a, (__m256i)b)));
}
QZK_INLINE Ints loadInts(const std::int16_t *from) {
    return (Ints)_mm256_cvtepi16_epi32(_mm_loadu_si128((const __m128i *)from));
}
QZK_INLINE Vec<float> toFloats(Ints x) { return (Vec<float>)_mm256_cvtepi32_ps((__m256i)x); }
QZK_INLINE Vec<double> lowDoubles(Ints x) {
    return (Vec<double>)_mm256_cvtepi32_pd(_mm256_castsi256_si128((__m256i)x));
}
QZK_INLINE Vec<double> highDoubles(Ints x) {
    return (Vec<double>)_mm256_cvtepi32_pd(_mm256_extracti128_si256((__m256i)x, 1));
}
QZK_INLINE Vec<float> larger(Vec<float> x, Vec<float> kept) {
    return (Vec<float>)_mm256_max_ps((__m256)x, (__m256)kept);
}
QZK_INLINE Vec<float> smaller(Vec<float> x, Vec<float> kept) {
    return (Vec<float>)_mm256_min_ps((__m256)x, (__m256)kept);
}
QZK_INLINE Vec<double> larger(Vec<double> x, Vec<double> kept) {
    return (Vec<double>)_mm256_max_pd((__m256d)x, (__m256d)kept);
}
QZK_INLINE Vec<double> smaller(Vec<double> x, Vec<double> kept) {
    return (Vec<double>)_mm256_min_pd((__m256d)x, (__m256d)kept);
}
QZK_INLINE Vec<double> squareRoot(Vec<double> x) { return (Vec<double>)_mm256_sqrt_pd((__m256d)x); }
QZK_INLINE Vec<double> multiplyAdd(Vec<double> a, Vec<double> b, Vec<double> c) {
    return (Vec<double>)_mm256_fmadd_pd((__m256d)a, (__m256d)b, (__m256d)c);
}
QZK_INLINE void loadComplex(const QZComplexFloat *from, Vec<double> &re, Vec<double> &im) {
    const __m128 a = _mm_loadu_ps((const float *)from), b = _mm_loadu_ps((const float *)(from + 2));
    re = (Vec<double>)_mm256_cvtps_pd(_mm_shuffle_ps(a, b, 0x88));
    im = (Vec<double>)_mm256_cvtps_pd(_mm_shuffle_ps(a, b, 0xDD));
}

#else

QZK_INLINE Ints truncated(Vec<float> x) { return (Ints)_mm512_cvttps_epi32((__m512)x); }
QZK_INLINE Ints truncated(Vec<double> low, Vec<double> high) {
    return (Ints)_mm512_inserti64x4(_mm512_castsi256_si512(_mm512_cvttpd_epi32((__m512d)low)),
                                    _mm512_cvttpd_epi32((__m512d)high), 1);
}
QZK_INLINE Vec<float> rounded(Vec<double> low, Vec<double> high) {
    return (Vec<float>)_mm512_insertf32x8(_mm512_castps256_ps512(_mm512_cvtpd_ps((__m512d)low)),
                                          _mm512_cvtpd_ps((__m512d)high), 1);
}
QZK_INLINE bool anyOutside(Ints a, Ints b) {
    const __m512i least = _mm512_min_epi32((__m512i)a, (__m512i)b);
    return _mm512_cmpeq_epi32_mask(least, _mm512_set1_epi32(outside)) != 0;
}
QZK_INLINE void storeLowHalves(std::int16_t *to, Ints a, Ints b) {
    _mm256_storeu_si256((__m256i *)to, _mm512_cvtepi32_epi16((__m512i)a));
    _mm256_storeu_si256((__m256i *)(to + intLanes), _mm512_cvtepi32_epi16((__m512i)b));
}
QZK_INLINE void storeClamped(std::int16_t *to, Ints a, Ints b) {
    _mm256_storeu_si256((__m256i *)to, _mm512_cvtsepi32_epi16((__m512i)a));
    _mm256_storeu_si256((__m256i *)(to + intLanes), _mm512_cvtsepi32_epi16((__m512i)b));
}
QZK_INLINE Ints loadInts(const std::int16_t *from) {
    return (Ints)_mm512_cvtepi16_epi32(_mm256_loadu_si256((const __m256i *)from));
}
QZK_INLINE Vec<float> toFloats(Ints x) { return (Vec<float>)_mm512_cvtepi32_ps((__m512i)x); }
QZK_INLINE Vec<double> lowDoubles(Ints x) {
    return (Vec<double>)_mm512_cvtepi32_pd(_mm512_castsi512_si256((__m512i)x));
}
QZK_INLINE Vec<double> highDoubles(Ints x) {
    return (Vec<double>)_mm512_cvtepi32_pd(_mm512_extracti64x4_epi64((__m512i)x, 1));
}
QZK_INLINE Vec<float> larger(Vec<float> x, Vec<float> kept) {
    return (Vec<float>)_mm512_max_ps((__m512)x, (__m512)kept);
}
QZK_INLINE Vec<float> smaller(Vec<float> x, Vec<float> kept) {
    return (Vec<float>)_mm512_min_ps((__m512)x, (__m512)kept);
}
QZK_INLINE Vec<double> larger(Vec<double> x, Vec<double> kept) {
    return (Vec<double>)_mm512_max_pd((__m512d)x, (__m512d)kept);
}
QZK_INLINE Vec<double> smaller(Vec<double> x, Vec<double> kept) {
    return (Vec<double>)_mm512_min_pd((__m512d)x, (__m512d)kept);
}
QZK_INLINE Vec<double> squareRoot(Vec<double> x) { return (Vec<double>)_mm512_sqrt_pd((__m512d)x); }
QZK_INLINE Vec<double> multiplyAdd(Vec<double> a, Vec<double> b, Vec<double> c) {
    return (Vec<double>)_mm512_fmadd_pd((__m512d)a, (__m512d)b, (__m512d)c);
}
QZK_INLINE void loadComplex(const QZComplexFloat *from, Vec<double> &re, Vec<double> &im) {
    const __m256 a = _mm256_loadu_ps((const float *)from), b = _mm256_loadu_ps((const float *)(from + 4));
    const __m256i even = _mm256_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14);
    const __m256i odd = _mm256_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15);
    re = (Vec<double>)_mm512_cvtps_pd(_mm256_permutex2var_ps(a, even, b));
    im = (Vec<double>)_mm512_cvtps_pd(_mm256_permutex2var_ps(a, odd, b));
}

#endif

// Down-conversions. A block is two vectors of integers.
constexpr std::size_t downBlock = 2 * intLanes;

QZK_INLINE Ints loadTruncated(const float *from, float multiplier) {
    return truncated(load(from) * splat(multiplier));
}
QZK_INLINE Ints loadTruncated(const double *from, double multiplier) {
    return truncated(load(from) * splat(multiplier), load(from + doubleLanes) * splat(multiplier));
}

QZK_INLINE Ints loadSigns(const float *from) { return (Ints)load(from) >> 31; }
QZK_INLINE Ints loadSigns(const double *from) {
    return (Ints)rounded(load(from), load(from + doubleLanes)) >> 31;
}

QZK_INLINE void storeLow(std::int16_t *to, Ints a, Ints b) { storeLowHalves(to, a, b); }
QZK_INLINE void storeLow(std::int32_t *to, Ints a, Ints b) {
    store(to, a);
    store(to + intLanes, b);
}

QZK_INLINE void storeSaturated(std::int16_t *to, Ints a, Ints b) { storeClamped(to, a, b); }
QZK_INLINE void storeSaturated(std::int32_t *to, Ints a, Ints b) { storeLow(to, a, b); }

template <class S, class T>
void wrapEach(const S *src, T *dst, std::size_t n, double multiplier) {
    for (std::size_t i = 0; i < n; ++i)
        setElement(dst, i, wrapped<T>(elementAt(src, i) * multiplier));
}

/// The product may be formed in S: it is exact, but where it leaves the range of float, and there the integer
/// is 0 both ways.
template <class S, class T>
void wrap(const S *src, T *dst, std::size_t n, double multiplier) {
    const auto multiplierInS = static_cast<S>(multiplier);
    std::size_t i = 0;
    if (multiplierInS == multiplier)
        for (; i + downBlock <= n; i += downBlock) {
            const Ints a = loadTruncated(src + i, multiplierInS);
            const Ints b = loadTruncated(src + i + intLanes, multiplierInS);
            if (anyOutside(a, b)) [[unlikely]]
                wrapEach(src + i, dst + i, downBlock, multiplier);
            else
                storeLow(dst + i, a, b);
        }
    wrapEach(src + i, dst + i, n - i, multiplier);
}

/// Clamped to 32 bits: the processor's value for what does not fit is the lowest integer, which is right
/// below the range.
template <class S>
QZK_INLINE Ints loadSaturated(const S *from) {
    const Ints x = loadTruncated(from, S(1));
    return x ^ ((x == outside) & ~loadSigns(from));
}

template <class S, class T>
void saturate(const S *src, T *dst, std::size_t n) {
    std::size_t i = 0;
    for (; i + downBlock <= n; i += downBlock) {
        const Ints a = loadSaturated(src + i), b = loadSaturated(src + i + intLanes);
        storeSaturated(dst + i, a, b);
    }
    for (; i < n; ++i)
        setElement(dst, i, saturated<T>(elementAt(src, i)));
}

/// The instructions for minimum and maximum keep the second operand unless the first is strictly smaller or
/// larger, so that not-a-numbers count as in the ordered search, in every lane of its own.
template <class S>
Range<S> range(const S *src, std::size_t n) {
    constexpr std::size_t lanes = lanesOf<S>, chains = 4;
    const S first = elementAt(src, 0);
    Vec<S> minima[chains], maxima[chains];
    for (std::size_t c = 0; c < chains; ++c)
        minima[c] = maxima[c] = splat(first);
    std::size_t i = 0;
    for (; i + chains * lanes <= n; i += chains * lanes)
        for (std::size_t c = 0; c < chains; ++c) {
            const Vec<S> x = load(src + i + c * lanes);
            minima[c] = smaller(x, minima[c]);
            maxima[c] = larger(x, maxima[c]);
        }
    for (; i + lanes <= n; i += lanes) {
        minima[0] = smaller(load(src + i), minima[0]);
        maxima[0] = larger(load(src + i), maxima[0]);
    }
    for (std::size_t c = 1; c < chains; ++c) {
        minima[0] = smaller(minima[c], minima[0]);
        maxima[0] = larger(maxima[c], maxima[0]);
    }
    S minimum = first, maximum = first;
    for (std::size_t lane = 0; lane < lanes; ++lane) {
        if (minima[0][lane] < minimum) minimum = minima[0][lane];
        if (maxima[0][lane] > maximum) maximum = maxima[0][lane];
    }
    for (; i < n; ++i) {
        const S x = elementAt(src, i);
        if (x < minimum) minimum = x;
        if (x > maximum) maximum = x;
    }
    return {minimum + S(0), maximum + S(0)};
}

QZK_INLINE Ints loadInts(const std::int32_t *from) { return load(from); }

QZK_INLINE void storeWidened(float *to, Ints x, double multiplier) {
    store(to, toFloats(x) * splat(static_cast<float>(multiplier)));
}
QZK_INLINE void storeWidened(double *to, Ints x, double multiplier) {
    store(to, lowDoubles(x) * splat(multiplier));
    store(to + doubleLanes, highDoubles(x) * splat(multiplier));
}

/// Rounding to T may come before the product with a power of two that keeps every product a normal float.
template <class S, class T>
void widen(const S *src, T *dst, std::size_t n, double multiplier) {
    std::size_t i = n;
    if (sizeof(T) == sizeof(double) || (multiplier >= 0x1p-100 && multiplier <= 0x1p95))
        for (; i >= intLanes; i -= intLanes)
            storeWidened(dst + i - intLanes, loadInts(src + i - intLanes), multiplier);
    while (i-- > 0)
        setElement(dst, i, static_cast<T>(elementAt(src, i) * multiplier));
}

/// Both products are exact, so that fusing one of them changes nothing.
QZK_INLINE Vec<double> squaredMagnitudes(const QZComplexFloat *from) {
    Vec<double> re, im;
    loadComplex(from, re, im);
    return multiplyAdd(re, re, im * im);
}

/// Runs block on doubleLanes elements at a time, at the end on a copy filled up with ones.
template <void (*block)(const QZComplexFloat *src, float *dst)>
void reduce(const QZComplexFloat *src, float *dst, std::size_t n) {
    std::size_t i = 0;
    for (; i + doubleLanes <= n; i += doubleLanes)
        block(src + i, dst + i);
    if (i == n) return;
    QZComplexFloat lastSrc[doubleLanes];
    float lastDst[doubleLanes];
    for (std::size_t lane = 0; lane < doubleLanes; ++lane)
        lastSrc[lane] = i + lane < n ? elementAt(src, i + lane) : QZComplexFloat{1.0f, 0.0f};
    block(lastSrc, lastDst);
    for (std::size_t lane = 0; i + lane < n; ++lane)
        setElement(dst, i + lane, lastDst[lane]);
}

QZK_INLINE void magnitudeBlock(const QZComplexFloat *src, float *dst) {
    storeNarrowed(dst, squareRoot(squaredMagnitudes(src)));
}

QZK_INLINE void powerBlock(const QZComplexFloat *src, float *dst) {
    storeNarrowed(dst, squaredMagnitudes(src));
}

// The logarithm of x = m * 2^e with m in [sqrt(1/2), sqrt(2)) is e log10(2) + (2 / ln 10) atanh(s),
// s = (m - 1) / (m + 1), and the polynomial below stands for (2 / ln 10) atanh(s) / s in z = s^2, with
// 0 <= z <= h = (3 - 2 sqrt(2))^2.
//
// Bound: the polynomial interpolates atanh(s) / s = 1 + z/3 + z^2/5 + ... at the six Chebyshev points of [0,
// h]. The error is at most 2 (h/4)^6 times the sixth divided derivative, which is below (1 - h)^-7 / 13:
// together 2^-44.9, relative too, as the function is at least 1. Below 2^-48 are the rounded coefficients and
// the roundings: m - 1 is exact; m + 1, the quotient, z, the polynomial, the product with s, log10(2), its
// product with e and the last sum are each within a few 2^-53 of what they stand for; and where e is not 0,
// neither term of the last sum is above twice the sum. So the relative error is below 2^-44.8 + 2^-48 <
// 2^-44.
//
// The rounded result is right unless it lies within that error of the middle between two floats. A relative
// error of 2^-44 is below 2^9 units in the last place of the double; less than 2^10 from a middle, about once
// in 2^18 values, the definition decides.
constexpr double coefficients[] = {0x1.bcb7b1526e440p-1, 0x1.287a7637ead8ep-2, 0x1.63c6247ae436ep-3,
                                   0x1.fc4301f26486ep-4, 0x1.8a737cd04176ep-4, 0x1.5ccd753552548p-4};
constexpr double log10Of2 = 0x1.34413509f79ffp-2;

constexpr std::uint64_t sqrtHalfBits = 0x3FE6A09E667F3BCD;
constexpr std::uint64_t mantissaMask = 0x000FFFFFFFFFFFFF;
constexpr std::uint64_t oneBits = 0x3FF0000000000000;

QZK_INLINE Vec<double> approximateLogarithm(Vec<double> x, double factor) {
    using Words = Vec<std::uint64_t>;
    // The exponent field of `fromSqrtHalf` is e + 1023; behind the digits of 2^52 it becomes a double.
    const Words fromSqrtHalf = (Words)x + (oneBits - sqrtHalfBits);
    constexpr std::uint64_t bitsOf2To52 = 0x4330000000000000;
    const Vec<double> e = (Vec<double>)((fromSqrtHalf >> 52) | bitsOf2To52) - (0x1p52 + 1023.0);
    const Vec<double> m = (Vec<double>)((fromSqrtHalf & mantissaMask) + sqrtHalfBits);
    const Vec<double> s = (m - 1.0) / (m + 1.0), z = s * s;
    Vec<double> sum = splat(coefficients[5] * factor);
    for (int k = 5; k-- > 0;)
        sum = multiplyAdd(sum, z, splat(coefficients[k] * factor));
    return multiplyAdd(sum, s, e * (log10Of2 * factor));
}

/// The lanes that the definition has to decide, one bit each: next to a middle, and those of 0, infinities
/// and not-a-numbers.
QZK_INLINE unsigned undecidedLanes(Vec<double> x, Vec<double> logarithm) {
    // The middle between two floats, in the 29 bits that a double has more.
    constexpr std::int64_t middle = std::int64_t{1} << 28, belowFloat = 2 * middle - 1, band = 1 << 10;
    const Vec<std::int64_t> distance = ((Vec<std::int64_t>)logarithm + (band - middle)) & belowFloat;
#if QZK_SIMD_LEVEL == 3
    constexpr int zerosInfinitiesAndNotANumbers = 0x9F;
    return static_cast<unsigned>(_mm512_cmplt_epi64_mask((__m512i)distance, _mm512_set1_epi64(2 * band)) |
                                 _mm512_fpclass_pd_mask((__m512d)x, zerosInfinitiesAndNotANumbers));
#else
    const Vec<std::int64_t> ordinary = (x > 0.0) & (x < __builtin_inf());
    return signBits((Vec<double>)((distance - 2 * band) | ~ordinary));
#endif
}

void decide(unsigned lanes, Vec<double> x, double factor, float *dst) {
    double powers[doubleLanes];
    store(powers, x);
    for (std::size_t lane = 0; lane < doubleLanes; ++lane)
        if ((lanes >> lane & 1) != 0) setElement(dst, lane, roundedLogarithm(powers[lane], factor));
}

QZK_INLINE void logarithmBlock(const QZComplexFloat *src, float *dst, double factor) {
    const Vec<double> x = squaredMagnitudes(src);
    const Vec<double> logarithm = approximateLogarithm(x, factor);
    storeNarrowed(dst, logarithm);
    const unsigned undecided = undecidedLanes(x, logarithm);
    if (undecided != 0) [[unlikely]]
        decide(undecided, x, factor, dst);
}

QZK_INLINE void logMagnitudeBlock(const QZComplexFloat *src, float *dst) { logarithmBlock(src, dst, 0.5); }
QZK_INLINE void logPowerBlock(const QZComplexFloat *src, float *dst) { logarithmBlock(src, dst, 1.0); }

} // namespace

void QZK_LEVEL::install(ConvertKernels &kernels) {
    kernels.floatToShort = {wrap, saturate};
    kernels.floatToInt = {wrap, saturate};
    kernels.doubleToShort = {wrap, saturate};
    kernels.doubleToInt = {wrap, saturate};
    kernels.floatRange = range;
    kernels.doubleRange = range;
    kernels.shortToFloat = widen;
    kernels.shortToDouble = widen;
    kernels.intToFloat = widen;
    kernels.intToDouble = widen;
    kernels.magnitude = reduce<magnitudeBlock>;
    kernels.power = reduce<powerBlock>;
    kernels.logMagnitude = reduce<logMagnitudeBlock>;
    kernels.logPower = reduce<logPowerBlock>;
}

} // namespace qzk::simd

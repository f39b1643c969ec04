#include "simd/convert.hpp"
#include "common/unaligned.hpp"
#include "simd/logarithm.hpp"
#include "simd/truncation.hpp"
#include "simd/vec.hpp"

namespace qzk::simd {
namespace {

#define QZK_INLINED __attribute__((always_inline))

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
QZK_INLINE Ints lesser(Ints x, std::int32_t limit) {
    const Ints below = x < limit;
    return (x & below) | (limit & ~below);
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
QZK_INLINE Ints lesser(Ints x, std::int32_t limit) {
    return (Ints)_mm256_min_epi32((__m256i)x, _mm256_set1_epi32(limit));
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
QZK_INLINE Ints lesser(Ints x, std::int32_t limit) {
    return (Ints)_mm512_min_epi32((__m512i)x, _mm512_set1_epi32(limit));
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

enum class Order { ascending, descending };

/// convert(i, to) converts the block of elements from i on. The blocks of the loop start after `head`
/// elements; what they leave at both ends is in a block that overlaps them, converted before anything is
/// stored, since in place the source is whole only then, and stored after the loop: over the same results.
/// Needs n >= block.
template <std::size_t block, Order order, class T, class Convert>
QZK_INLINE void convertBlocks(T *dst, std::size_t n, std::size_t head, Convert convert) {
    const std::size_t blocks = (n - head) / block, end = head + blocks * block;
    T first[block] = {}, last[block] = {};
    if (head != 0) convert(std::size_t{0}, first);
    if (end != n) convert(n - block, last);
    for (std::size_t k = 0; k < blocks; ++k) {
        const std::size_t i = order == Order::ascending ? head + k * block : end - (k + 1) * block;
        convert(i, dst + i);
    }
    if (head != 0) __builtin_memcpy(dst, first, sizeof first);
    if (end != n) __builtin_memcpy(dst + n - block, last, sizeof last);
}

/// Elements before the first one at a vector boundary: in long vectors, loads and stores across boundaries
/// are what limits the plain conversions. 0 where there is no boundary or where the overlapping blocks cost
/// more.
template <class T>
QZK_INLINE std::size_t elementsBeforeBoundary(const T *vector, std::size_t n) {
    const auto address = reinterpret_cast<std::uintptr_t>(vector);
    return n >= 1000 && address % sizeof(T) == 0 ? -address % QZK_VECTOR_BYTES / sizeof(T) : 0;
}

template <class S, class T>
void wrapEach(const S *src, T *dst, std::size_t n, double multiplier) {
    for (std::size_t i = 0; i < n; ++i)
        setElement(dst, i, wrapped<T>(elementAt(src, i) * multiplier));
}

/// The product may be formed in S: it is exact, but where it leaves the range of float, and there the integer
/// is 0 both ways.
template <class S, class T>
QZK_INLINE void wrapBlock(const S *src, T *dst, S multiplier) {
    const Ints a = loadTruncated(src, multiplier), b = loadTruncated(src + intLanes, multiplier);
    if (anyOutside(a, b)) [[unlikely]]
        wrapEach(src, dst, downBlock, multiplier);
    else
        storeLow(dst, a, b);
}

template <class S, class T>
void wrap(const S *src, T *dst, std::size_t n, double multiplier) {
    const auto multiplierInS = static_cast<S>(multiplier);
    if (n < downBlock || multiplierInS != multiplier) return wrapEach(src, dst, n, multiplier);
    convertBlocks<downBlock, Order::ascending>(dst, n, elementsBeforeBoundary(src, n),
                                               [=](std::size_t i, T *to)
                                                   QZK_INLINED { wrapBlock(src + i, to, multiplierInS); });
}

/// Clamped to 32 bits: the processor's value for what does not fit is the lowest integer, which is right
/// below the range.
template <class S>
QZK_INLINE Ints loadSaturated(const S *from) {
    const Ints x = loadTruncated(from, S(1));
    return x ^ ((x == outside) & ~loadSigns(from));
}

template <class S>
QZK_INLINE void saturateBlock(const S *src, std::int32_t *dst) {
    storeLow(dst, loadSaturated(src), loadSaturated(src + intLanes));
}
QZK_INLINE void saturateBlock(const double *src, std::int16_t *dst) {
    storeClamped(dst, loadSaturated(src), loadSaturated(src + intLanes));
}
/// As signed integers the bits of floats above 0 keep their order, and not-a-numbers are above infinity; all
/// negative ones are below.
QZK_INLINE void saturateBlock(const float *src, std::int16_t *dst) {
    constexpr std::int32_t bitsOf32767 = 0x46FFFE00;
    const Ints a = lesser((Ints)load(src), bitsOf32767), b = lesser((Ints)load(src + intLanes), bitsOf32767);
    storeClamped(dst, truncated((Vec<float>)a), truncated((Vec<float>)b));
}

template <class S, class T>
void saturate(const S *src, T *dst, std::size_t n) {
    if (n < downBlock) {
        for (std::size_t i = 0; i < n; ++i)
            setElement(dst, i, saturated<T>(elementAt(src, i)));
        return;
    }
    convertBlocks<downBlock, Order::ascending>(dst, n, elementsBeforeBoundary(src, n),
                                               [=](std::size_t i, T *to)
                                                   QZK_INLINED { saturateBlock(src + i, to); });
}

constexpr std::size_t parts = QZK_VECTOR_BYTES / 16;

QZK_INLINE Range<float> overLanes(Vec<float> minima, Vec<float> maxima) {
    __m128 least[parts], most[parts];
    __builtin_memcpy(least, &minima, sizeof least);
    __builtin_memcpy(most, &maxima, sizeof most);
    for (std::size_t part = 1; part < parts; ++part) {
        least[0] = _mm_min_ps(least[part], least[0]);
        most[0] = _mm_max_ps(most[part], most[0]);
    }
    least[0] = _mm_min_ps(_mm_movehl_ps(least[0], least[0]), least[0]);
    most[0] = _mm_max_ps(_mm_movehl_ps(most[0], most[0]), most[0]);
    return {_mm_cvtss_f32(_mm_min_ss(_mm_shuffle_ps(least[0], least[0], 1), least[0])),
            _mm_cvtss_f32(_mm_max_ss(_mm_shuffle_ps(most[0], most[0], 1), most[0]))};
}

QZK_INLINE Range<double> overLanes(Vec<double> minima, Vec<double> maxima) {
    __m128d least[parts], most[parts];
    __builtin_memcpy(least, &minima, sizeof least);
    __builtin_memcpy(most, &maxima, sizeof most);
    for (std::size_t part = 1; part < parts; ++part) {
        least[0] = _mm_min_pd(least[part], least[0]);
        most[0] = _mm_max_pd(most[part], most[0]);
    }
    return {_mm_cvtsd_f64(_mm_min_sd(_mm_unpackhi_pd(least[0], least[0]), least[0])),
            _mm_cvtsd_f64(_mm_max_sd(_mm_unpackhi_pd(most[0], most[0]), most[0]))};
}

/// The instructions for minimum and maximum keep the second operand unless the first is strictly smaller or
/// larger, so that not-a-numbers count as in the ordered search, in every lane of its own.
template <class S>
Range<S> range(const S *src, std::size_t n) {
    constexpr std::size_t lanes = lanesOf<S>;
    const S first = elementAt(src, 0);
    Vec<S> minima = splat(first), maxima = minima, otherMinima = minima, otherMaxima = minima;
    std::size_t i = 0;
    for (; i + 2 * lanes <= n; i += 2 * lanes) {
        const Vec<S> x = load(src + i), other = load(src + i + lanes);
        minima = smaller(x, minima);
        maxima = larger(x, maxima);
        otherMinima = smaller(other, otherMinima);
        otherMaxima = larger(other, otherMaxima);
    }
    auto [minimum, maximum] = overLanes(smaller(otherMinima, minima), larger(otherMaxima, maxima));
    for (; i < n; ++i) {
        const S x = elementAt(src, i);
        minimum = x < minimum ? x : minimum;
        maximum = x > maximum ? x : maximum;
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

template <class S, class T>
void widenEach(const S *src, T *dst, std::size_t n, double multiplier) {
    for (std::size_t i = n; i-- > 0;)
        setElement(dst, i, static_cast<T>(elementAt(src, i) * multiplier));
}

/// Rounding to T may come before the product with a power of two that keeps every product a normal float.
template <class S, class T>
void widen(const S *src, T *dst, std::size_t n, double multiplier) {
    const bool normal = sizeof(T) == sizeof(double) || (multiplier >= 0x1p-100 && multiplier <= 0x1p95);
    if (n < intLanes || !normal) return widenEach(src, dst, n, multiplier);
    convertBlocks<intLanes, Order::descending>(
        dst, n, elementsBeforeBoundary(dst, n),
        [=](std::size_t i, T *to) QZK_INLINED { storeWidened(to, loadInts(src + i), multiplier); });
}

/// Both products are exact, so that fusing one of them changes nothing.
QZK_INLINE Vec<double> squaredMagnitudes(const QZComplexFloat *from) {
    Vec<double> re, im;
    loadComplex(from, re, im);
    return multiplyAdd(re, re, im * im);
}

/// Runs block on doubleLanes elements at a time; fewer are filled up with ones.
template <void (*block)(const QZComplexFloat *src, float *dst)>
void reduce(const QZComplexFloat *src, float *dst, std::size_t n) {
    if (n < doubleLanes) {
        float last[doubleLanes];
        QZComplexFloat filled[doubleLanes];
        for (std::size_t lane = 0; lane < doubleLanes; ++lane)
            filled[lane] = lane < n ? elementAt(src, lane) : QZComplexFloat{1.0f, 0.0f};
        block(filled, last);
        for (std::size_t i = 0; i < n; ++i)
            setElement(dst, i, last[i]);
        return;
    }
    convertBlocks<doubleLanes, Order::ascending>(
        dst, n, 0, [=](std::size_t i, float *to) QZK_INLINED { block(src + i, to); });
}

QZK_INLINE void magnitudeBlock(const QZComplexFloat *src, float *dst) {
    storeNarrowed(dst, squareRoot(squaredMagnitudes(src)));
}

QZK_INLINE void powerBlock(const QZComplexFloat *src, float *dst) {
    storeNarrowed(dst, squaredMagnitudes(src));
}

void decide(unsigned lanes, Vec<double> x, double factor, float *dst) {
    double powers[doubleLanes];
    store(powers, x);
    for (std::size_t lane = 0; lane < doubleLanes; ++lane)
        if ((lanes >> lane & 1) != 0) setElement(dst, lane, roundedLogarithm(powers[lane], factor));
}

QZK_INLINE void logarithmBlock(const QZComplexFloat *src, float *dst, double factor) {
    const Vec<double> x = squaredMagnitudes(src);
    const ApproximateLogarithm logarithm = approximateLogarithm(x, factor);
    storeNarrowed(dst, logarithm.value);
    if (logarithm.undecided != 0) [[unlikely]]
        decide(logarithm.undecided, x, factor, dst);
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

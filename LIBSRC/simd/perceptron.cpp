#include "simd/perceptron.hpp"

#include "common/unaligned.hpp"
#include "simd/columns.hpp"
#include "simd/vector_exponential.hpp"

// Units of floats are computed in double with a bound on the error, and left to the definition when a middle
// between two floats lies within it. Sums of words are ordered: their lanes are units.
namespace qzk::simd {
namespace {

constexpr std::size_t lanes = lanesOf<double>;

/// Units summed together: their chains of additions hide one another's latency.
#if QZK_SIMD_LEVEL == 3
constexpr std::size_t unitsAtOnce = 8;
#else
constexpr std::size_t unitsAtOnce = 4;
#endif

/// Units whose sums are collected before their logistic function is evaluated.
constexpr std::size_t blockUnits = 32;
static_assert(blockUnits % unitsAtOnce == 0 && blockUnits % lanes == 0);

/// As many floats as a vector has doubles.
#if QZK_SIMD_LEVEL == 3
using HalfFloats = __m256;
QZK_INLINE HalfFloats loadHalf(const float *from) { return _mm256_loadu_ps(from); }
QZK_INLINE HalfFloats loadFirst(const float *from, std::size_t count) {
    return _mm256_maskz_loadu_ps(static_cast<__mmask8>((1u << count) - 1), from);
}
QZK_INLINE Vec<double> widen(HalfFloats v) { return (Vec<double>)_mm512_cvtps_pd(v); }
QZK_INLINE HalfFloats largest(HalfFloats a, HalfFloats b) {
    return _mm256_max_ps(_mm256_andnot_ps(_mm256_set1_ps(-0.0f), b), a);
}
#else
using HalfFloats = __m128;
#if QZK_SIMD_LEVEL == 2
QZK_INLINE HalfFloats loadHalf(const float *from) { return _mm_loadu_ps(from); }
/// The first `count`, which are fewer than the lanes, then zeros.
QZK_INLINE HalfFloats loadFirst(const float *from, std::size_t count) {
    const __m128i numbers = _mm_setr_epi32(0, 1, 2, 3);
    return _mm_maskload_ps(from, _mm_cmpgt_epi32(_mm_set1_epi32(static_cast<int>(count)), numbers));
}
QZK_INLINE Vec<double> widen(HalfFloats v) { return (Vec<double>)_mm256_cvtps_pd(v); }
#else
QZK_INLINE HalfFloats loadHalf(const float *from) {
    return _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(from)));
}
QZK_INLINE HalfFloats loadFirst(const float *from, std::size_t) { return _mm_set_ss(elementAt(from, 0)); }
QZK_INLINE Vec<double> widen(HalfFloats v) { return (Vec<double>)_mm_cvtps_pd(v); }
#endif
/// The larger of a and the magnitude of b, lane by lane; a where b is not a number.
QZK_INLINE HalfFloats largest(HalfFloats a, HalfFloats b) {
    return _mm_max_ps(_mm_andnot_ps(_mm_set1_ps(-0.0f), b), a);
}
#endif

/// Stores the sums of the lanes of four vectors.
QZK_INLINE void storeTotals(double *to, const Vec<double> *v) {
#if QZK_SIMD_LEVEL == 1
    for (std::size_t k = 0; k < 4; k += 2)
        store(to + k, (Vec<double>)_mm_unpacklo_pd((__m128d)v[k], (__m128d)v[k + 1]) +
                          (Vec<double>)_mm_unpackhi_pd((__m128d)v[k], (__m128d)v[k + 1]));
#else
    __m256d half[4];
    for (std::size_t k = 0; k < 4; ++k)
#if QZK_SIMD_LEVEL == 2
        half[k] = (__m256d)v[k];
#else
        half[k] =
            _mm256_add_pd(_mm512_castpd512_pd256((__m512d)v[k]), _mm512_extractf64x4_pd((__m512d)v[k], 1));
#endif
    const __m256d first = _mm256_hadd_pd(half[0], half[1]), second = _mm256_hadd_pd(half[2], half[3]);
    _mm256_storeu_pd(to, _mm256_add_pd(_mm256_permute2f128_pd(first, second, 0x20),
                                       _mm256_permute2f128_pd(first, second, 0x31)));
#endif
}

QZK_INLINE double largestLane(HalfFloats v) {
    const Vec<double> wide = widen(v);
    double most = wide[0];
    for (std::size_t lane = 1; lane < lanes; ++lane)
        most = wide[lane] > most ? wide[lane] : most;
    return most;
}

/// Sums of unitsAtOnce units; `seen` collects the magnitudes of their weights.
QZK_INLINE void sumUnits(const float *input, std::size_t nInputs, const float *const (&rows)[unitsAtOnce],
                         double *sum, HalfFloats (&seen)[unitsAtOnce]) {
    Vec<double> sums[unitsAtOnce] = {};
    const auto add = [&](std::size_t k, Vec<double> x, HalfFloats w) {
        sums[k] = multiplyAdd(x, widen(w), sums[k]);
        seen[k] = largest(seen[k], w);
    };
    std::size_t i = 0;
    for (; i + lanes <= nInputs; i += lanes) {
        const Vec<double> x = widen(loadHalf(input + i));
        for (std::size_t k = 0; k < unitsAtOnce; ++k)
            add(k, x, loadHalf(rows[k] + i));
    }
    if (i < nInputs) {
        const Vec<double> x = widen(loadFirst(input + i, nInputs - i));
        for (std::size_t k = 0; k < unitsAtOnce; ++k)
            add(k, x, loadFirst(rows[k] + i, nInputs - i));
    }
    for (std::size_t k = 0; k < unitsAtOnce; k += 4)
        storeTotals(sum + k, sums + k);
}

/// Sum of the magnitudes of the inputs, in any order.
QZK_INLINE double magnitudes(const float *input, std::size_t n) {
    constexpr std::size_t chains = 4;
    Vec<double> sums[chains] = {};
    const auto add = [&](std::size_t k, HalfFloats x) {
        sums[k] += (Vec<double>)((Vec<std::int64_t>)widen(x) & splat<std::int64_t>(INT64_MAX));
    };
    std::size_t i = 0;
    for (; i + chains * lanes <= n; i += chains * lanes)
        for (std::size_t k = 0; k < chains; ++k)
            add(k, loadHalf(input + i + k * lanes));
    for (; i + lanes <= n; i += lanes)
        add(0, loadHalf(input + i));
    if (i < n) add(1, loadFirst(input + i, n - i));
    const Vec<double> total = (sums[0] + sums[1]) + (sums[2] + sums[3]);
    double sum = total[0];
    for (std::size_t lane = 1; lane < lanes; ++lane)
        sum += total[lane];
    return sum;
}

/// Bits lane by lane: where both round to the same float.
#if QZK_SIMD_LEVEL == 1
QZK_INLINE unsigned sameFloats(Vec<double> a, Vec<double> b) {
    return static_cast<unsigned>(
               _mm_movemask_ps(_mm_cmpeq_ps(_mm_cvtpd_ps((__m128d)a), _mm_cvtpd_ps((__m128d)b)))) &
           3u;
}
#elif QZK_SIMD_LEVEL == 2
QZK_INLINE unsigned sameFloats(Vec<double> a, Vec<double> b) {
    return static_cast<unsigned>(
        _mm_movemask_ps(_mm_cmpeq_ps(_mm256_cvtpd_ps((__m256d)a), _mm256_cvtpd_ps((__m256d)b))));
}
#else
QZK_INLINE unsigned sameFloats(Vec<double> a, Vec<double> b) {
    return _mm256_cmp_ps_mask(_mm512_cvtpd_ps((__m512d)a), _mm512_cvtpd_ps((__m512d)b), _CMP_EQ_OQ);
}
#endif

/// Beyond it, the logistic function rounds to 0 or to 1 as it does here.
constexpr double saturation = 110.0;

/// Bound on the error of the logistic function of a sum of n products in double, relative to the result, and
/// infinity where there is none. `reach` is a bound on the sum of the products' magnitudes.
///
/// The products are exact, and each goes through at most n / lanes + lanes additions. For n below 2^32, that
/// many times 2^-53 (1 + 2^-7) of the sum of the magnitudes bounds the error of the sum and that of the
/// definition's, which is n 2^-64. An error d of the sum, d below 2^-10, makes one of at most 1.001 d
/// relative to the result. The exponential's error is below 2^-49, one addition, one division and the bound's
/// own difference round, and the definition's logistic function is within 2^-62.
QZK_INLINE double errorBound(double reach, std::size_t n) {
    const double error = reach * (static_cast<double>(n / lanes + lanes) * 0x1.04p-53) + 0x1p-48;
    return error < 0x1p-10 ? error : __builtin_inf();
}

/// Logistic function of sums into y; bits of the lanes whose rounding to float is certain.
QZK_INLINE unsigned logistic(Vec<double> sum, double error, Vec<double> &y) {
    const Vec<double> high = splat(saturation), low = splat(-saturation);
    Vec<double> s = sum > high ? high : sum;
    s = s < low ? low : s;
    const Vec<double> one = splat(1.0);
    y = one / (one + exponential(-s));
    // A sum that is not a number makes the comparison fail, and so does an infinite bound.
    const Vec<double> bound = y * splat(error);
    return sameFloats(y - bound, y + bound);
}

void layerOfFloats(const float *input, std::size_t nInputs, const float *weights, std::size_t nUnits,
                   float *output) {
    const double inputs = magnitudes(input, nInputs);
    const float *const end = weights + nUnits * nInputs;
    alignas(64) double sums[blockUnits] = {};
    for (std::size_t first = 0; first < nUnits; first += blockUnits) {
        const std::size_t count = nUnits - first < blockUnits ? nUnits - first : blockUnits;
        HalfFloats seen[unitsAtOnce] = {};
        for (std::size_t k = 0; k < count; k += unitsAtOnce) {
            // The last unit stands in for those that are missing.
            const float *rows[unitsAtOnce];
            for (std::size_t j = 0; j < unitsAtOnce; ++j)
                rows[j] = first + k + j < nUnits ? weights + (first + k + j) * nInputs : end - nInputs;
            sumUnits(input, nInputs, rows, sums + k, seen);
        }
        for (std::size_t k = 1; k < unitsAtOnce; ++k)
            seen[0] = largest(seen[0], seen[k]);
        const double error = errorBound(inputs * largestLane(seen[0]), nInputs);
        for (std::size_t v = 0; v * lanes < count; ++v) {
            Vec<double> y;
            unsigned uncertain = ~logistic(load(sums + v * lanes), error, y);
            const std::size_t used = count - v * lanes < lanes ? count - v * lanes : lanes;
            const std::size_t unit = first + v * lanes;
            if (used == lanes) {
                storeNarrowed(output + unit, y);
            } else {
                float values[lanes];
                storeNarrowed(values, y);
                __builtin_memcpy(output + unit, values, used * sizeof(float));
            }
            for (uncertain &= (1u << used) - 1; uncertain != 0; uncertain &= uncertain - 1) {
                const auto k = unit + static_cast<std::size_t>(__builtin_ctz(uncertain));
                plain::perceptron.layerOfFloats(input, nInputs, weights + k * nInputs, 1, output + k);
            }
        }
    }
}

#if QZK_SIMD_LEVEL >= 2 // fused multiplication and addition
// Sums of words: their lanes are units, each of which adds in order.

/// Bits of the lanes in which the values are equal.
#if QZK_SIMD_LEVEL == 2
QZK_INLINE unsigned equalLanes(Vec<double> a, Vec<double> b) {
    return static_cast<unsigned>(_mm256_movemask_pd(_mm256_cmp_pd((__m256d)a, (__m256d)b, _CMP_EQ_OQ)));
}
QZK_INLINE unsigned belowLanes(Vec<double> a, Vec<double> b) {
    return static_cast<unsigned>(_mm256_movemask_pd(_mm256_cmp_pd((__m256d)a, (__m256d)b, _CMP_LT_OQ)));
}
#else
QZK_INLINE unsigned equalLanes(Vec<double> a, Vec<double> b) {
    return _mm512_cmp_pd_mask((__m512d)a, (__m512d)b, _CMP_EQ_OQ);
}
QZK_INLINE unsigned belowLanes(Vec<double> a, Vec<double> b) {
    return _mm512_cmp_pd_mask((__m512d)a, (__m512d)b, _CMP_LT_OQ);
}
#endif

/// Logistic function of sums into y, rounded to double; bits of the lanes in which the rounding is certain.
/// The exponential's error is below 1.5 * 2^-61, that of the rest far less, and the three roundings of the
/// definition make less than 3 * 2^-64: together less than 2^-60.
QZK_INLINE unsigned preciseLogistic(Vec<double> s, Vec<double> &y) {
    const Vec<double> one = splat(1.0);
    const Pair power = exponentialPair(-s), shifted = twoSum(one, power.hi);
    const Vec<double> divisorRest = shifted.lo + power.lo;
    const Vec<double> quotient = one / shifted.hi;
    const Vec<double> remainder = multiplyAdd(-quotient, shifted.hi, one) - quotient * divisorRest;
    const Pair value = fastTwoSum(quotient, quotient * remainder);
    y = value.hi;
    const Vec<double> bound = y * splat(0x1p-60);
    const auto magnitude = (Vec<double>)((Vec<std::int64_t>)s & splat<std::int64_t>(INT64_MAX));
    return belowLanes(magnitude, splat(600.0)) & equalLanes(y + (value.lo + bound), y) &
           equalLanes(y + (value.lo - bound), y);
}

/// Ordered sums of a group of units, of which `count` exist.
QZK_INLINE void sumWords(const double *input, std::size_t nInputs, const std::int16_t *rows,
                         double weightUnit, std::size_t count, Vec<double> (&sums)[groupVectors]) {
    if (count == groupRows && nInputs >= turnedElements) {
        forEachColumn(rows, nInputs, [&](std::size_t i, std::size_t v, Vec<double> column) {
            sums[v] += splat(elementAt(input, i)) * (column * splat(weightUnit));
        });
        return;
    }
    for (std::size_t k = 0; k < count; ++k) {
        double sum = 0.0;
        for (std::size_t i = 0; i < nInputs; ++i)
            sum += elementAt(input, i) * (elementAt(rows, k * nInputs + i) * weightUnit);
        sums[k / lanes][k % lanes] = sum;
    }
}

void layerOfWords(const double *input, std::size_t nInputs, const std::int16_t *weights, double weightUnit,
                  std::size_t nUnits, double *output) {
    for (std::size_t next = 0; next < nUnits; next += groupRows) {
        // Where there are enough, some of the last group's units are computed a second time.
        const std::size_t first = next + groupRows <= nUnits || next == 0 ? next : nUnits - groupRows;
        const std::size_t count = nUnits < groupRows ? nUnits : groupRows;
        const std::int16_t *const rows = weights + first * nInputs;
        Vec<double> sums[groupVectors] = {};
        sumWords(input, nInputs, rows, weightUnit, count, sums);
        alignas(64) double values[groupRows];
        unsigned certain = 0;
        for (std::size_t v = 0; v < groupVectors; ++v) {
            Vec<double> y;
            certain |= preciseLogistic(sums[v], y) << v * lanes;
            store(values + v * lanes, y);
        }
        __builtin_memcpy(output + first, values, count * sizeof(double));
        for (unsigned left = ~certain & ((1u << count) - 1); left != 0; left &= left - 1) {
            const auto k = static_cast<std::size_t>(__builtin_ctz(left));
            plain::perceptron.layerOfWords(input, nInputs, rows + k * nInputs, weightUnit, 1,
                                           output + first + k);
        }
    }
}
#endif

} // namespace

void QZK_LEVEL::install(PerceptronKernels &kernels) {
    kernels.layerOfFloats = layerOfFloats;
#if QZK_SIMD_LEVEL >= 2
    kernels.layerOfWords = layerOfWords;
#endif
}

} // namespace qzk::simd

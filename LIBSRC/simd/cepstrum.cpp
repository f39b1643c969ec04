#include "simd/cepstrum.hpp"
#include "common/unaligned.hpp"
#include "simd/vec.hpp"

namespace qzk::simd {
namespace {

constexpr auto lanes = lanesOf<double>;
using Doubles = Vec<double>;

// Both filters work from the end: an element's predecessor is still unfiltered then, whatever the block.

void preEmphasizeFloats(float *srcDst, float a, std::size_t n) {
    const Doubles factor = splat(static_cast<double>(a));
    std::size_t k = n;
    for (; k > lanes; k -= lanes) {
        float *const at = srcDst + k - lanes;
        storeNarrowed(at, loadWidened(at) - loadWidened(at - 1) * factor);
    }
    while (--k > 0) {
        const double current = elementAt(srcDst, k), previous = elementAt(srcDst, k - 1);
        setElement(srcDst, k, static_cast<float>(current - previous * a));
    }
}

#if QZK_SIMD_LEVEL == 3

constexpr std::size_t shortLanes = 8;

QZK_INLINE __m512d widened(const std::int16_t *from) {
    return _mm512_cvtepi32_pd(_mm256_cvtepi16_epi32(_mm_loadu_si128((const __m128i *)from)));
}

QZK_INLINE void emphasize(std::int16_t *at, Doubles factor) {
    const auto result = (Doubles)widened(at) - (Doubles)widened(at - 1) * factor;
    _mm_storeu_si128((__m128i *)at, _mm256_cvtepi32_epi16(_mm512_cvttpd_epi32((__m512d)result)));
}

#elif QZK_SIMD_LEVEL == 2

constexpr std::size_t shortLanes = 4;

QZK_INLINE Doubles widened(const std::int16_t *from) {
    return (Doubles)_mm256_cvtepi32_pd(_mm_cvtepi16_epi32(_mm_loadl_epi64((const __m128i *)from)));
}

QZK_INLINE void emphasize(std::int16_t *at, Doubles factor) {
    const auto result = widened(at) - widened(at - 1) * factor;
    const __m128i lowHalves = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
    _mm_storel_epi64((__m128i *)at, _mm_shuffle_epi8(_mm256_cvttpd_epi32((__m256d)result), lowHalves));
}

#else

constexpr std::size_t shortLanes = 4;

/// Four samples as 32-bit integers.
QZK_INLINE __m128i widened(const std::int16_t *from) {
    const __m128i samples = _mm_loadl_epi64((const __m128i *)from);
    return _mm_srai_epi32(_mm_unpacklo_epi16(samples, samples), 16);
}

QZK_INLINE __m128i emphasizedPair(__m128i current, __m128i previous, Doubles factor) {
    return _mm_cvttpd_epi32(
        (__m128d)((Doubles)_mm_cvtepi32_pd(current) - (Doubles)_mm_cvtepi32_pd(previous) * factor));
}

QZK_INLINE void emphasize(std::int16_t *at, Doubles factor) {
    const __m128i current = widened(at), previous = widened(at - 1);
    const __m128i low = emphasizedPair(current, previous, factor);
    const __m128i high = emphasizedPair(_mm_srli_si128(current, 8), _mm_srli_si128(previous, 8), factor);
    // Sign-extended low halves pack without saturation.
    const __m128i result = _mm_srai_epi32(_mm_slli_epi32(_mm_unpacklo_epi64(low, high), 16), 16);
    _mm_storel_epi64((__m128i *)at, _mm_packs_epi32(result, result));
}

#endif

void preEmphasizeShorts(std::int16_t *srcDst, float a, std::size_t n) {
    const double factor = a;
    std::size_t k = n;
    for (; k > shortLanes; k -= shortLanes)
        emphasize(srcDst + k - shortLanes, splat(factor));
    while (--k > 0) {
        const double current = elementAt(srcDst, k), previous = elementAt(srcDst, k - 1);
        const auto difference = static_cast<std::int32_t>(current - previous * factor);
        setElement(srcDst, k, static_cast<std::int16_t>(difference));
    }
}

#if QZK_SIMD_LEVEL <= 2

/// Adds the columns of a square block, the first one first; lane i sums row i.
QZK_INLINE Doubles addColumns(Doubles sums, const Doubles (&rows)[lanes]) {
#if QZK_SIMD_LEVEL == 1
    const auto row0 = (__m128d)rows[0], row1 = (__m128d)rows[1];
    sums += (Doubles)_mm_unpacklo_pd(row0, row1);
    return sums + (Doubles)_mm_unpackhi_pd(row0, row1);
#else
    const auto row0 = (__m256d)rows[0], row1 = (__m256d)rows[1];
    const auto row2 = (__m256d)rows[2], row3 = (__m256d)rows[3];
    const __m256d even01 = _mm256_unpacklo_pd(row0, row1), odd01 = _mm256_unpackhi_pd(row0, row1);
    const __m256d even23 = _mm256_unpacklo_pd(row2, row3), odd23 = _mm256_unpackhi_pd(row2, row3);
    sums += (Doubles)_mm256_permute2f128_pd(even01, even23, 0x20);
    sums += (Doubles)_mm256_permute2f128_pd(odd01, odd23, 0x20);
    sums += (Doubles)_mm256_permute2f128_pd(even01, even23, 0x31);
    return sums + (Doubles)_mm256_permute2f128_pd(odd01, odd23, 0x31);
#endif
}

/// A group while its filters are summed.
struct GroupSums {
    static constexpr std::size_t vectors = FilterGroup::filters / lanes;
    Doubles sums[vectors] = {};

    /// Adds the block of bins from `step` on.
    __attribute__((always_inline)) void add(const FilterGroup &group, const float *spectrum,
                                            std::size_t step) {
        constexpr auto filters = FilterGroup::filters, block = FilterGroup::block;
        const double *const weights = group.weights + filters * step;
        for (std::size_t part = 0; part < block; part += lanes) {
            for (std::size_t v = 0; v < vectors; ++v) {
                Doubles products[lanes];
                for (std::size_t row = 0; row < lanes; ++row) {
                    const std::size_t filter = v * lanes + row;
                    products[row] = load(weights + filter * block + part) *
                                    loadWidened(spectrum + group.start[filter] + step + part);
                }
                sums[v] = addColumns(sums[v], products);
            }
        }
    }

    /// Writes the sums and returns their total by lanes.
    __attribute__((always_inline)) Doubles store(double *filterOutput) const {
        Doubles total = {};
        for (std::size_t v = 0; v < vectors; ++v) {
            simd::store(filterOutput + v * lanes, sums[v]);
            total += sums[v];
        }
        return total;
    }
};

/// Two groups at a time as far as both have bins: the sums of one are a chain of additions that each wait for
/// the one before.
Doubles sumGroups(const FilterGroup &a, const FilterGroup &b, const float *spectrum, double *outputA,
                  double *outputB) {
    const auto stepsA = static_cast<std::size_t>(a.steps), stepsB = static_cast<std::size_t>(b.steps);
    GroupSums sumsA, sumsB;
    std::size_t step = 0;
    for (; step < stepsA && step < stepsB; step += FilterGroup::block) {
        sumsA.add(a, spectrum, step);
        sumsB.add(b, spectrum, step);
    }
    for (std::size_t at = step; at < stepsA; at += FilterGroup::block)
        sumsA.add(a, spectrum, at);
    for (; step < stepsB; step += FilterGroup::block)
        sumsB.add(b, spectrum, step);
    return sumsA.store(outputA) + sumsB.store(outputB);
}

/// Lanes are filters. A zero weight outside the filter adds a zero, which leaves a sum that started at +0 as
/// it is, unless the spectrum there is infinite or not a number: then that sum and the total become not a
/// number, and the ordered sums over the filters' own bins decide.
void filterBank(const FilterGroup *groups, std::size_t nGroups, const float *spectrum, double *filterOutput) {
    static constexpr FilterGroup none = {};
    double unused[FilterGroup::filters];
    Doubles total = {};
    // From the end, where the filters of a bank are the widest.
    for (std::size_t left = nGroups; left > 0; left -= left > 1 ? 2 : 1) {
        const FilterGroup &last = groups[left - 1];
        double *const output = filterOutput + (left - 1) * FilterGroup::filters;
        total += left > 1 ? sumGroups(last, groups[left - 2], spectrum, output, output - FilterGroup::filters)
                          : sumGroups(last, none, spectrum, output, unused);
    }
    bool undefined = false;
    for (std::size_t lane = 0; lane < lanes; ++lane)
        undefined |= total[lane] != total[lane];
    if (undefined) plain::filterBank(groups, nGroups, spectrum, filterOutput);
}

#endif

/// Lanes are coefficients.
void cosineTransform(const double *filterOutput, std::size_t nFilters, const double *factors,
                     std::size_t nCoeffs, float *dst) {
    constexpr auto vectors = coefficientBlock / lanes;
    const std::size_t stride = coefficientStride(nCoeffs);
    for (std::size_t k = 0; k < nCoeffs; k += coefficientBlock) {
        Doubles sums[vectors] = {};
        for (std::size_t j = 0; j < nFilters; ++j) {
            const Doubles output = splat(filterOutput[j]);
            for (std::size_t v = 0; v < vectors; ++v)
                sums[v] += output * load(factors + j * stride + k + v * lanes);
        }
        float coefficients[coefficientBlock];
        for (std::size_t v = 0; v < vectors; ++v)
            storeNarrowed(coefficients + v * lanes, sums[v]);
        const std::size_t n = nCoeffs - k < coefficientBlock ? nCoeffs - k : coefficientBlock;
        __builtin_memcpy(dst + k, coefficients, n * sizeof(float));
    }
}

} // namespace

void QZK_LEVEL::install(CepstrumKernels &kernels) {
    kernels.preEmphasizeFloats = preEmphasizeFloats;
    kernels.preEmphasizeShorts = preEmphasizeShorts;
#if QZK_SIMD_LEVEL <= 2
    kernels.filterBank = filterBank;
#endif
    kernels.cosineTransform = cosineTransform;
}

} // namespace qzk::simd

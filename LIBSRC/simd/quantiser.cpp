#include "simd/quantiser.hpp"

#include "common/unaligned.hpp"
#include "simd/columns.hpp"

// A code's sum is ordered, so the lanes are codes: sixteen sums run side by side over the columns of a block
// of sixteen codes.
namespace qzk::simd {
namespace {

QZK_INLINE Vec<double> root(Vec<double> v) {
#if QZK_SIMD_LEVEL == 1
    return (Vec<double>)_mm_sqrt_pd((__m128d)v);
#elif QZK_SIMD_LEVEL == 2
    return (Vec<double>)_mm256_sqrt_pd((__m256d)v);
#else
    return (Vec<double>)_mm512_sqrt_pd((__m512d)v);
#endif
}

QZK_INLINE void storeDistances(float *to, Vec<double> v) { storeNarrowed(to, v); }

QZK_INLINE void storeDistances(std::int32_t *to, Vec<double> v) {
    const Vec<double> largest = splat<double>(INT32_MAX);
#if QZK_SIMD_LEVEL == 1
    _mm_storel_epi64(reinterpret_cast<__m128i *>(to),
                     _mm_cvttpd_epi32(_mm_min_pd((__m128d)v, (__m128d)largest)));
#elif QZK_SIMD_LEVEL == 2
    _mm_storeu_si128(reinterpret_cast<__m128i *>(to),
                     _mm256_cvttpd_epi32(_mm256_min_pd((__m256d)v, (__m256d)largest)));
#else
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(to),
                        _mm512_cvttpd_epi32(_mm512_min_pd((__m512d)v, (__m512d)largest)));
#endif
}

template <class T>
QZK_INLINE void groupDistances(const T *x, std::size_t dim, const T *codes, bool wantsRoot,
                               CodeDistance<T> *distances) {
    Vec<double> sums[groupVectors] = {};
    forEachColumn(codes, dim, [&](std::size_t i, std::size_t v, Vec<double> column) {
        const Vec<double> d = splat(static_cast<double>(elementAt(x, i))) - column;
        sums[v] += d * d;
    });
    for (std::size_t v = 0; v < groupVectors; ++v)
        storeDistances(distances + v * lanesOf<double>, wantsRoot ? root(sums[v]) : sums[v]);
}

template <class T>
QZK_INLINE void definition(const T *x, std::size_t dim, const T *codebook, std::size_t nCodes, bool wantsRoot,
                           CodeDistance<T> *distances) {
    if constexpr (sizeof(T) == sizeof(float))
        plain::quantiser.ofFloats.codeDistances(x, dim, codebook, nCodes, wantsRoot, distances);
    else
        plain::quantiser.ofWords.codeDistances(x, dim, codebook, nCodes, wantsRoot, distances);
}

template <class T>
void codeDistances(const T *x, std::size_t dim, const T *codebook, std::size_t nCodes, bool wantsRoot,
                   CodeDistance<T> *distances) {
    if (dim < turnedElements || nCodes < groupRows)
        return definition(x, dim, codebook, nCodes, wantsRoot, distances);
    const auto group = [=](std::size_t k) {
        groupDistances(x, dim, codebook + k * dim, wantsRoot, distances + k);
    };
    std::size_t k = 0;
    for (; k + groupRows <= nCodes; k += groupRows)
        group(k);
    // Some of the last group's codes are computed a second time.
    if (k < nCodes) group(nCodes - groupRows);
}

} // namespace

void QZK_LEVEL::install(QuantiserKernels &kernels) {
    kernels = {{codeDistances<float>}, {codeDistances<std::int16_t>}};
}

} // namespace qzk::simd

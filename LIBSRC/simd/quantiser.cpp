#include "simd/quantiser.hpp"

#include "common/unaligned.hpp"
#include "simd/vec.hpp"

// A code's sum is ordered, so the lanes are codes: sixteen sums run side by side over the columns of a block
// of sixteen codes.
namespace qzk::simd {
namespace {

constexpr std::size_t groupCodes = 16;
constexpr std::size_t blockElements = 4;
constexpr std::size_t sumVectors = groupCodes / lanesOf<double>;

/// Four elements of one code, or, from AVX2 on, four of code k beside four of code k + 4.
#if QZK_SIMD_LEVEL == 1
constexpr std::size_t rowBytes = 16;
#else
constexpr std::size_t rowBytes = 32;
#endif
template <class T>
struct RowOf {
    typedef T type __attribute__((vector_size(rowBytes)));
};
using FloatRow = RowOf<float>::type;
using IntRow = RowOf<std::int32_t>::type;

constexpr std::size_t rowCodes = rowBytes / 4;
constexpr std::size_t columnRows = groupCodes / rowCodes;

QZK_INLINE __m128i loadFour(const float *from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(from));
}
QZK_INLINE __m128i loadFour(const std::int16_t *from) {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(from));
}

#if QZK_SIMD_LEVEL == 1
QZK_INLINE FloatRow loadRow(const float *code, std::size_t) { return (FloatRow)loadFour(code); }
QZK_INLINE IntRow loadRow(const std::int16_t *code, std::size_t) {
    const __m128i words = loadFour(code);
    return (IntRow)_mm_srai_epi32(_mm_unpacklo_epi16(words, words), 16);
}
#else
QZK_INLINE FloatRow loadRow(const float *code, std::size_t dim) {
    return (FloatRow)_mm256_set_m128i(loadFour(code + 4 * dim), loadFour(code));
}
QZK_INLINE IntRow loadRow(const std::int16_t *code, std::size_t dim) {
    return (IntRow)_mm256_cvtepi16_epi32(_mm_unpacklo_epi64(loadFour(code), loadFour(code + 4 * dim)));
}
#endif

/// Each four rows of 16 bytes become columns.
template <class Row>
QZK_INLINE void transpose(const Row (&row)[4], Row (&column)[4]) {
#if QZK_SIMD_LEVEL == 1
    const auto r0 = (__m128i)row[0], r1 = (__m128i)row[1], r2 = (__m128i)row[2], r3 = (__m128i)row[3];
    const __m128i low01 = _mm_unpacklo_epi32(r0, r1), high01 = _mm_unpackhi_epi32(r0, r1);
    const __m128i low23 = _mm_unpacklo_epi32(r2, r3), high23 = _mm_unpackhi_epi32(r2, r3);
    column[0] = (Row)_mm_unpacklo_epi64(low01, low23);
    column[1] = (Row)_mm_unpackhi_epi64(low01, low23);
    column[2] = (Row)_mm_unpacklo_epi64(high01, high23);
    column[3] = (Row)_mm_unpackhi_epi64(high01, high23);
#else
    const auto r0 = (__m256i)row[0], r1 = (__m256i)row[1], r2 = (__m256i)row[2], r3 = (__m256i)row[3];
    const __m256i low01 = _mm256_unpacklo_epi32(r0, r1), high01 = _mm256_unpackhi_epi32(r0, r1);
    const __m256i low23 = _mm256_unpacklo_epi32(r2, r3), high23 = _mm256_unpackhi_epi32(r2, r3);
    column[0] = (Row)_mm256_unpacklo_epi64(low01, low23);
    column[1] = (Row)_mm256_unpackhi_epi64(low01, low23);
    column[2] = (Row)_mm256_unpacklo_epi64(high01, high23);
    column[3] = (Row)_mm256_unpackhi_epi64(high01, high23);
#endif
}

/// Vector v of a column's sixteen elements, as doubles.
#if QZK_SIMD_LEVEL == 1
QZK_INLINE Vec<double> widened(const FloatRow (&column)[columnRows], std::size_t v) {
    const auto four = (__m128)column[v / 2];
    return (Vec<double>)_mm_cvtps_pd(v % 2 == 0 ? four : _mm_movehl_ps(four, four));
}
QZK_INLINE Vec<double> widened(const IntRow (&column)[columnRows], std::size_t v) {
    const auto four = (__m128i)column[v / 2];
    return (Vec<double>)_mm_cvtepi32_pd(v % 2 == 0 ? four : _mm_unpackhi_epi64(four, four));
}
#elif QZK_SIMD_LEVEL == 2
QZK_INLINE __m128i halfOf(__m256i row, std::size_t half) {
    return half == 0 ? _mm256_castsi256_si128(row) : _mm256_extracti128_si256(row, 1);
}
QZK_INLINE Vec<double> widened(const FloatRow (&column)[columnRows], std::size_t v) {
    return (Vec<double>)_mm256_cvtps_pd((__m128)halfOf((__m256i)column[v / 2], v % 2));
}
QZK_INLINE Vec<double> widened(const IntRow (&column)[columnRows], std::size_t v) {
    return (Vec<double>)_mm256_cvtepi32_pd(halfOf((__m256i)column[v / 2], v % 2));
}
#else
QZK_INLINE Vec<double> widened(const FloatRow (&column)[columnRows], std::size_t v) {
    return (Vec<double>)_mm512_cvtps_pd((__m256)column[v]);
}
QZK_INLINE Vec<double> widened(const IntRow (&column)[columnRows], std::size_t v) {
    return (Vec<double>)_mm512_cvtepi32_pd((__m256i)column[v]);
}
#endif

/// Adds the squares of elements firstUsed to 3 of the block that begins at x and at `codes` in each code.
template <std::size_t firstUsed, class T>
QZK_INLINE void addBlock(const T *x, const T *codes, std::size_t dim, Vec<double> (&sums)[sumVectors]) {
    using Row = decltype(loadRow(codes, dim));
    Row columns[blockElements][columnRows];
    for (std::size_t r = 0; r < columnRows; ++r) {
        const T *const first = codes + rowCodes * r * dim;
        const Row rows[4] = {loadRow(first, dim), loadRow(first + dim, dim), loadRow(first + 2 * dim, dim),
                             loadRow(first + 3 * dim, dim)};
        Row turned[4];
        transpose(rows, turned);
        for (std::size_t i = 0; i < blockElements; ++i)
            columns[i][r] = turned[i];
    }
    for (std::size_t i = firstUsed; i < blockElements; ++i) {
        const Vec<double> xi = splat(static_cast<double>(elementAt(x, i)));
        for (std::size_t v = 0; v < sumVectors; ++v) {
            const Vec<double> d = xi - widened(columns[i], v);
            sums[v] += d * d;
        }
    }
}

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
    Vec<double> sums[sumVectors] = {};
    std::size_t i = 0;
    for (; i + blockElements <= dim; i += blockElements)
        addBlock<0>(x + i, codes + i, dim, sums);
    // The rest is the end of a block that overlaps the last one: no load leaves the codebook.
    const std::size_t last = dim - blockElements;
    switch (dim - i) {
    case 3:
        addBlock<1>(x + last, codes + last, dim, sums);
        break;
    case 2:
        addBlock<2>(x + last, codes + last, dim, sums);
        break;
    case 1:
        addBlock<3>(x + last, codes + last, dim, sums);
        break;
    default:
        break;
    }
    for (std::size_t v = 0; v < sumVectors; ++v)
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
    if (dim < blockElements || nCodes < groupCodes)
        return definition(x, dim, codebook, nCodes, wantsRoot, distances);
    const auto group = [=](std::size_t k) {
        groupDistances(x, dim, codebook + k * dim, wantsRoot, distances + k);
    };
    std::size_t k = 0;
    for (; k + groupCodes <= nCodes; k += groupCodes)
        group(k);
    // Some of the last group's codes are computed a second time.
    if (k < nCodes) group(nCodes - groupCodes);
}

} // namespace

void QZK_LEVEL::install(QuantiserKernels &kernels) {
    kernels = {{codeDistances<float>}, {codeDistances<std::int16_t>}};
}

} // namespace qzk::simd

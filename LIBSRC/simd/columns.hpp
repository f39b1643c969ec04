// Rows of a matrix turned into columns, so that the lanes of ordered sums are rows.
#pragma once

#include "simd/vec.hpp"

namespace qzk::simd {
namespace {

/// Rows that are turned together, and their number of vectors of doubles.
constexpr std::size_t groupRows = 16;
constexpr std::size_t groupVectors = groupRows / lanesOf<double>;
/// Elements of a row that are turned together: shorter rows have no columns here.
constexpr std::size_t turnedElements = 4;

/// Four elements of one row, or, from AVX2 on, four of row k beside four of row k + 4.
#if QZK_SIMD_LEVEL == 1
constexpr std::size_t turnedBytes = 16;
#else
constexpr std::size_t turnedBytes = 32;
#endif
template <class T>
struct TurnedOf {
    typedef T type __attribute__((vector_size(turnedBytes)));
};
using Floats4 = TurnedOf<float>::type;
using Ints4 = TurnedOf<std::int32_t>::type;

constexpr std::size_t turnedRows = turnedBytes / 4;
constexpr std::size_t columnParts = groupRows / turnedRows;

QZK_INLINE __m128i loadFour(const float *from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(from));
}
QZK_INLINE __m128i loadFour(const std::int16_t *from) {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(from));
}

#if QZK_SIMD_LEVEL == 1
QZK_INLINE Floats4 loadRows(const float *row, std::size_t) { return (Floats4)loadFour(row); }
QZK_INLINE Ints4 loadRows(const std::int16_t *row, std::size_t) {
    const __m128i words = loadFour(row);
    return (Ints4)_mm_srai_epi32(_mm_unpacklo_epi16(words, words), 16);
}
#else
QZK_INLINE Floats4 loadRows(const float *row, std::size_t stride) {
    return (Floats4)_mm256_set_m128i(loadFour(row + 4 * stride), loadFour(row));
}
QZK_INLINE Ints4 loadRows(const std::int16_t *row, std::size_t stride) {
    return (Ints4)_mm256_cvtepi16_epi32(_mm_unpacklo_epi64(loadFour(row), loadFour(row + 4 * stride)));
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
QZK_INLINE Vec<double> widened(const Floats4 (&column)[columnParts], std::size_t v) {
    const auto four = (__m128)column[v / 2];
    return (Vec<double>)_mm_cvtps_pd(v % 2 == 0 ? four : _mm_movehl_ps(four, four));
}
QZK_INLINE Vec<double> widened(const Ints4 (&column)[columnParts], std::size_t v) {
    const auto four = (__m128i)column[v / 2];
    return (Vec<double>)_mm_cvtepi32_pd(v % 2 == 0 ? four : _mm_unpackhi_epi64(four, four));
}
#elif QZK_SIMD_LEVEL == 2
QZK_INLINE __m128i halfOf(__m256i row, std::size_t half) {
    return half == 0 ? _mm256_castsi256_si128(row) : _mm256_extracti128_si256(row, 1);
}
QZK_INLINE Vec<double> widened(const Floats4 (&column)[columnParts], std::size_t v) {
    return (Vec<double>)_mm256_cvtps_pd((__m128)halfOf((__m256i)column[v / 2], v % 2));
}
QZK_INLINE Vec<double> widened(const Ints4 (&column)[columnParts], std::size_t v) {
    return (Vec<double>)_mm256_cvtepi32_pd(halfOf((__m256i)column[v / 2], v % 2));
}
#else
QZK_INLINE Vec<double> widened(const Floats4 (&column)[columnParts], std::size_t v) {
    return (Vec<double>)_mm512_cvtps_pd((__m256)column[v]);
}
QZK_INLINE Vec<double> widened(const Ints4 (&column)[columnParts], std::size_t v) {
    return (Vec<double>)_mm512_cvtepi32_pd((__m256i)column[v]);
}
#endif

/// The columns first + from to first + 3.
template <std::size_t from, class T, class Add>
QZK_INLINE void addTurned(const T *rows, std::size_t stride, std::size_t first, Add add) {
    using Part = decltype(loadRows(rows, stride));
    Part columns[turnedElements][columnParts];
    for (std::size_t p = 0; p < columnParts; ++p) {
        const T *const row = rows + turnedRows * p * stride + first;
        const Part loaded[4] = {loadRows(row, stride), loadRows(row + stride, stride),
                                loadRows(row + 2 * stride, stride), loadRows(row + 3 * stride, stride)};
        Part turned[4];
        transpose(loaded, turned);
        for (std::size_t i = 0; i < turnedElements; ++i)
            columns[i][p] = turned[i];
    }
    for (std::size_t i = from; i < turnedElements; ++i)
        for (std::size_t v = 0; v < groupVectors; ++v)
            add(first + i, v, widened(columns[i], v));
}

/// Calls add(i, v, values) for each column i of the group of rows, upwards; `values` are vector v of the
/// column as doubles. Rows have n elements, at least turnedElements, and follow one another.
template <class T, class Add>
QZK_INLINE void forEachColumn(const T *rows, std::size_t n, Add add) {
    std::size_t i = 0;
    for (; i + turnedElements <= n; i += turnedElements)
        addTurned<0>(rows, n, i, add);
    // The rest is the end of four elements that overlap the last ones: no load leaves the matrix.
    switch (n - i) {
    case 3:
        addTurned<1>(rows, n, n - turnedElements, add);
        break;
    case 2:
        addTurned<2>(rows, n, n - turnedElements, add);
        break;
    case 1:
        addTurned<3>(rows, n, n - turnedElements, add);
        break;
    default:
        break;
    }
}

} // namespace
} // namespace qzk::simd

// Vectors of the level that this translation unit is built for. Everything here is always inlined and has
// internal linkage: a function with external linkage would exist once per level, and the linker may keep the
// highest level's copy for every processor. For the same reason a level's source includes no standard
// containers or algorithms.
#pragma once

#include <cstddef>
#include <cstdint>

// GCC 12 takes the deliberately undefined operands inside its own intrinsics for mistakes.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif
#include <immintrin.h>
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

#if QZK_SIMD_LEVEL == 1
#define QZK_LEVEL sse2
#define QZK_VECTOR_BYTES 16
#elif QZK_SIMD_LEVEL == 2
#define QZK_LEVEL avx2
#define QZK_VECTOR_BYTES 32
#elif QZK_SIMD_LEVEL == 3
#define QZK_LEVEL avx512
#define QZK_VECTOR_BYTES 64
#else
#error "QZK_SIMD_LEVEL names no level"
#endif

#define QZK_INLINE static inline __attribute__((always_inline))

namespace qzk::simd {
namespace {

template <class T>
struct VecOf {
    typedef T type __attribute__((vector_size(QZK_VECTOR_BYTES)));
};

/// A full vector of T; +, -, *, &, |, ^, <<, >> and comparisons work lane by lane.
template <class T>
using Vec = typename VecOf<T>::type;

template <class T>
constexpr std::size_t lanesOf = QZK_VECTOR_BYTES / sizeof(T);

template <class T>
QZK_INLINE Vec<T> load(const T *from) {
    Vec<T> v;
    __builtin_memcpy(&v, from, sizeof v);
    return v;
}

template <class T>
QZK_INLINE void store(T *to, Vec<T> v) {
    __builtin_memcpy(to, &v, sizeof v);
}

template <class T>
QZK_INLINE Vec<T> splat(T value) {
    return value - Vec<T>{};
}

/// As many floats as a vector has doubles, widened exactly.
QZK_INLINE Vec<double> loadWidened(const float *from) {
#if QZK_SIMD_LEVEL == 1
    return (Vec<double>)_mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64((const __m128i *)from)));
#elif QZK_SIMD_LEVEL == 2
    return (Vec<double>)_mm256_cvtps_pd(_mm_loadu_ps(from));
#else
    return (Vec<double>)_mm512_cvtps_pd(_mm256_loadu_ps(from));
#endif
}

/// The same of words.
QZK_INLINE Vec<double> loadWidened(const std::int16_t *from) {
#if QZK_SIMD_LEVEL == 1
    std::int32_t two;
    __builtin_memcpy(&two, from, sizeof two);
    const __m128i words = _mm_cvtsi32_si128(two);
    return (Vec<double>)_mm_cvtepi32_pd(_mm_srai_epi32(_mm_unpacklo_epi16(words, words), 16));
#elif QZK_SIMD_LEVEL == 2
    return (Vec<double>)_mm256_cvtepi32_pd(_mm_cvtepi16_epi32(_mm_loadl_epi64((const __m128i *)from)));
#else
    return (Vec<double>)_mm512_cvtepi32_pd(_mm256_cvtepi16_epi32(_mm_loadu_si128((const __m128i *)from)));
#endif
}

/// a b + c, rounded once or twice: for uses whose bound covers both.
QZK_INLINE Vec<double> multiplyAdd(Vec<double> a, Vec<double> b, Vec<double> c) {
#if QZK_SIMD_LEVEL == 1
    return a * b + c;
#elif QZK_SIMD_LEVEL == 2
    return (Vec<double>)_mm256_fmadd_pd((__m256d)a, (__m256d)b, (__m256d)c);
#else
    return (Vec<double>)_mm512_fmadd_pd((__m512d)a, (__m512d)b, (__m512d)c);
#endif
}

/// The lanes rounded to float.
QZK_INLINE void storeNarrowed(float *to, Vec<double> v) {
#if QZK_SIMD_LEVEL == 1
    _mm_storel_epi64((__m128i *)to, _mm_castps_si128(_mm_cvtpd_ps((__m128d)v)));
#elif QZK_SIMD_LEVEL == 2
    _mm_storeu_ps(to, _mm256_cvtpd_ps((__m256d)v));
#else
    _mm256_storeu_ps(to, _mm512_cvtpd_ps((__m512d)v));
#endif
}

} // namespace
} // namespace qzk::simd

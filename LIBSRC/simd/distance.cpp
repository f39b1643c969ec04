#include "simd/distance.hpp"
#include "simd/vec.hpp"

// Float sums are ordered and their additions wait for one another: no lanes can speed them up, and the
// definition stays. Sums of words are sums of integers, exact in any order as long as no partial sum can
// reach 2^53; where one might, the definition runs.
namespace qzk::simd {
namespace {

constexpr double exactSums = 0x1p53;

constexpr std::size_t wordLanes = lanesOf<std::int16_t>;

/// Operands may have any address.
QZK_INLINE std::int32_t element(const std::int16_t *from, std::size_t i) {
    std::int16_t value;
    __builtin_memcpy(&value, from + i, sizeof value);
    return value;
}

QZK_INLINE double magnitude(double value) { return value < 0.0 ? -value : value; }

QZK_INLINE double differenceAt(const std::int16_t *a, const std::int16_t *b, std::size_t i) {
    return static_cast<double>(element(a, i) - element(b, i));
}

using Words = Vec<std::int16_t>;
using Halves = Vec<std::uint16_t>;
using Quads = Vec<std::uint64_t>;

#if QZK_SIMD_LEVEL == 1
QZK_INLINE Quads addPairs(Words a, Words b) { return (Quads)_mm_madd_epi16((__m128i)a, (__m128i)b); }
QZK_INLINE Halves largerOf(Words a, Words b) { return (Halves)_mm_max_epi16((__m128i)a, (__m128i)b); }
QZK_INLINE Halves smallerOf(Words a, Words b) { return (Halves)_mm_min_epi16((__m128i)a, (__m128i)b); }
QZK_INLINE Halves highProduct(Halves a, Halves b) { return (Halves)_mm_mulhi_epu16((__m128i)a, (__m128i)b); }
#elif QZK_SIMD_LEVEL == 2
QZK_INLINE Quads addPairs(Words a, Words b) { return (Quads)_mm256_madd_epi16((__m256i)a, (__m256i)b); }
QZK_INLINE Halves largerOf(Words a, Words b) { return (Halves)_mm256_max_epi16((__m256i)a, (__m256i)b); }
QZK_INLINE Halves smallerOf(Words a, Words b) { return (Halves)_mm256_min_epi16((__m256i)a, (__m256i)b); }
QZK_INLINE Halves highProduct(Halves a, Halves b) {
    return (Halves)_mm256_mulhi_epu16((__m256i)a, (__m256i)b);
}
#else
QZK_INLINE Quads addPairs(Words a, Words b) { return (Quads)_mm512_madd_epi16((__m512i)a, (__m512i)b); }
QZK_INLINE Halves largerOf(Words a, Words b) { return (Halves)_mm512_max_epi16((__m512i)a, (__m512i)b); }
QZK_INLINE Halves smallerOf(Words a, Words b) { return (Halves)_mm512_min_epi16((__m512i)a, (__m512i)b); }
QZK_INLINE Halves highProduct(Halves a, Halves b) {
    return (Halves)_mm512_mulhi_epu16((__m512i)a, (__m512i)b);
}
#endif

/// The first `count` words, then zeros, which add nothing to any of the sums.
QZK_INLINE Words loadFirst(const std::int16_t *from, std::size_t count) {
#if QZK_SIMD_LEVEL == 3
    return (Words)_mm512_maskz_loadu_epi16(_cvtu32_mask32((1u << count) - 1), from);
#else
    Words v = {};
    for (std::size_t i = 0; i < count; ++i)
        v[i] = static_cast<std::int16_t>(element(from, i));
    return v;
#endif
}

/// Adds the unsigned 32-bit lanes of v in pairs.
QZK_INLINE Quads pairSums(Quads v) { return (v & splat<std::uint64_t>(0xFFFFFFFF)) + (v >> 32); }

QZK_INLINE Halves magnitudes(Words a, Words b) { return largerOf(a, b) - smallerOf(a, b); }

QZK_INLINE std::int64_t total(Quads lanesSum) {
    std::uint64_t sum = 0;
    for (std::size_t lane = 0; lane < lanesOf<std::uint64_t>; ++lane)
        sum += lanesSum[lane];
    return static_cast<std::int64_t>(sum);
}

/// Sum of what `add` gives for the pairs of vectors that cover a and b.
template <class Add>
QZK_INLINE std::int64_t sumOfVectors(const std::int16_t *a, const std::int16_t *b, std::size_t n, Add add) {
    Quads sum = {};
    std::size_t i = 0;
    for (; i + wordLanes <= n; i += wordLanes)
        sum += add(load(a + i), load(b + i));
    if (i < n) sum += add(loadFirst(a + i, n - i), loadFirst(b + i, n - i));
    return total(sum);
}

/// Sum of a[i] b[i].
QZK_INLINE std::int64_t dot(const std::int16_t *a, const std::int16_t *b, std::size_t n) {
    // A pair's sum lies in [-2 * 32768 * 32767, 2^31]: raised by the bound it is an unsigned 32-bit number.
    constexpr std::uint32_t raise = 2u * 32768u * 32767u;
    const std::int64_t raised = sumOfVectors(a, b, n, [](Words x, Words y) {
        return pairSums((Quads)((Vec<std::uint32_t>)addPairs(x, y) + splat(raise)));
    });
    const std::size_t pairs = (n + wordLanes - 1) / wordLanes * (wordLanes / 2);
    return raised - static_cast<std::int64_t>(pairs) * raise;
}

/// The elements of v added in fours.
QZK_INLINE Quads quadSums(Halves v) {
    const auto halves = (Vec<std::uint32_t>)v;
    return pairSums((Quads)((halves & splat<std::uint32_t>(0xFFFF)) + (halves >> 16)));
}

/// Sum of |m[i]|.
QZK_INLINE double magnitudesOf(const std::int16_t *m, std::size_t n) {
    return static_cast<double>(
        sumOfVectors(m, m, n, [](Words x, Words) { return quadSums(magnitudes(x, Words{})); }));
}

double dotProduct(const std::int16_t *a, const std::int16_t *b, std::size_t n) {
    if (n > std::size_t{1} << 23) return plain::ofWords.dotProduct(a, b, n); // products up to 2^30
    return static_cast<double>(dot(a, b, n));
}

double cityBlock(const std::int16_t *a, const std::int16_t *b, std::size_t n) {
    // Lengths are below 2^31: the sum is below 2^47.
    return static_cast<double>(
        sumOfVectors(a, b, n, [](Words x, Words y) { return quadSums(magnitudes(x, y)); }));
}

double squaredEuclidean(const std::int16_t *a, const std::int16_t *b, std::size_t n) {
    if (n > std::size_t{1} << 21) return plain::ofWords.squaredEuclidean(a, b, n); // squares below 2^32
    return static_cast<double>(sumOfVectors(a, b, n, [](Words x, Words y) {
        const Halves d = magnitudes(x, y);
        const auto low = (Vec<std::uint32_t>)(d * d), high = (Vec<std::uint32_t>)highProduct(d, d);
        const auto even = (low & splat<std::uint32_t>(0xFFFF)) | (high << 16);
        const auto odd = (low >> 16) | (high & splat<std::uint32_t>(0xFFFF0000));
        return pairSums((Quads)even) + pairSums((Quads)odd);
    }));
}

/// Sum of terms and sum of their magnitudes. Additions of magnitudes never round to below 2^53 what is not
/// below it, so that a small second sum proves the first one exact.
struct Terms {
    double sum, magnitudes;
};

QZK_INLINE Terms diagonalTerms(const std::int16_t *a, const std::int16_t *b, const std::int16_t *diagonal,
                               std::size_t n) {
    Vec<double> sum = {}, magnitudes = {};
    std::size_t i = 0;
    for (; i + lanesOf<double> <= n; i += lanesOf<double>) {
        const Vec<double> d = loadWidened(a + i) - loadWidened(b + i);
        const Vec<double> term = loadWidened(diagonal + i) * (d * d);
        sum += term;
        magnitudes += (Vec<double>)((Vec<std::int64_t>)term & splat<std::int64_t>(INT64_MAX));
    }
    Terms terms = {0.0, 0.0};
    const auto add = [&](double term) {
        terms.sum += term;
        terms.magnitudes += magnitude(term);
    };
    for (; i < n; ++i)
        add(element(diagonal, i) * (differenceAt(a, b, i) * differenceAt(a, b, i)));
    for (std::size_t lane = 0; lane < lanesOf<double>; ++lane) {
        terms.sum += sum[lane];
        terms.magnitudes += magnitudes[lane];
    }
    return terms;
}

double diagonalMahalanobis(const std::int16_t *a, const std::int16_t *b, const std::int16_t *diagonal,
                           std::size_t n) {
    constexpr std::size_t block = 256; // short enough that full-scale terms of both signs stay exact
    double sum = 0.0;
    for (std::size_t start = 0; start < n; start += block) {
        const std::size_t length = n - start < block ? n - start : block;
        const Terms terms = diagonalTerms(a + start, b + start, diagonal + start, length);
        if (magnitude(sum) + terms.magnitudes < exactSums) {
            sum += terms.sum;
            continue;
        }
        for (std::size_t i = start; i < start + length; ++i)
            sum += element(diagonal, i) * (differenceAt(a, b, i) * differenceAt(a, b, i));
    }
    return sum;
}

double mahalanobis(const std::int16_t *a, const std::int16_t *b, const std::int16_t *const *m,
                   std::size_t n) {
    double diagonal = 0.0, offDiagonal = 0.0, largest = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        const std::int16_t *const row = m[i];
        const double d = differenceAt(a, b, i);
        diagonal += element(row, i) * d * d;
        const double reach = magnitude(d) * largest;
        if (i >= wordLanes && magnitude(offDiagonal) + reach * magnitudesOf(row, i) < exactSums) {
            offDiagonal += static_cast<double>(dot(a, row, i) - dot(b, row, i)) * d;
        } else {
            for (std::size_t j = 0; j < i; ++j)
                offDiagonal += differenceAt(a, b, j) * element(row, j) * d;
        }
        largest = magnitude(d) > largest ? magnitude(d) : largest;
    }
    return 2.0 * offDiagonal + diagonal;
}

} // namespace

void QZK_LEVEL::install(DistanceKernels &kernels) {
    kernels.ofWords = {dotProduct, cityBlock, squaredEuclidean, diagonalMahalanobis, mahalanobis};
}

} // namespace qzk::simd

// Bounds of a mixture's values at many vectors, whose elements lie side by side. Every lane has a vector of
// its own.
#pragma once

#include "common/unaligned.hpp"
#include "simd/mixture.hpp"
#include "simd/vec.hpp"
#include "simd/vector_exponential.hpp"

namespace qzk::simd {
namespace {

/// Vectors of lanes that are computed together.
constexpr std::size_t besides = 4;

/// So that the bounds of words, whose densities are below 2^15 for each component, lie less than 2^17 apart,
/// whatever they become in fixed point.
constexpr std::size_t mostBounded = 256;

QZK_INLINE Vec<double> select(Vec<std::int64_t> mask, Vec<double> yes, Vec<double> no) {
    return (Vec<double>)((mask & (Vec<std::int64_t>)yes) | (~mask & (Vec<std::int64_t>)no));
}

QZK_INLINE Vec<double> absolute(Vec<double> v) {
    return (Vec<double>)((Vec<std::int64_t>)v & splat<std::int64_t>(INT64_MAX));
}

/// Exponents in doubles, and what each may be away from the defined one, relative to the size that it has.
template <std::size_t n>
struct Exponents {
    Vec<double> exponents[n], sizes[n];
    double error;
};

/// One bit for each lane.
QZK_INLINE unsigned signsOf(Vec<std::int64_t> v) {
#if QZK_SIMD_LEVEL == 1
    return static_cast<unsigned>(_mm_movemask_pd((__m128d)v));
#elif QZK_SIMD_LEVEL == 2
    return static_cast<unsigned>(_mm256_movemask_pd((__m256d)v));
#else
    return _mm512_movepi64_mask((__m512i)v);
#endif
}
QZK_INLINE bool anySign(Vec<std::int64_t> v) { return signsOf(v) != 0; }
QZK_INLINE bool anySign(Vec<std::int32_t> v) {
#if QZK_SIMD_LEVEL == 1
    return _mm_movemask_ps((__m128)v) != 0;
#elif QZK_SIMD_LEVEL == 2
    return _mm256_movemask_ps((__m256)v) != 0;
#else
    return _mm512_movepi32_mask((__m512i)v) != 0;
#endif
}

/// The mean of the greatest sums of magnitudes in a row and in a column.
template <class T>
QZK_INLINE double normOf(const T *const *rows, std::size_t dim) {
    constexpr std::size_t lanes = lanesOf<double>;
    alignas(64) double columnSums[mostTurned] = {};
    double greatestRow = 0.0, greatestColumn = 0.0;
    for (std::size_t r = 0; r < dim; ++r) {
        Vec<double> rowSums = {};
        std::size_t c = 0;
        for (; c + lanes <= dim; c += lanes) {
            const Vec<double> sizes = absolute(loadWidened(rows[r] + c));
            rowSums += sizes;
            store(columnSums + c, load(columnSums + c) + sizes);
        }
        double rowSum = 0.0;
        for (; c < dim; ++c) {
            const double size = __builtin_fabs(static_cast<double>(elementAt(rows[r], c)));
            rowSum += size;
            columnSums[c] += size;
        }
        for (std::size_t lane = 0; lane < lanes; ++lane)
            rowSum += rowSums[lane];
        greatestRow = rowSum > greatestRow ? rowSum : greatestRow;
    }
    for (std::size_t c = 0; c < dim; ++c)
        greatestColumn = columnSums[c] > greatestColumn ? columnSums[c] : greatestColumn;
    return 0.5 * (greatestRow + greatestColumn);
}

/// With u = 2^-53: a difference has an error of u, its square 3 u, and each of the n additions has u of the
/// sum, none of whose terms is negative. The factor has one more, and a product that is not fused with the
/// addition. In extended precision all these are 2^-11 of that.
/// False if an inverse variance is below 0.
template <class T, std::size_t n>
QZK_INLINE bool diagonalExponents(const T *mean, const T *diagonal, const double *columns, std::size_t dim,
                                  double factor, Exponents<n> &result) {
    Vec<double> forms[n] = {};
    double lowest = 0.0;
    for (std::size_t c = 0; c < dim; ++c, columns += turnedVectors) {
        const double center = elementAt(mean, c), inverse = elementAt(diagonal, c);
        lowest = inverse < lowest ? inverse : lowest;
        for (std::size_t k = 0; k < n; ++k) {
            const Vec<double> d = load(columns + k * lanesOf<double>) - splat(center);
            forms[k] = multiplyAdd(d * d, splat(inverse), forms[k]);
        }
    }
    for (std::size_t k = 0; k < n; ++k) {
        result.exponents[k] = forms[k] * splat(-factor);
        result.sizes[k] = -result.exponents[k];
    }
    result.error = (static_cast<double>(dim) + 8.0) * 0x1p-53;
    return lowest == 0.0;
}

/// The magnitudes of the terms add up to at most norm |d|^2, since 2 |d[r] d[c]| <= d[r]^2 + d[c]^2. In
/// doubles each term has an error of 4 u of its magnitude, and n additions inside and outside one of u; in
/// extended precision each of n^2 additions has one of 2^-64.
template <class T, std::size_t n>
QZK_INLINE void fullExponents(const T *mean, const T *const *rows, double norm, const double *columns,
                              std::size_t dim, double factor, Exponents<n> &result) {
    Vec<double> differences[mostTurned][n], forms[n] = {}, squares[n] = {};
    for (std::size_t c = 0; c < dim; ++c) {
        const double center = elementAt(mean, c);
        for (std::size_t k = 0; k < n; ++k) {
            const Vec<double> d = load(columns + c * turnedVectors + k * lanesOf<double>) - splat(center);
            differences[c][k] = d;
            squares[k] = multiplyAdd(d, d, squares[k]);
        }
    }
    for (std::size_t r = 0; r < dim; ++r) {
        Vec<double> sums[n] = {};
        for (std::size_t c = 0; c < dim; ++c) {
            const auto element = splat<double>(elementAt(rows[r], c));
            for (std::size_t k = 0; k < n; ++k)
                sums[k] = multiplyAdd(differences[c][k], element, sums[k]);
        }
        for (std::size_t k = 0; k < n; ++k)
            forms[k] = multiplyAdd(sums[k], differences[r][k], forms[k]);
    }
    for (std::size_t k = 0; k < n; ++k) {
        result.exponents[k] = absolute(forms[k]) * splat(-factor);
        result.sizes[k] = squares[k] * splat(norm * factor);
    }
    const auto size = static_cast<double>(dim);
    result.error = (2.0 * size + 16.0) * 0x1p-53 + size * size * 0x1p-64;
}

/// Values at n vectors of lanes, and what they may be away from the defined ones.
template <std::size_t n>
struct Densities {
    Vec<double> values[n], errors[n];
};

/// An exponential below e^least counts as anything from 0 up to that, and one whose product with the weight
/// is below 2^-1076 as nothing: as the defined sum is rounded to double with each component, such a one
/// leaves it as it is. The product with e^least is at least 2^-1041, so that only what counts as nothing
/// becomes 0.
template <std::size_t n>
QZK_INLINE void addExponentials(const Exponents<n> &found, double weight, double ownError,
                                Densities<n> &sums) {
    constexpr double ln2 = 0x1.62e42fefa39efp-1;
    const auto binade = static_cast<std::int32_t>(__builtin_bit_cast(std::uint64_t, weight) >> 52) - 1022;
    const double smallest = -(1040.0 + binade) * ln2, least = smallest > -700.0 ? smallest : -700.0;
    Vec<double> values[n], errors[n];
    Vec<std::int64_t> extreme = {};
    for (std::size_t k = 0; k < n; ++k) {
        const Vec<double> exponent = found.exponents[k];
        const Vec<std::int64_t> small = exponent < splat(least);
        values[k] = exponential(select(small, splat(least), exponent)) * splat(weight);
        // e^b - 1 < 1.001 b for b < 2^-10.
        errors[k] = multiplyAdd(found.sizes[k], splat(1.001 * found.error), splat(ownError));
        extreme |= small | (errors[k] >= splat(0x1p-10));
    }
    if (anySign(extreme)) {
        const auto nothing = splat(-(1077.0 + binade) * ln2);
        for (std::size_t k = 0; k < n; ++k) {
            const Vec<double> exponent = found.exponents[k];
            const Vec<std::int64_t> none = exponent + errors[k] < nothing, small = exponent < splat(least);
            errors[k] = select(errors[k] < splat(0x1p-10), errors[k], splat(__builtin_inf()));
            errors[k] = select(small, splat(1.0) + errors[k], errors[k]);
            values[k] = select(none, splat(0.0), values[k]);
            errors[k] = select(none, splat(0.0), errors[k]);
        }
    }
    for (std::size_t k = 0; k < n; ++k) {
        sums.values[k] += values[k];
        sums.errors[k] = multiplyAdd(values[k], errors[k], sums.errors[k]);
    }
}

/// Adds component m at the vectors from `columns` on; false if it has no bounds here.
template <std::size_t n, class T>
QZK_INLINE bool addComponent(const Mixture<T> &mixture, std::size_t m, double norm, const double *columns,
                             std::size_t dim, double *values, double *errors) {
    constexpr std::size_t lanes = lanesOf<double>;
    const double factor = 0.5 * mixture.scale;
    Exponents<n> found;
    if (mixture.inverseCovD == nullptr)
        fullExponents(mixture.means[m], mixture.inverseCov[m], norm, columns, dim, factor, found);
    else if (!diagonalExponents(mixture.means[m], mixture.inverseCovD[m], columns, dim, factor, found))
        return false;
    Densities<n> sums;
    for (std::size_t k = 0; k < n; ++k) {
        sums.values[k] = load(values + k * lanes);
        sums.errors[k] = load(errors + k * lanes);
    }
    // The exponential has an error of 2^-49 and its product with the weight one of 2^-53; the additions of
    // each component, here and where they are defined, have less than 2^-52 of the sum.
    const double ownError = 1.25 * 0x1p-49 + static_cast<double>(mixture.components) * 0x1p-51;
    addExponentials(found, elementAt(mixture.weights, m), ownError, sums);
    for (std::size_t k = 0; k < n; ++k) {
        store(values + k * lanes, sums.values[k]);
        store(errors + k * lanes, sums.errors[k]);
    }
    return true;
}

/// False if a component has no bounds here.
template <class T>
QZK_INLINE bool addAllComponents(const Mixture<T> &mixture, const double *columns, std::size_t vectors,
                                 std::size_t dim, double *values, double *errors) {
    if (mixture.tables != nullptr || mixture.components > mostBounded || dim > mostTurned) return false;
    constexpr std::size_t lanes = lanesOf<double>, block = besides * lanes;
    for (std::size_t m = 0; m < mixture.components; ++m) {
        const double weight = elementAt(mixture.weights, m);
        if (!(weight >= 0.0 && weight < __builtin_inf())) return false;
        const double norm = mixture.inverseCovD == nullptr ? normOf(mixture.inverseCov[m], dim) : 0.0;
        std::size_t i = 0;
        for (; i + block < vectors + lanes; i += block)
            if (!addComponent<besides>(mixture, m, norm, columns + i, dim, values + i, errors + i))
                return false;
        for (; i < vectors; i += lanes)
            if (!addComponent<1>(mixture, m, norm, columns + i, dim, values + i, errors + i)) return false;
    }
    return true;
}

/// Sums below 2^-1000 may have lost bits to underflow, here or where they are defined.
template <class T>
void bound(const Mixture<T> &mixture, const double *columns, std::size_t vectors, std::size_t dim,
           double *lower, double *upper) {
    alignas(64) double values[turnedVectors] = {}, errors[turnedVectors] = {};
    const bool bounded = addAllComponents(mixture, columns, vectors, dim, values, errors);
    for (std::size_t i = 0; i < vectors; ++i) {
        const bool known = bounded && (values[i] >= 0x1p-1000 || values[i] == 0.0);
        lower[i] = known ? values[i] - errors[i] : -__builtin_inf();
        upper[i] = known ? values[i] + errors[i] : __builtin_inf();
    }
}

} // namespace
} // namespace qzk::simd

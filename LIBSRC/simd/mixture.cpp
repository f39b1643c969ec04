#include "simd/mixture.hpp"
#include "common/unaligned.hpp"
#include "simd/columns.hpp"
#include "simd/extended.hpp"
#include "simd/mixture_bounds.hpp"
#include "simd/mixture_exponentials.hpp"
#include "simd/vec.hpp"

// Exponents with a bound of their error, in floats where that is enough, else in doubles, those that matter
// to the last bit in extended precision; then exponentials in pairs of doubles. The sum of the components is
// formed twice as it is defined, from lower and from upper bounds of the exponentials: every step of it rises
// with them, so that equal ends are the value. Where they differ, everything is done by the definition.
namespace qzk::simd {
namespace {

using std::int16_t;
using std::int64_t;
using std::size_t;
using std::uint64_t;

using Doubles = Vec<double>;
constexpr size_t lanes = lanesOf<double>;

constexpr size_t mostComponents = 256;
constexpr size_t mostDimensions = 512; // of floats and of full matrices

constexpr double unit = 0x1p-53;

QZK_INLINE double magnitude(double value) { return value < 0.0 ? -value : value; }

/// Calls use(i, mask) for vectors of T that cover dim elements, dim being a vector's length at least. The
/// last one ends with them; the mask, of integers of the same size, keeps what no other vector has.
template <class T, class Integer, class Use>
QZK_INLINE void forVectorsOf(size_t dim, Use use) {
    constexpr size_t length = lanesOf<T>;
    const auto all = splat<Integer>(-1);
    size_t i = 0;
    for (; i + length <= dim; i += length)
        use(i, all);
    if (i == dim) return;
    Vec<Integer> number;
    for (size_t lane = 0; lane < length; ++lane)
        number[lane] = static_cast<Integer>(lane);
    const auto seen = splat(static_cast<Integer>(i + length - dim));
    use(dim - length, (Vec<Integer>)(number >= seen));
}

template <class Use>
QZK_INLINE void forVectors(size_t dim, Use use) {
    forVectorsOf<double, int64_t>(dim, use);
}

/// A sum of terms and the sum of their magnitudes.
struct Form {
    double sum, magnitudes;
};

/// Of two vectors, the sum of the lanes of each.
QZK_INLINE Form totals(Doubles a, Doubles b) {
#if QZK_SIMD_LEVEL == 1
    const auto first = (__m128d)a, second = (__m128d)b;
#else
#if QZK_SIMD_LEVEL == 2
    const auto wideFirst = (__m256d)a, wideSecond = (__m256d)b;
#else
    const __m256d wideFirst =
        _mm256_add_pd(_mm512_castpd512_pd256((__m512d)a), _mm512_extractf64x4_pd((__m512d)a, 1));
    const __m256d wideSecond =
        _mm256_add_pd(_mm512_castpd512_pd256((__m512d)b), _mm512_extractf64x4_pd((__m512d)b, 1));
#endif
    const __m128d first = _mm_add_pd(_mm256_castpd256_pd128(wideFirst), _mm256_extractf128_pd(wideFirst, 1));
    const __m128d second =
        _mm_add_pd(_mm256_castpd256_pd128(wideSecond), _mm256_extractf128_pd(wideSecond, 1));
#endif
    const __m128d both = _mm_add_pd(_mm_unpacklo_pd(first, second), _mm_unpackhi_pd(first, second));
    return {both[0], both[1]};
}

struct Sums {
    Doubles sum = {}, sizes = {};

    [[gnu::always_inline]] void add(Doubles term, Vec<int64_t> mask) {
        sum += (Doubles)((Vec<int64_t>)term & mask);
        sizes += (Doubles)((Vec<int64_t>)term & mask & splat<int64_t>(INT64_MAX));
    }
    [[gnu::always_inline]] Form form() const { return totals(sum, sizes); }
};

template <class T>
QZK_INLINE double difference(const T *x, const T *mean, size_t i) {
    return static_cast<double>(elementAt(x, i)) - static_cast<double>(elementAt(mean, i));
}

template <class T>
QZK_INLINE Form diagonalForm(const T *x, const T *mean, const T *diagonal, size_t dim) {
    if (dim < lanes) {
        Form form = {0.0, 0.0};
        for (size_t i = 0; i < dim; ++i) {
            const double d = difference(x, mean, i), term = elementAt(diagonal, i) * (d * d);
            form = {form.sum + term, form.magnitudes + magnitude(term)};
        }
        return form;
    }
    Sums sums;
    forVectors(
        dim, [&](size_t i, Vec<int64_t> mask) __attribute__((always_inline)) {
            const Doubles d = loadWidened(x + i) - loadWidened(mean + i);
            sums.add(loadWidened(diagonal + i) * (d * d), mask);
        });
    return sums.form();
}

/// The same from the elements of x as doubles. As a rule no inverse variance is negative, and the sum of the
/// magnitudes is that of the terms.
QZK_INLINE Form diagonalForm(const double *wide, const float *x, const float *mean, const float *diagonal,
                             size_t dim) {
    if (dim < lanes) return diagonalForm(x, mean, diagonal, dim);
    Doubles sum = {};
    Vec<int64_t> signs = {};
    forVectors(
        dim, [&](size_t i, Vec<int64_t> mask) __attribute__((always_inline)) {
            const Doubles d = load(wide + i) - loadWidened(mean + i),
                          term = loadWidened(diagonal + i) * (d * d);
            sum += (Doubles)((Vec<int64_t>)term & mask);
            signs |= (Vec<int64_t>)term;
        });
    if (anySign(signs)) return diagonalForm(x, mean, diagonal, dim);
    const double form = totals(sum, sum).sum;
    return {form, form};
}

QZK_INLINE float total(Vec<float> v) {
#if QZK_SIMD_LEVEL == 1
    const auto four = (__m128)v;
#else
#if QZK_SIMD_LEVEL == 2
    const auto eight = (__m256)v;
#else
    const __m256 eight =
        _mm256_add_ps(_mm512_castps512_ps256((__m512)v), _mm512_extractf32x8_ps((__m512)v, 1));
#endif
    const __m128 four = _mm_add_ps(_mm256_castps256_ps128(eight), _mm256_extractf128_ps(eight, 1));
#endif
    const __m128 two = _mm_add_ps(four, _mm_movehl_ps(four, four));
    return two[0] + two[1];
}

/// The same in floats, of at least a vector's length. A not-a-number where an inverse variance is negative.
QZK_INLINE float roughForm(const float *x, const float *mean, const float *diagonal, size_t dim) {
    Vec<float> sum = {};
    Vec<std::int32_t> signs = {};
    forVectorsOf<float, std::int32_t>(
        dim, [&](size_t i, Vec<std::int32_t> mask) __attribute__((always_inline)) {
            const Vec<float> d = load(x + i) - load(mean + i), term = load(diagonal + i) * (d * d);
            sum += (Vec<float>)((Vec<std::int32_t>)term & mask);
            signs |= (Vec<std::int32_t>)term;
        });
    return anySign(signs) ? __builtin_nanf("") : total(sum);
}

#if QZK_SIMD_LEVEL >= 2

/// As many words as a vector has 32-bit integers, widened.
QZK_INLINE Vec<std::int32_t> integers(const int16_t *from) {
#if QZK_SIMD_LEVEL == 2
    return (Vec<std::int32_t>)_mm256_cvtepi16_epi32(_mm_loadu_si128((const __m128i *)from));
#else
    return (Vec<std::int32_t>)_mm512_cvtepi16_epi32(_mm256_loadu_si256((const __m256i *)from));
#endif
}

/// Products of the even 32-bit lanes.
QZK_INLINE Vec<int64_t> evenProducts(Vec<int64_t> a, Vec<int64_t> b) {
#if QZK_SIMD_LEVEL == 2
    return (Vec<int64_t>)_mm256_mul_epi32((__m256i)a, (__m256i)b);
#else
    return (Vec<int64_t>)_mm512_mul_epi32((__m512i)a, (__m512i)b);
#endif
}

/// In integers: |d| is below 2^16 and |d weight| at most 65535 * 32768 < 2^31, so that 32 bits hold it. A
/// term is below 2^47; sums of 2^16 of them fit 64 bits. The sum stands for the magnitudes too: all it has to
/// be is exact as a double.
QZK_INLINE Form diagonalForm(const int16_t *x, const int16_t *mean, const int16_t *diagonal, size_t dim) {
    constexpr size_t step = lanesOf<std::int32_t>;
    if (dim < step || dim > std::size_t{1} << 16) return diagonalForm<int16_t>(x, mean, diagonal, dim);
    Vec<int64_t> sums = {};
    const auto add = [&](size_t i, Vec<std::int32_t> mask) __attribute__((always_inline)) {
        const Vec<std::int32_t> d = (integers(x + i) - integers(mean + i)) & mask;
        const auto all = (Vec<int64_t>)d, weighted = (Vec<int64_t>)(d * integers(diagonal + i));
        sums += evenProducts(all, weighted) + evenProducts(all >> 32, weighted >> 32);
    };
    size_t i = 0;
    for (; i + step <= dim; i += step)
        add(i, splat<std::int32_t>(-1));
    if (i < dim) {
        Vec<std::int32_t> number;
        for (size_t lane = 0; lane < step; ++lane)
            number[lane] = static_cast<std::int32_t>(lane);
        add(dim - step, number >= splat(static_cast<std::int32_t>(i + step - dim)));
    }
    int64_t sum = 0;
    for (size_t lane = 0; lane < lanes; ++lane)
        sum += sums[lane];
    const auto form = static_cast<double>(sum);
    return {form, magnitude(form)};
}

#endif

/// d has room for dim differences.
template <class T>
QZK_INLINE Form fullForm(const T *x, const T *mean, const T *const *rows, size_t dim, double *d) {
    for (size_t i = 0; i < dim; ++i)
        d[i] = difference(x, mean, i);
    if (dim < lanes) {
        Form form = {0.0, 0.0};
        for (size_t r = 0; r < dim; ++r)
            for (size_t c = 0; c < dim; ++c) {
                const double term = d[c] * elementAt(rows[r], c) * d[r];
                form = {form.sum + term, form.magnitudes + magnitude(term)};
            }
        return form;
    }
    Doubles sum = {}, sizes = {};
    for (size_t r = 0; r < dim; ++r) {
        const T *const row = rows[r];
        Sums sums;
        forVectors(
            dim, [&](size_t i, Vec<int64_t> mask)
                     __attribute__((always_inline)) { sums.add(load(d + i) * loadWidened(row + i), mask); });
        sum += splat(d[r]) * sums.sum;
        sizes += splat(magnitude(d[r])) * sums.sizes;
    }
    return totals(sum, sizes);
}

/// One mixture while it is evaluated: exponents as hi + lo with a bound of their error, exponentials alike.
struct Components {
    alignas(64) double hi[mostComponents], lo[mostComponents], bound[mostComponents];
    alignas(64) double powerHi[mostComponents], powerLo[mostComponents], powerBound[mostComponents];
    alignas(64) double weight[mostComponents]; // magnitudes
};

constexpr double smallest = -650.0;          // from here on exponentials count as 0 or so
constexpr double powerOfSmallest = 0x1p-937; // above e^-649.5
constexpr double errorOfPower = 0x1p-65;     // twice that of exponentials()
constexpr double errorOfDouble = 0x1p-48;    // twice that of exponential()

/// Of the block of components from m on. Rough exponents need no more than doubles.
template <bool roughly>
QZK_INLINE void computePowers(Components &c, size_t m) {
    const Doubles hi = load(c.hi + m);
    const auto vanishes = (Vec<int64_t>)(hi < splat(smallest));
    const auto keep = [&](Doubles v) __attribute__((always_inline)) {
        return (Doubles)(~vanishes & (Vec<int64_t>)v);
    };
    Doubles powerHi, powerLo = {};
    if (roughly)
        powerHi = exponential(keep(hi));
    else
        exponentials(keep(hi), keep(load(c.lo + m)), powerHi, powerLo);
    // e^b - 1 < 1.3 b for b < 1/2.
    const auto own = splat(roughly ? errorOfDouble : errorOfPower);
    const Doubles bound = powerHi * (splat(1.3) * load(c.bound + m) + own);
    store(c.powerHi + m, keep(powerHi));
    store(c.powerLo + m, keep(powerLo));
    store(c.powerBound + m,
          (Doubles)((Vec<int64_t>)keep(bound) | (vanishes & (Vec<int64_t>)splat(powerOfSmallest))));
}

/// Looks all exponentials up; false where the bounds leave an entry open or an exponent is positive.
QZK_INLINE bool lookUpPowers(const ExponentialTables &tables, Components &c, size_t n) {
    for (size_t m = 0; m < n; ++m) {
        c.powerHi[m] = c.powerLo[m] = c.powerBound[m] = 0.0;
        if (c.hi[m] == 0.0 && c.lo[m] == 0.0 && c.bound[m] == 0.0) {
            c.powerHi[m] = 1.0;
            continue;
        }
        const double error = 1.001 * c.bound[m] - unit * c.hi[m];
        const double least = -c.hi[m] - error, most = -c.hi[m] + error;
        if (!(least > 0.0)) return false;
        if (least >= 100.0) continue;
        if (most >= 100.0) return false;
        const auto whole = static_cast<int>(least);
        // The difference is exact up to its last place, the product is rounded once.
        const double first = (least - whole) * 1000.0, last = (most - whole) * 1000.0;
        const auto thousandths = static_cast<int>(first);
        if (!(first - thousandths > 0x1p-40 && last - thousandths < 1.0 - 0x1p-40)) return false;
        if (thousandths > 999) return false;
        c.powerHi[m] =
            static_cast<double>(tables.integral[whole]) * static_cast<double>(tables.fractional[thousandths]);
    }
    return true;
}

/// The defined sum of the components from lower and from upper bounds of the exponentials.
template <class T>
[[gnu::noinline]] bool sumUp(const T *weights, const Components &c, size_t n, double &value) {
    double lower = 0.0, upper = 0.0;
    for (size_t m = 0; m < n; ++m) {
        const double weight = elementAt(weights, m);
        const double bound = weight < 0.0 ? -c.powerBound[m] : c.powerBound[m];
        const long double high = c.powerHi[m];
        lower = static_cast<double>(lower + (high + (c.powerLo[m] - bound)) * weight);
        upper = static_cast<double>(upper + (high + (c.powerLo[m] + bound)) * weight);
        // Rounded on their way to memory, from where the next step takes them.
        __asm__("" : "+m"(lower), "+m"(upper));
    }
    value = lower;
    uint64_t lowerBits, upperBits;
    __builtin_memcpy(&lowerBits, &lower, sizeof lower);
    __builtin_memcpy(&upperBits, &upper, sizeof upper);
    return lowerBits == upperBits;
}

/// With u = 2^-53, each term of a form has an error of at most 5 u, and the sum one for each addition that
/// follows another: with the rows of a full form these are those within a row, those of rows, and three of
/// the lanes; below a vector's length all are. In extended precision each of the n or n^2 additions has an
/// error of 2^-64 of the sum of the magnitudes, and each term less than 4 of these. Exponents are half of the
/// forms.
QZK_INLINE double errorInDoubles(bool full, size_t dim) {
    const size_t terms = full ? dim * dim : dim;
    const size_t additions = dim < lanes ? terms : dim / lanes + (full ? dim : 0);
    return (static_cast<double>(additions) + 16.0) * 0x1p-54 + static_cast<double>(terms) * 0x1p-65;
}

/// x - mean in doubles; false if one has more bits.
QZK_INLINE bool differencesOf(const float *x, const float *mean, size_t dim, double *d) {
    bool exact = true;
    const auto isExact = [](double a, double b, double difference) __attribute__((always_inline)) {
        return a - difference == b && b + difference == a;
    };
    if (dim < lanes) {
        for (size_t i = 0; i < dim; ++i) {
            const double a = elementAt(x, i), b = elementAt(mean, i);
            d[i] = a - b;
            exact = exact && isExact(a, b, d[i]);
        }
        return exact;
    }
    Vec<int64_t> inexact = {};
    forVectors(
        dim, [&](size_t i, Vec<int64_t>) __attribute__((always_inline)) {
            const Doubles a = loadWidened(x + i), b = loadWidened(mean + i), difference = a - b;
            inexact |= (a - difference != b) | (b + difference != a);
            store(d + i, difference);
        });
    return !anySign(inexact);
}

/// Components whose forms are computed side by side, as each is one chain of additions.
constexpr size_t atOnce = 2;

struct Differences {
    alignas(64) double of[atOnce][mostDimensions];
};

/// The exponents of n components in extended precision, operation by operation as they are defined.
template <size_t n>
[[gnu::noinline]] void extendedExponents(const Mixture<float> &mixture, const size_t *m, const Differences &d,
                                         size_t dim, Components &c) {
    const bool full = mixture.inverseCovD == nullptr;
    long double forms[n] = {};
    for (size_t i = 0; !full && i < dim; ++i)
        for (size_t k = 0; k < n; ++k) {
            const long double difference = d.of[k][i];
            forms[k] += elementAt(mixture.inverseCovD[m[k]], i) * (difference * difference);
        }
    for (size_t r = 0; full && r < dim; ++r)
        for (size_t i = 0; i < dim; ++i)
            for (size_t k = 0; k < n; ++k)
                forms[k] += static_cast<long double>(d.of[k][i]) * elementAt(mixture.inverseCov[m[k]][r], i) *
                            d.of[k][r];
    for (size_t k = 0; k < n; ++k) {
        const long double exponent = -0.5L * (full && forms[k] < 0 ? -forms[k] : forms[k]);
        c.hi[m[k]] = static_cast<double>(exponent);
        c.lo[m[k]] = static_cast<double>(exponent - c.hi[m[k]]);
        c.bound[m[k]] = 0.0;
    }
}

/// Finds the exponents of these components as they are defined.
QZK_INLINE void defineExponents(const Mixture<float> &mixture, const size_t *chosen, size_t count,
                                const float *x, size_t dim, Components &c) {
    Differences d;
    size_t pending[atOnce], waiting = 0;
    for (size_t i = 0; i < count; ++i) {
        const size_t m = chosen[i];
        if (!differencesOf(x, mixture.means[m], dim, d.of[waiting])) {
            plain::exponentOf(mixture, m, x, dim, c.hi[m], c.lo[m]);
            c.bound[m] = 0.0;
            continue;
        }
        pending[waiting++] = m;
        if (waiting < atOnce) continue;
        extendedExponents<atOnce>(mixture, pending, d, dim, c);
        waiting = 0;
    }
    if (waiting > 0) extendedExponents<1>(mixture, pending, d, dim, c);
}

/// Exponents of words are exact.
QZK_INLINE void defineExponents(const Mixture<int16_t> &, const size_t *, size_t, const int16_t *, size_t,
                                Components &) {}

/// In doubles where that is enough of a component that has this share of `most`, which is what its error may
/// be.
QZK_INLINE bool computeExponent(const Mixture<float> &mixture, size_t m, const float *x, size_t dim,
                                double share, double most, Components &c) {
    if (mixture.inverseCovD == nullptr || share * errorInDoubles(false, dim) * -c.hi[m] > 0.5 * most)
        return false;
    const Form form = diagonalForm(x, mixture.means[m], mixture.inverseCovD[m], dim);
    c.hi[m] = -0.5 * form.sum;
    c.bound[m] = errorInDoubles(false, dim) * form.magnitudes;
    return true;
}

QZK_INLINE bool computeExponent(const Mixture<int16_t> &, size_t, const int16_t *, size_t, double, double,
                                Components &) {
    return false;
}

/// Improves the exponents whose error moves the sum by more than `share` of it; whether there were any.
template <class T>
QZK_INLINE bool refine(const Mixture<T> &mixture, const T *x, size_t dim, double share, Components &c) {
    const size_t n = mixture.components;
    Doubles sums = {};
    for (size_t m = 0; m < n; m += lanes)
        sums += load(c.powerHi + m) * load(c.weight + m);
    const double most = share * totals(sums, sums).sum;
    bool refined = false;
    for (size_t block = 0; block < n; block += lanes) {
        const Doubles moved = load(c.powerBound + block) * load(c.weight + block);
        auto left = signsOf(moved > most);
        if (left == 0) continue;
        size_t chosen[lanes], count = 0;
        for (; left != 0; left &= left - 1) {
            const size_t m = block + static_cast<size_t>(__builtin_ctz(left));
            if (c.bound[m] > 0.0 && !computeExponent(mixture, m, x, dim, c.powerHi[m] * c.weight[m], most, c))
                chosen[count++] = m;
        }
        defineExponents(mixture, chosen, count, x, dim, c);
        computePowers<false>(c, block);
        refined = true;
    }
    return refined;
}

/// Exponents of floats, which are too near to 1 for products of three to leave the range of doubles. Where a
/// sum leaves that of floats it is infinite, and not used; what is lost to underflow is below 2^-149 times an
/// inverse variance for each element. The other errors are those of doubles with u = 2^-24.
QZK_INLINE bool findExponents(const Mixture<float> &mixture, const float *x, size_t dim, Components &c) {
    alignas(64) double work[mostDimensions]; // differences, or x as doubles
    const bool full = mixture.inverseCovD == nullptr;
    if (dim > mostDimensions) return false;
    const bool roughly = !full && mixture.tables == nullptr && dim >= lanesOf<float>;
    const double roughError = (static_cast<double>(dim / lanesOf<float>) + 16.0) * 0x1p-25;
    const double lost = static_cast<double>(dim) * 0x1p-22, error = errorInDoubles(full, dim);
    const auto widen = [&]() __attribute__((always_inline)) {
        for (size_t i = 0; i < dim; ++i)
            work[i] = elementAt(x, i);
    };
    if (!full && !roughly) widen();
    for (size_t m = 0; m < mixture.components; ++m) {
        c.lo[m] = 0.0;
        if (roughly) {
            const double form = roughForm(x, mixture.means[m], mixture.inverseCovD[m], dim);
            c.hi[m] = -0.5 * form;
            c.bound[m] = roughError * form + lost;
            if (c.bound[m] < 0.5) continue;
            widen();
        }
        const Form form = full ? fullForm(x, mixture.means[m], mixture.inverseCov[m], dim, work)
                               : diagonalForm(work, x, mixture.means[m], mixture.inverseCovD[m], dim);
        c.hi[m] = -0.5 * (full ? magnitude(form.sum) : form.sum);
        c.bound[m] = error * form.magnitudes;
        if (!(c.bound[m] < 0x1p-10 && c.hi[m] < -smallest)) return false;
    }
    return true;
}

/// Exponents of words: their forms are integers, exact as long as the sum of the magnitudes is below 2^53;
/// the terms of up to 362^2 products below 2^47 do not leave 64 bits either.
QZK_INLINE bool findExponents(const Mixture<int16_t> &mixture, const int16_t *x, size_t dim, Components &c) {
    alignas(64) double differences[mostDimensions];
    const bool full = mixture.inverseCovD == nullptr;
    if (full && dim > 362) return false;
    for (size_t m = 0; m < mixture.components; ++m) {
        const Form form = full ? fullForm(x, mixture.means[m], mixture.inverseCov[m], dim, differences)
                               : diagonalForm(x, mixture.means[m], mixture.inverseCovD[m], dim);
        if (!(form.magnitudes < 0x1p53)) return false;
        c.powerHi[m] = full ? magnitude(form.sum) : form.sum;
        c.bound[m] = 0.0;
    }
    plain::scaleForms(c.powerHi, mixture.components, mixture.scale, c.hi, c.lo);
    for (size_t m = 0; m < mixture.components; ++m)
        if (!(c.hi[m] < -smallest)) return false;
    return true;
}

template <class T>
QZK_INLINE bool evaluateBounded(const Mixture<T> &mixture, const T *x, size_t dim, double &value) {
    Components c;
    const size_t n = mixture.components;
    if (n == 0 || n > mostComponents || !findExponents(mixture, x, dim, c)) return false;
    if (mixture.tables != nullptr)
        return lookUpPowers(*mixture.tables, c, n) && sumUp(mixture.weights, c, n, value);
    for (size_t m = 0; m < n; ++m)
        c.weight[m] = magnitude(elementAt(mixture.weights, m));
    for (size_t m = n; m % lanes != 0; ++m)
        c.hi[m] = c.lo[m] = c.bound[m] = c.weight[m] = 0.0;
    constexpr bool roughly = sizeof(T) == sizeof(float);
    for (size_t m = 0; m < n; m += lanes)
        computePowers<roughly>(c, m);
    refine(mixture, x, dim, 0x1p-59, c);
    if (sumUp(mixture.weights, c, n, value)) return true;
    return refine(mixture, x, dim, 0x1p-70, c) && sumUp(mixture.weights, c, n, value);
}

template <class T>
size_t evaluate(const Mixture<T> *mixtures, size_t count, const T *x, size_t dim, double *values) {
    const ExtendedPrecision precision;
    for (size_t i = 0; i < count; ++i)
        if (!evaluateBounded(mixtures[i], x, dim, values[i]) &&
            plain::evaluate(mixtures + i, 1, x, dim, values + i) == 0)
            return i;
    return count;
}

/// Products of floats are exact in doubles.
void weightedSums(const float *weights, size_t rows, const float *values, size_t size, double *sums) {
    size_t j = 0;
    for (; size >= turnedElements && j + groupRows <= rows; j += groupRows) {
        Doubles sum[groupVectors] = {};
        forEachColumn(
            weights + j * size, size, [&](size_t k, size_t v, Doubles column) __attribute__((always_inline)) {
                sum[v] += column * splat<double>(elementAt(values, k));
            });
        for (size_t v = 0; v < groupVectors; ++v)
            store(sums + j + v * lanes, sum[v]);
    }
    plain::weightedSums(weights + j * size, rows - j, values, size, sums + j);
}

} // namespace

void QZK_LEVEL::install(MixtureKernels &kernels) {
    kernels = {{evaluate<float>, bound<float>}, {evaluate<int16_t>, bound<int16_t>}, weightedSums};
}

} // namespace qzk::simd

#include "simd/mixture.hpp"
#include "common/unaligned.hpp"
#include "simd/extended.hpp"
#include "simd/mixture_bounds.hpp"
#include "simd/vec.hpp"

// Exponents in doubles with a bound of their error, those that matter to the last bit in extended precision
// by the definition, then exponentials in pairs of doubles. The sum of the components is formed twice as it
// is defined, from lower and from upper bounds of the exponentials: every step of it rises with them, so that
// equal ends are the value. Where they differ, everything is done by the definition.
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

/// Calls use(i, mask) for vectors that cover dim elements, dim being a vector's length at least. The last one
/// ends with them; the mask keeps what no other vector has.
template <class Use>
QZK_INLINE void forVectors(size_t dim, Use use) {
    const auto all = splat<int64_t>(-1);
    size_t i = 0;
    for (; i + lanes <= dim; i += lanes)
        use(i, all);
    if (i == dim) return;
    Vec<int64_t> number;
    for (size_t lane = 0; lane < lanes; ++lane)
        number[lane] = static_cast<int64_t>(lane);
    const auto seen = splat(static_cast<int64_t>(i + lanes - dim));
    use(dim - lanes, (Vec<int64_t>)(number >= seen));
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

/// 2^(j/64) in two parts, of which the first has 26 bits.
alignas(64) constexpr double powers[64][2] = {
    {0x1.0000000000000p+0, 0x0.0p+0},
    {0x1.02c9a38000000p+0, 0x1.9de0183b9bdf3p-26},
    {0x1.059b0d0000000p+0, 0x1.8ac2ba1d73e2ap-27},
    {0x1.0874518000000p+0, 0x1.d66f20230d7c9p-30},
    {0x1.0b55868000000p+0, 0x1.3e6243d8a62e5p-26},
    {0x1.0e3ec30000000p+0, 0x1.69e8d10103a17p-27},
    {0x1.11301d0000000p+0, 0x1.25b50a4ebbf1bp-32},
    {0x1.1429aa8000000p+0, 0x1.aa4b77ecd0406p-26},
    {0x1.172b838000000p+0, 0x1.1f545eb737df2p-26},
    {0x1.1a35be8000000p+0, 0x1.b7e5ba9e5b4c8p-27},
    {0x1.1d48730000000p+0, 0x1.68b9aa7805b80p-28},
    {0x1.2063b88000000p+0, 0x1.8a3358ee3bac1p-30},
    {0x1.2387a68000000p+0, 0x1.9d588e19b07ebp-26},
    {0x1.26b4560000000p+0, 0x1.789f37495e99dp-26},
    {0x1.29e9df0000000p+0, 0x1.47f7b84b09745p-26},
    {0x1.2d285a0000000p+0, 0x1.b900c2d002475p-26},
    {0x1.306fe08000000p+0, 0x1.18db8a96f46adp-27},
    {0x1.33c08b0000000p+0, 0x1.320b7fa64e431p-27},
    {0x1.371a730000000p+0, 0x1.ceaa72a9c5154p-26},
    {0x1.3a7db30000000p+0, 0x1.3967fdba86f25p-26},
    {0x1.3dea648000000p+0, 0x1.048d088d6d049p-26},
    {0x1.4160a20000000p+0, 0x1.f72e29f84325cp-28},
    {0x1.44e0860000000p+0, 0x1.8624b40c4dbd0p-30},
    {0x1.486a2b0000000p+0, 0x1.704f3404f068fp-26},
    {0x1.4bfdad0000000p+0, 0x1.4d8a89c750e5fp-26},
    {0x1.4f9b270000000p+0, 0x1.a74b29ab4cf63p-26},
    {0x1.5342b50000000p+0, 0x1.a753e077c2a0fp-26},
    {0x1.56f4730000000p+0, 0x1.ad49f699bb2c0p-26},
    {0x1.5ab07d8000000p+0, 0x1.52150a56324c0p-26},
    {0x1.5e76f10000000p+0, 0x1.6b48521ba6f93p-26},
    {0x1.6247eb0000000p+0, 0x1.d2ac258f87d03p-31},
    {0x1.6623880000000p+0, 0x1.2a91124893ecfp-27},
    {0x1.6a09e60000000p+0, 0x1.9fcef32422cbfp-26},
    {0x1.6dfb238000000p+0, 0x1.19468bbc8838bp-26},
    {0x1.71f75e8000000p+0, 0x1.d8bee7ba46e1ep-29},
    {0x1.75feb50000000p+0, 0x1.9099f22fdba6bp-26},
    {0x1.7a11470000000p+0, 0x1.f580c36bea881p-27},
    {0x1.7e2f330000000p+0, 0x1.b3d398841740bp-26},
    {0x1.8258998000000p+0, 0x1.4cce128acf88bp-28},
    {0x1.868d998000000p+0, 0x1.a2497640720edp-27},
    {0x1.8ace540000000p+0, 0x1.15506dadd3e2bp-27},
    {0x1.8f1ae98000000p+0, 0x1.1577362b98274p-28},
    {0x1.93737b0000000p+0, 0x1.9b8bc9e8a0388p-29},
    {0x1.97d8298000000p+0, 0x1.f79393e2e7a48p-26},
    {0x1.9c49180000000p+0, 0x1.51f8480e3e236p-27},
    {0x1.a0c6678000000p+0, 0x1.aef2b2594d6d4p-27},
    {0x1.a5503b0000000p+0, 0x1.1f12ae45a1225p-27},
    {0x1.a9e6b50000000p+0, 0x1.5e7f6fd0fac91p-26},
    {0x1.ae89f98000000p+0, 0x1.5ad3ad5e8734dp-28},
    {0x1.b33a2b8000000p+0, 0x1.3c57ebdaff43ap-30},
    {0x1.b7f76f0000000p+0, 0x1.7daf237553d84p-27},
    {0x1.bcc1e90000000p+0, 0x1.2f074891ee83dp-30},
    {0x1.c199bd8000000p+0, 0x1.6154a7088832cp-26},
    {0x1.c67f128000000p+0, 0x1.95f452d2884e0p-26},
    {0x1.cb720d8000000p+0, 0x1.3be41a4540f2fp-26},
    {0x1.d072d48000000p+0, 0x1.03c4bdc687918p-27},
    {0x1.d5818d8000000p+0, 0x1.3ee921c976817p-26},
    {0x1.da9e600000000p+0, 0x1.ed9942b84600dp-27},
    {0x1.dfc9730000000p+0, 0x1.bdcdaf5cb4656p-27},
    {0x1.e502ee0000000p+0, 0x1.e2cffd89cf44cp-26},
    {0x1.ea4afa0000000p+0, 0x1.52486cc2c7b9dp-27},
    {0x1.efa1be8000000p+0, 0x1.985689ddc7f48p-26},
    {0x1.f507658000000p+0, 0x1.b722a033a7c26p-27},
    {0x1.fa7c180000000p+0, 0x1.9e90d82e90a7ep-28},
};

/// e^x = sum.hi + sum.lo up to a relative error below 2^-66, for x = hi + lo with |hi| <= 650 and |lo| at
/// most an ulp of hi.
///
/// x = k ln(2)/64 + r, |r| < 2^-7.5. ln(2)/64 has three parts; the first two of 36 bits each, whose products
/// with k, of 16 bits, are exact. Of e^r - 1 = r + p, p < 2^-16 is evaluated in double with an error of three
/// roundings, below 2^-67.4; what the last term leaves out is below 2^-75. The product with 2^(j/64) loses
/// five roundings of parts below 2^-16, at most 2^-69 each.
QZK_INLINE void exponentials(Doubles hi, Doubles lo, Doubles &resultHi, Doubles &resultLo) {
    const Doubles shift = splat(0x1.8p52);
    const Doubles shifted = hi * splat(0x1.71547652b82fep+6) + shift, k = shifted - shift;
    const auto index = (Vec<int64_t>)shifted - (Vec<int64_t>)shift;

    const Doubles near = hi - k * splat(0x1.62e42fefa0000p-7), second = k * splat(0x1.cf79abc9e0000p-46);
    const Doubles rest = near - second, used = near - rest;
    const Doubles error = (near - (rest + used)) + (used - second);
    const Doubles tail = (error - k * splat(0x1.d9cc01f97b57ap-85)) + lo;
    const Doubles r = rest + tail, rLow = tail - (r - rest);

    Doubles p = splat(1.0 / 5040) + r * splat(1.0 / 40320);
    p = splat(1.0 / 720) + r * p;
    p = splat(1.0 / 120) + r * p;
    p = splat(1.0 / 24) + r * p;
    p = splat(1.0 / 6) + r * p;
    p = splat(0.5) + r * p;
    const Doubles q = (r * r) * p + (rLow + r * rLow);

    Doubles high, low;
    for (size_t lane = 0; lane < lanes; ++lane) {
        const double *const power = powers[index[lane] & 63];
        high[lane] = power[0];
        low[lane] = power[1];
    }
    // 26 bits of r, so that the product with those of the power is exact.
    const Doubles splitter = r * splat(0x1p27 + 1.0);
    const Doubles rHigh = splitter - (splitter - r), rRest = r - rHigh;
    const Doubles product = high * rHigh, sum = high + product;
    const Doubles sumLow = (product - (sum - high)) + low;
    const Doubles small = (high * rRest + low * r) + (high + low) * q;
    const Doubles all = sumLow + small, result = sum + all;
    const auto exponent = (index >> 6) + splat<int64_t>(1023);
    const auto scale = (Doubles)(exponent << 52);
    resultHi = result * scale;
    resultLo = (all - (result - sum)) * scale;
}

/// One mixture while it is evaluated: exponents as hi + lo with a bound of their error, exponentials alike.
struct Components {
    alignas(64) double hi[mostComponents], lo[mostComponents], bound[mostComponents];
    alignas(64) double powerHi[mostComponents], powerLo[mostComponents], powerBound[mostComponents];
};

constexpr double smallest = -650.0;          // from here on exponentials count as 0 or so
constexpr double powerOfSmallest = 0x1p-937; // above e^-650
constexpr double errorOfPower = 0x1p-65;     // twice that of exponentials()

/// Of the block of components from m on.
QZK_INLINE void computePowers(Components &c, size_t m) {
    const Doubles hi = load(c.hi + m);
    const auto vanishes = (Vec<int64_t>)(hi < splat(smallest));
    const auto keep = [&](Doubles v) __attribute__((always_inline)) {
        return (Doubles)(~vanishes & (Vec<int64_t>)v);
    };
    Doubles powerHi, powerLo;
    exponentials(keep(hi), keep(load(c.lo + m)), powerHi, powerLo);
    // e^b - 1 < 1.001 b for b < 2^-10.
    const Doubles bound = powerHi * (splat(1.001) * load(c.bound + m) + splat(errorOfPower));
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
    }
    value = lower;
    uint64_t lowerBits, upperBits;
    __builtin_memcpy(&lowerBits, &lower, sizeof lower);
    __builtin_memcpy(&upperBits, &upper, sizeof upper);
    return lowerBits == upperBits;
}

/// Replaces, by the definition, the exponents whose error moves the sum by more than `share` of it; whether
/// there were any.
template <class T>
QZK_INLINE bool refine(const Mixture<T> &mixture, const T *x, size_t dim, double share, Components &c) {
    double sum = 0.0;
    for (size_t m = 0; m < mixture.components; ++m)
        sum += c.powerHi[m] * magnitude(elementAt(mixture.weights, m));
    bool refined = false;
    for (size_t block = 0; block < mixture.components; block += lanes) {
        bool stale = false;
        for (size_t m = block; m < block + lanes && m < mixture.components; ++m)
            if (c.bound[m] > 0.0 &&
                c.powerBound[m] * magnitude(elementAt(mixture.weights, m)) > share * sum) {
                plain::exponentOf(mixture, m, x, dim, c.hi[m], c.lo[m]);
                c.bound[m] = 0.0;
                stale = true;
            }
        if (stale) computePowers(c, block);
        refined |= stale;
    }
    return refined;
}

/// Exponents of floats: with u = 2^-53, the terms of a diagonal form have an error of 4 u each and their sum
/// one of n u at most; those of a full form n + 2 and n more. In extended precision each of the n or n^2
/// additions has an error of 2^-64 of the sum of the magnitudes, and each term less than 4 of these. Floats
/// are too near to 1 for products of three to leave the range of doubles.
QZK_INLINE bool findExponents(const Mixture<float> &mixture, const float *x, size_t dim, Components &c) {
    alignas(64) double work[mostDimensions]; // differences, or x as doubles
    const bool full = mixture.inverseCovD == nullptr;
    if (dim > mostDimensions) return false;
    if (!full)
        for (size_t i = 0; i < dim; ++i)
            work[i] = elementAt(x, i);
    const auto n = static_cast<double>(dim);
    const double error = full ? (2.0 * n + 16.0) * unit + n * n * 0x1p-64 : (n + 16.0) * unit;
    for (size_t m = 0; m < mixture.components; ++m) {
        const Form form = full ? fullForm(x, mixture.means[m], mixture.inverseCov[m], dim, work)
                               : diagonalForm(work, x, mixture.means[m], mixture.inverseCovD[m], dim);
        c.hi[m] = -0.5 * (full ? magnitude(form.sum) : form.sum);
        c.lo[m] = 0.0;
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
    for (size_t m = n; m % lanes != 0; ++m)
        c.hi[m] = c.lo[m] = c.bound[m] = 0.0;
    for (size_t m = 0; m < n; m += lanes)
        computePowers(c, m);
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

} // namespace

void QZK_LEVEL::install(MixtureKernels &kernels) {
    kernels = {{evaluate<float>, bound<float>}, {evaluate<int16_t>, bound<int16_t>}};
}

} // namespace qzk::simd

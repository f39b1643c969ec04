#include "simd/convolve.hpp"
#include "simd/blocks.hpp"

// Two columns of the mask at a time: a multiply-add of pairs takes the window's elements (0, 1), (2, 3), ...
// to lanes twice as wide, which makes the sums of even columns; one element later it makes those of odd
// columns. Kept apart until the end, the two need no more than a shift to become neighbours again.
namespace qzk::simd {
namespace {

using std::int16_t;
using std::int32_t;
using std::size_t;
using std::uint16_t;
using std::uint32_t;
using std::uint8_t;

using DoubleWords = Vec<uint32_t>;

QZK_INLINE DoubleWords addPairsOfWords(Words elements, Words coefficients) {
    return (DoubleWords)QZK_INTRINSIC(madd_epi16)((Integers)elements, (Integers)coefficients);
}

/// Window of bytes, coefficients of signed bytes, sums of 16 bits. No pair's sum saturates.
struct OfBytes {
    using Pixel = uint8_t;
    using Sums = Words;
    using Sum = int16_t;
    static constexpr size_t columns = lanesOf<uint8_t>;

    /// A pair of coefficients, repeated.
    struct Pair {
#if QZK_SIMD_LEVEL == 1
        Words first, second;
        [[gnu::always_inline]] Pair(int32_t a, int32_t b)
            : first(splat(static_cast<uint16_t>(a))), second(splat(static_cast<uint16_t>(b))) {}
#else
        Integers both;
        [[gnu::always_inline]] Pair(int32_t a, int32_t b)
            : both((Integers)splat(static_cast<uint16_t>((a & 0xFF) | (b << 8)))) {}
#endif
    };

    QZK_INLINE Words products(const uint8_t *elements, const Pair &pair) {
#if QZK_SIMD_LEVEL == 1
        const auto words = (Words)load(elements);
        return (words & 0xFF) * pair.first + (words >> 8) * pair.second;
#else
        return (Words)QZK_INTRINSIC(maddubs_epi16)((Integers)load(elements), pair.both);
#endif
    }

    QZK_INLINE void store(uint8_t *to, Words even, Words odd) {
        simd::store(to, (Bytes)((even & 0xFF) | odd << 8));
    }
};

/// Window and coefficients of words, sums of 32 bits.
struct OfWords {
    using Pixel = int16_t;
    using Sums = DoubleWords;
    using Sum = int32_t;
    static constexpr size_t columns = lanesOf<int16_t>;

    struct Pair {
        Words both;
        [[gnu::always_inline]] Pair(int32_t a, int32_t b)
            : both((Words)splat((static_cast<uint32_t>(a) & 0xFFFF) | static_cast<uint32_t>(b) << 16)) {}
    };

    QZK_INLINE DoubleWords products(const int16_t *elements, const Pair &pair) {
        return addPairsOfWords((Words)load(elements), pair.both);
    }

    QZK_INLINE void store(uint8_t *to, DoubleWords even, DoubleWords odd) {
        const auto words = (Words)((even & 0xFFFF) | odd << 16);
#if QZK_SIMD_LEVEL == 1
        const auto low = (__m128i)(words & 0xFF);
        _mm_storel_epi64((__m128i *)to, _mm_packus_epi16(low, low));
#elif QZK_SIMD_LEVEL == 2
        const auto low = (__m256i)(words & 0xFF);
        const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi16(low, low), 0x08);
        _mm_storeu_si128((__m128i *)to, _mm256_castsi256_si128(packed));
#else
        _mm256_storeu_si256((__m256i *)to, _mm512_cvtepi16_epi8((__m512i)words));
#endif
    }
};

/// A Fit in lanes.
template <class Sum>
class Fitting {
    using Unsigned = std::make_unsigned_t<Sum>;

public:
    [[gnu::always_inline]] explicit Fitting(const Fit &fit)
        : right_(shiftCount(fit.right)), left_(shiftCount(fit.left)),
          shifts_(fit.right != 0 || fit.left != 0), clamps_(fit.clamps),
          lowest_(splat(static_cast<Sum>(fit.lowest))), highest_(splat(static_cast<Sum>(fit.highest))) {}

    [[gnu::always_inline]] Vec<Unsigned> operator()(Vec<Unsigned> sums) const {
        if (shifts_) {
            if constexpr (sizeof(Sum) == 2) {
                sums = (Vec<Unsigned>)QZK_INTRINSIC(sra_epi16)((Integers)sums, right_);
                sums = (Vec<Unsigned>)QZK_INTRINSIC(sll_epi16)((Integers)sums, left_);
            } else {
                sums = (Vec<Unsigned>)QZK_INTRINSIC(sra_epi32)((Integers)sums, right_);
                sums = (Vec<Unsigned>)QZK_INTRINSIC(sll_epi32)((Integers)sums, left_);
            }
        }
        if (clamps_) {
            auto v = (Vec<Sum>)sums;
            v = v < lowest_ ? lowest_ : v;
            v = v > highest_ ? highest_ : v;
            sums = (Vec<Unsigned>)v;
        }
        return sums;
    }

private:
    __m128i right_, left_;
    bool shifts_, clamps_;
    Vec<Sum> lowest_, highest_;
};

/// Fitted sums of `blocks` times Shape::columns columns.
template <class Shape, size_t blocks>
QZK_INLINE void convolveBlocks(const Mask &mask, float *const *window, size_t first,
                               const Fitting<typename Shape::Sum> &fitted, uint8_t *values) {
    typename Shape::Sums even[blocks], odd[blocks];
    for (size_t b = 0; b < blocks; ++b)
        even[b] = odd[b] = splat(static_cast<std::make_unsigned_t<typename Shape::Sum>>(mask.start));

    const auto addPair = [&](const typename Shape::Pixel *elements, int32_t a, int32_t b)
        __attribute__((always_inline)) {
        const typename Shape::Pair pair(a, b);
        for (size_t k = 0; k < blocks; ++k) {
            even[k] += Shape::products(elements + k * Shape::columns, pair);
            odd[k] += Shape::products(elements + k * Shape::columns + 1, pair);
        }
    };
    const size_t columns = mask.columns;
    for (size_t i = 0; i < mask.rows; ++i) {
        const int16_t *const coefficients = mask.coefficients + i * columns;
        const auto *const elements = reinterpret_cast<const typename Shape::Pixel *>(window[i]) + first;
        for (size_t j = 0; j + 2 <= columns; j += 2)
            addPair(elements + j, coefficients[j], coefficients[j + 1]);
        // The last of an odd number pairs with the one before it: there is no element behind it.
        if (columns % 2 != 0 && columns > 1)
            addPair(elements + columns - 2, 0, coefficients[columns - 1]);
        else if (columns == 1)
            addPair(elements, coefficients[0], 0);
    }
    for (size_t b = 0; b < blocks; ++b)
        Shape::store(values + b * Shape::columns, fitted(even[b]), fitted(odd[b]));
}

template <class Shape>
void convolveRow(const Mask &mask, float *const *window, size_t first, size_t n, const Fit &fit,
                 uint8_t *values) {
    constexpr size_t width = Shape::columns;
    static_assert(width <= ConvolveKernels::block);
    const Fitting<typename Shape::Sum> fitted(fit);
    if (n < width) {
        // A whole block that ends with the last column, or begins with the first one of the window.
        const size_t begin = first + n > width ? first + n - width : 0;
        uint8_t block[width];
        convolveBlocks<Shape, 1>(mask, window, begin, fitted, block);
        __builtin_memcpy(values, block + (first - begin), n);
        return;
    }
    size_t c = 0;
    for (; c + 4 * width <= n; c += 4 * width)
        convolveBlocks<Shape, 4>(mask, window, first + c, fitted, values + c);
    for (; c + width <= n; c += width)
        convolveBlocks<Shape, 1>(mask, window, first + c, fitted, values + c);
    if (c < n) convolveBlocks<Shape, 1>(mask, window, first + n - width, fitted, values + n - width);
}

} // namespace

void QZK_LEVEL::install(ConvolveKernels &kernels) {
    kernels.ofBytes = convolveRow<OfBytes>;
    kernels.ofWords = convolveRow<OfWords>;
}

} // namespace qzk::simd

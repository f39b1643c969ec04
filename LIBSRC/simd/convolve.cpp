#include "simd/convolve.hpp"
#include "simd/blocks.hpp"
#include "simd/packing.hpp"

// Two elements of the window at a time: a multiply-add of pairs takes the elements (0, 1), (2, 3), ... to
// lanes twice as wide. Times the mask's columns (0, 1), (2, 3), ... they make the sums of even columns, times
// (none, 0), (1, 2), ... those of odd ones: loads, which mostly touch two cache lines, are what the loop is
// short of, and both have the same. The two need no more than a shift at the end to become neighbours again.
namespace qzk::simd {
namespace {

using std::int16_t;
using std::int32_t;
using std::int8_t;
using std::size_t;
using std::uint16_t;
using std::uint32_t;
using std::uint8_t;

using DoubleWords = Vec<uint32_t>;

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

    QZK_INLINE Words products(Bytes elements, const Pair &pair) {
#if QZK_SIMD_LEVEL == 1
        const auto words = (Words)elements;
        return (words & 0xFF) * pair.first + (words >> 8) * pair.second;
#else
        return (Words)QZK_INTRINSIC(maddubs_epi16)((Integers)elements, pair.both);
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

    QZK_INLINE DoubleWords products(Vec<int16_t> elements, const Pair &pair) {
        return (DoubleWords)QZK_INTRINSIC(madd_epi16)((Integers)elements, (Integers)pair.both);
    }

    QZK_INLINE void store(uint8_t *to, DoubleWords even, DoubleWords odd) {
        storeLowBytes(to, (Words)((even & 0xFFFF) | odd << 16));
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

    using Pair = typename Shape::Pair;
    const size_t columns = mask.columns;
    for (size_t i = 0; i < mask.rows; ++i) {
        const int16_t *const coefficients = mask.coefficients + i * columns;
        const auto *const elements = reinterpret_cast<const typename Shape::Pixel *>(window[i]) + first;
        const auto addBoth = [&](size_t j, int32_t before, int32_t own, int32_t after)
            __attribute__((always_inline)) {
            const Pair ofEven(own, after), ofOdd(before, own);
            for (size_t k = 0; k < blocks; ++k) {
                const auto pairs = load(elements + j + k * Shape::columns);
                even[k] += Shape::products(pairs, ofEven);
                odd[k] += Shape::products(pairs, ofOdd);
            }
        };
        int32_t before = 0;
        size_t j = 0;
        for (; j + 2 <= columns; j += 2) {
            addBoth(j, before, coefficients[j], coefficients[j + 1]);
            before = coefficients[j + 1];
        }
        if (j < columns) {
            addBoth(j, before, coefficients[j], 0);
        } else {
            const Pair ofOdd(before, 0);
            for (size_t k = 0; k < blocks; ++k)
                odd[k] += Shape::products(load(elements + j + k * Shape::columns), ofOdd);
        }
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
    kernels.unpack[0] = unpack<int8_t>;
    kernels.unpack[1] = unpack<Nibble>;
    kernels.unpack[2] = unpack<uint8_t>;
    kernels.unpack[3] = unpack<Bit>;
    kernels.pack[0] = kernels.pack[2] = pack<uint8_t>;
    kernels.pack[1] = pack<Nibble>;
    kernels.pack[3] = pack<Bit>;
    kernels.widen = widen;
    kernels.ofBytes = convolveRow<OfBytes>;
    kernels.ofWords = convolveRow<OfWords>;
}

} // namespace qzk::simd

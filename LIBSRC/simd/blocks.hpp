// Element loops by whole vectors, for elements and nibbles, and the lane shifts that there are no
// instructions for. Everything is always inlined and has internal linkage, as in vec.hpp.
#pragma once

#include "common/elements.hpp"
#include "simd/vec.hpp"

/// The level's variant of an intrinsic that has one name at every level but for its prefix.
#if QZK_SIMD_LEVEL == 1
#define QZK_INTRINSIC(operation) _mm_##operation
#elif QZK_SIMD_LEVEL == 2
#define QZK_INTRINSIC(operation) _mm256_##operation
#else
#define QZK_INTRINSIC(operation) _mm512_##operation
#endif

namespace qzk::simd {
namespace {

#if QZK_SIMD_LEVEL == 1
using Integers = __m128i;
#elif QZK_SIMD_LEVEL == 2
using Integers = __m256i;
#else
using Integers = __m512i;
#endif

// Lanes are unsigned, so that results wrap; what they hold is told by the element type beside them. A lane of
// nibbles holds two.
template <class Element>
struct LaneOf {
    using type = std::make_unsigned_t<Element>;
};
template <>
struct LaneOf<float> {
    using type = float;
};
template <>
struct LaneOf<Nibble> {
    using type = std::uint8_t;
};
template <class Element>
using Lanes = Vec<typename LaneOf<Element>::type>;
using Bytes = Vec<std::uint8_t>;
using Words = Vec<std::uint16_t>;

/// Lane counts beyond the lane's width clear it, or leave the sign in an arithmetic shift to the right.
QZK_INLINE __m128i shiftCount(std::int32_t count) { return _mm_cvtsi32_si128(count); }

/// What a shift leaves of every element in a byte: `element` is what it leaves of one that is all ones.
template <class Element>
QZK_INLINE Bytes leftOfBytes(int element) {
    return splat(static_cast<std::uint8_t>(Source<Element>::width == 4 ? (element & 15) * 17 : element));
}

/// Shifts of elements by one count of 0 or more. There are no shifts of bytes: those of words do, once the
/// bits that come from the neighbour are cleared.
template <class Element>
class LeftShift {
public:
    [[gnu::always_inline]] explicit LeftShift(std::int32_t count)
        : count_(shiftCount(count)), left_(leftOfBytes<Element>(count < 8 ? 0xFF << count : 0)) {}

    [[gnu::always_inline]] Lanes<Element> operator()(Lanes<Element> v) const {
        const auto words = (Words)QZK_INTRINSIC(sll_epi16)((Integers)v, count_);
        if constexpr (Source<Element>::width == 16)
            return words;
        else
            return (Bytes)words & left_;
    }

private:
    __m128i count_;
    Bytes left_;
};

template <class Element>
class RightShift {
public:
    [[gnu::always_inline]] explicit RightShift(std::int32_t count) {
        // A signed byte shifted by 7 is all sign already.
        if (isSignedByte && count > 7) count = 7;
        count_ = shiftCount(count);
        left_ = leftOfBytes<Element>(count < 8 ? ((1 << width) - 1) >> count : 0);
        sign_ = splat(static_cast<std::uint8_t>(count < 8 ? 0x80 >> count : 0));
    }

    [[gnu::always_inline]] Lanes<Element> operator()(Lanes<Element> v) const {
        if constexpr (width == 16 && Source<Element>::isSigned)
            return (Words)QZK_INTRINSIC(sra_epi16)((Integers)v, count_);
        const auto words = QZK_INTRINSIC(srl_epi16)((Integers)v, count_);
        if constexpr (width == 16)
            return (Words)words;
        else if constexpr (isSignedByte)
            return (((Bytes)words & left_) ^ sign_) - sign_;
        else
            return (Bytes)words & left_;
    }

private:
    static constexpr int width = Source<Element>::width;
    static constexpr bool isSignedByte = width == 8 && Source<Element>::isSigned;

    __m128i count_;
    Bytes left_, sign_;
};

/// A block gives the results of one vector: at(load, i) those of the elements from i on, load(address) being
/// how it reads an operand.
struct LoadAll {
    template <class T>
    [[gnu::always_inline]] Lanes<T> operator()(const T *from) const {
        Lanes<T> v;
        __builtin_memcpy(&v, from, sizeof v);
        return v;
    }
};

template <class T>
QZK_INLINE void put(T *to, Lanes<T> v) {
    __builtin_memcpy(to, &v, sizeof v);
}

/// The first n elements, fewer than a vector has; zeros take the place of the others.
struct LoadFew {
    std::size_t n;

    template <class T>
    [[gnu::always_inline]] Lanes<T> operator()(const T *from) const {
        Lanes<T> v = {};
#if QZK_SIMD_LEVEL == 3
        if constexpr (sizeof(T) == 1)
            v = (Lanes<T>)_mm512_maskz_loadu_epi8((std::uint64_t{1} << n) - 1, from);
        else if constexpr (sizeof(T) == 2)
            v = (Lanes<T>)_mm512_maskz_loadu_epi16(static_cast<__mmask32>((1u << n) - 1), from);
        else
            v = (Lanes<T>)_mm512_maskz_loadu_ps(static_cast<__mmask16>((1u << n) - 1), from);
#else
        __builtin_memcpy(&v, from, n * sizeof(T));
#endif
        return v;
    }
};

template <class T>
QZK_INLINE void putFew(T *to, Lanes<T> v, std::size_t n) {
#if QZK_SIMD_LEVEL == 3
    if constexpr (sizeof(T) == 1)
        _mm512_mask_storeu_epi8(to, (std::uint64_t{1} << n) - 1, (__m512i)v);
    else if constexpr (sizeof(T) == 2)
        _mm512_mask_storeu_epi16(to, static_cast<__mmask32>((1u << n) - 1), (__m512i)v);
    else
        _mm512_mask_storeu_ps(to, static_cast<__mmask16>((1u << n) - 1), (__m512)v);
#else
    __builtin_memcpy(to, &v, n * sizeof(T));
#endif
}

/// Writes n results from the last to the first, with aligned stores where the elements allow them. The
/// vectors at both ends overlap the aligned ones between them: they are computed before anything is written,
/// and written when nothing is left to read.
template <class T, class Block>
QZK_INLINE void produce(T *dst, std::size_t n, Block block) {
    constexpr std::size_t lanes = lanesOf<T>, unrolled = 4 * lanes;
    if (n < lanes) {
        if (n != 0) putFew(dst, block.at(LoadFew{n}, 0), n);
        return;
    }
    const std::size_t start = -reinterpret_cast<std::uintptr_t>(dst) % sizeof(Lanes<T>) / sizeof(T);
    const std::size_t end = start + (n - start) / lanes * lanes;
    const bool ragged = start > 0 || end < n;
    Lanes<T> head = {}, tail = {};
    if (ragged) {
        head = block.at(LoadAll{}, 0);
        tail = block.at(LoadAll{}, n - lanes);
    }

    std::size_t i = end;
    for (; i >= start + unrolled; i -= unrolled) {
        const Lanes<T> v3 = block.at(LoadAll{}, i - lanes);
        const Lanes<T> v2 = block.at(LoadAll{}, i - 2 * lanes);
        const Lanes<T> v1 = block.at(LoadAll{}, i - 3 * lanes);
        const Lanes<T> v0 = block.at(LoadAll{}, i - 4 * lanes);
        put(dst + i - lanes, v3);
        put(dst + i - 2 * lanes, v2);
        put(dst + i - 3 * lanes, v1);
        put(dst + i - 4 * lanes, v0);
    }
    for (; i > start; i -= lanes)
        put(dst + i - lanes, block.at(LoadAll{}, i - lanes));
    if (ragged) {
        put(dst + n - lanes, tail);
        put(dst, head);
    }
}

/// The union of the bits of all n results, which are Words.
template <class T, class Block>
QZK_INLINE Words unite(std::size_t n, Block block) {
    constexpr std::size_t lanes = lanesOf<T>, unrolled = 4 * lanes;
    if (n < lanes) return n != 0 ? block.at(LoadFew{n}, 0) : Words{};
    Words u0 = block.at(LoadAll{}, n - lanes), u1 = {}, u2 = {}, u3 = {};
    std::size_t i = 0;
    for (; i + unrolled <= n; i += unrolled) {
        u0 |= block.at(LoadAll{}, i);
        u1 |= block.at(LoadAll{}, i + lanes);
        u2 |= block.at(LoadAll{}, i + 2 * lanes);
        u3 |= block.at(LoadAll{}, i + 3 * lanes);
    }
    for (; i + lanes <= n; i += lanes)
        u1 |= block.at(LoadAll{}, i);
    return (u0 | u1) | (u2 | u3);
}

/// The union of a vector's lanes.
QZK_INLINE std::uint32_t unite(Words v) {
    std::uint64_t parts[sizeof v / sizeof(std::uint64_t)];
    __builtin_memcpy(parts, &v, sizeof v);
    std::uint64_t all = 0;
    for (const std::uint64_t part : parts)
        all |= part;
    all |= all >> 32;
    return (all | all >> 16) & 0xFFFF;
}

/// The nibbles of a vector of destination bytes as two vectors, each lane one nibble.
struct NibblePairs {
    Bytes high, low;
};

QZK_INLINE Bytes packed(NibblePairs pairs) {
    const Bytes high = (Bytes)((Words)pairs.high << 4);
    return (high & splat<std::uint8_t>(0xF0)) | (pairs.low & splat<std::uint8_t>(0x0F));
}

/// An operand seen from whole bytes of the destination. Where it begins in the other half of a byte, a
/// destination byte takes the low nibble of one source byte and the high nibble of the next.
class AlignedNibbles {
public:
    [[gnu::always_inline]] explicit AlignedNibbles(Source<Nibble> nibbles)
        : first_(nibbles.first), next_(nibbles.skipped), toHigh_(shiftCount(nibbles.skipped == 0 ? 4 : 0)),
          toLow_(shiftCount(nibbles.skipped == 0 ? 0 : 4)) {}

    /// The pairs of the destination bytes from i on.
    template <class Load>
    [[gnu::always_inline]] NibblePairs at(Load load, std::size_t i) const {
        const Bytes nibble = splat<std::uint8_t>(0x0F);
        return {(Bytes)QZK_INTRINSIC(srl_epi16)((Integers)load(first_ + i), toHigh_) & nibble,
                (Bytes)QZK_INTRINSIC(srl_epi16)((Integers)load(first_ + next_ + i), toLow_) & nibble};
    }

private:
    const std::uint8_t *first_;
    std::size_t next_;
    __m128i toHigh_, toLow_;
};

/// The bytes of n nibbles that belong to them with both halves.
struct WholeBytes {
    std::size_t before; // nibbles before the first whole byte, 0 or 1
    std::size_t bytes;
    std::size_t after; // nibbles behind the last one, 0 or 1

    template <class Byte>
    [[gnu::always_inline]] WholeBytes(Nibbles<Byte> nibbles, std::size_t n)
        : before(n != 0 ? nibbles.skipped : 0), bytes((n - before) / 2), after((n - before) % 2) {}
};

} // namespace
} // namespace qzk::simd

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

/// A block gives the results of one vector: block(load, i) those of the elements from i on, load(address)
/// being how it reads an operand.
struct LoadAll {
    template <class T>
    [[gnu::always_inline]] Lanes<T> operator()(const T *from) const {
        Lanes<T> v;
        __builtin_memcpy(&v, from, sizeof v);
        return v;
    }
};

/// Compilers read memory anew for each use of a vector, where loads may be what a loop is short of.
struct LoadOnce {
    template <class T>
    [[gnu::always_inline]] Lanes<T> operator()(const T *from) const {
        Lanes<T> v = LoadAll{}(from);
        __asm__("" : "+v"(v));
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

/// A read from the place in its page that a recent write to another page had waits for that write. A loop
/// from the first element to the last whose reads come so soon behind its writes is better off going down.
/// Vectors beyond the first cache are slow enough for the writes to be done by then, but for the next ones.
QZK_INLINE bool trails(const void *src, const void *dst, std::size_t bytes) {
    constexpr std::uintptr_t page = 4096;
    const std::uintptr_t close = bytes > 2 * page ? 192 : 1024;
    const auto from = reinterpret_cast<std::uintptr_t>(src), to = reinterpret_cast<std::uintptr_t>(dst);
    return (to - from - 1) % page < close;
}

/// Writes n results, with aligned stores where the elements allow them: upwards where asked, which caches
/// like better, else from the last to the first. Every vector is read before it is written. The vectors at
/// both ends overlap the aligned ones between them: they are computed before anything is written, and written
/// when nothing is left to read. One vector a turn is enough: the loops wait for their stores.
template <class T, class Block>
QZK_INLINE void produce(T *dst, std::size_t n, bool upwards, const Block &block) {
    constexpr std::size_t lanes = lanesOf<T>;
    if (n < lanes) {
        if (n != 0) putFew(dst, block(LoadFew{n}, 0), n);
        return;
    }
    const std::size_t start = -reinterpret_cast<std::uintptr_t>(dst) % sizeof(Lanes<T>) / sizeof(T);
    const std::size_t vectors = (n - start) / lanes, end = start + vectors * lanes;
    const bool ragged = start > 0 || end < n;
    Lanes<T> head = {}, tail = {};
    if (ragged) {
        head = block(LoadOnce{}, 0);
        tail = block(LoadOnce{}, n - lanes);
    }

    const std::size_t step = upwards ? lanes : -lanes;
    std::size_t i = upwards ? start : end - lanes;
    for (std::size_t left = vectors; left > 0; --left, i += step)
        put(dst + i, block(LoadOnce{}, i));

    if (ragged) {
        put(dst + n - lanes, tail);
        put(dst, head);
    }
}

/// Hands the vectors of n results to `take`, some of the last ones twice.
template <class T, class Take>
QZK_INLINE void forVectors(std::size_t n, const Take &take) {
    constexpr std::size_t lanes = lanesOf<T>;
    if (n < lanes) {
        if (n != 0) take(LoadFew{n}, std::size_t{0});
        return;
    }
    for (std::size_t i = 0; i + lanes <= n; i += lanes)
        take(LoadOnce{}, i);
    if (n % lanes != 0) take(LoadOnce{}, n - lanes);
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

/// The high halves of the bytes of one vector with the low halves of those of another.
QZK_INLINE Bytes halves(Bytes high, Bytes low) {
    const Bytes mask = splat<std::uint8_t>(0xF0);
#if QZK_SIMD_LEVEL == 3
    return (Bytes)_mm512_ternarylogic_epi64((Integers)mask, (Integers)high, (Integers)low, 0xCA);
#else
    return (high & mask) | (low & ~mask);
#endif
}

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

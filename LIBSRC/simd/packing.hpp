// Elements of an image row to bytes and back, and bytes to words. Blocks are whole vectors; where elements
// are left over, the last block ends with the last whole byte and does part of the work twice.
#pragma once

#include "simd/blocks.hpp"

namespace qzk::simd {
namespace {

/// As many bytes as a vector has words, widened.
QZK_INLINE Words loadBytes(const std::uint8_t *from) {
#if QZK_SIMD_LEVEL == 1
    return (Words)_mm_unpacklo_epi8(_mm_loadl_epi64((const __m128i *)from), _mm_setzero_si128());
#elif QZK_SIMD_LEVEL == 2
    return (Words)_mm256_cvtepu8_epi16(_mm_loadu_si128((const __m128i *)from));
#else
    return (Words)_mm512_cvtepu8_epi16(_mm256_loadu_si256((const __m256i *)from));
#endif
}

QZK_INLINE void storeLowBytes(std::uint8_t *to, Words words) {
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

constexpr std::size_t wordLanes = lanesOf<std::uint16_t>;

// How a vector's worth of elements lies in `packedBytes` bytes.

struct NibblePacking {
    static constexpr std::size_t perByte = 2, packedBytes = wordLanes;

    QZK_INLINE Bytes unpacked(const std::uint8_t *row) {
        const Words pairs = loadBytes(row);
        return (Bytes)(pairs >> 4 | (pairs & 15) << 8);
    }
    QZK_INLINE void pack(Bytes elements, std::uint8_t *row) {
        const auto pairs = (Words)elements;
        storeLowBytes(row, (pairs & 15) << 4 | (pairs >> 8 & 15));
    }
};

struct BitPacking {
    static constexpr std::size_t perByte = 8, packedBytes = lanesOf<std::uint64_t>;

    QZK_INLINE Bytes unpacked(const std::uint8_t *row) {
        std::uint64_t bits = 0;
        __builtin_memcpy(&bits, row, packedBytes);
#if QZK_SIMD_LEVEL == 1
        __m128i repeated = _mm_cvtsi32_si128(static_cast<int>(bits));
        repeated = _mm_unpacklo_epi8(repeated, repeated);
        repeated = _mm_unpacklo_epi16(repeated, repeated);
        repeated = _mm_unpacklo_epi32(repeated, repeated);
#else
        Vec<std::uint64_t> places = {};
        for (std::size_t i = 0; i < packedBytes; ++i)
            places[i] = i * 0x0101010101010101;
        const Integers repeated =
            QZK_INTRINSIC(shuffle_epi8)((Integers)splat(bits), (Integers)places); // within 16 bytes
#endif
        const auto own = (Bytes)repeated & (Bytes)splat(std::uint64_t{0x0102040810204080});
        return (Bytes)QZK_INTRINSIC(min_epu8)((Integers)own, (Integers)splat(std::uint8_t{1}));
    }
    QZK_INLINE void pack(Bytes elements, std::uint8_t *row) {
#if QZK_SIMD_LEVEL == 3
        std::uint64_t bits = _mm512_test_epi8_mask((Integers)elements, (Integers)splat(std::uint8_t{1}));
#else
        std::uint64_t bits =
            static_cast<std::uint32_t>(QZK_INTRINSIC(movemask_epi8)((Integers)((Words)elements << 7)));
#endif
        // The first element is the highest bit of its byte.
        bits = (bits & 0x0F0F0F0F0F0F0F0F) << 4 | (bits >> 4 & 0x0F0F0F0F0F0F0F0F);
        bits = (bits & 0x3333333333333333) << 2 | (bits >> 2 & 0x3333333333333333);
        bits = (bits & 0x5555555555555555) << 1 | (bits >> 1 & 0x5555555555555555);
        __builtin_memcpy(row, &bits, packedBytes);
    }
};

template <class Element>
struct PackingOf;
template <>
struct PackingOf<Nibble> {
    using type = NibblePacking;
};
template <>
struct PackingOf<Bit> {
    using type = BitPacking;
};

/// n elements from `first` on: single(i) for those of the bytes that are not whole, block(i, byte) for a
/// vector of them that begins with a byte. i counts from `first`.
template <class Packing, class Single, class Block>
QZK_INLINE void forPacked(std::size_t first, std::size_t n, const Single &single, const Block &block) {
    constexpr std::size_t perByte = Packing::perByte, lanes = perByte * Packing::packedBytes;
    std::size_t i = 0;
    if (n >= lanes + perByte - 1) {
        for (; (first + i) % perByte != 0; ++i)
            single(i);
        for (; i + lanes <= n; i += lanes)
            block(i, (first + i) / perByte);
        if (const std::size_t end = n - (first + n) % perByte; i < end) {
            block(end - lanes, (first + end - lanes) / perByte);
            i = end;
        }
    }
    for (; i < n; ++i)
        single(i);
}

template <class Element>
void unpack(const std::uint8_t *row, std::size_t first, std::size_t n, std::uint8_t *elements) {
    const Source<Element> source = {row};
    using Packing = typename PackingOf<Element>::type;
    forPacked<Packing>(
        first, n,
        [&](std::size_t i) __attribute__((always_inline)) {
            elements[i] = static_cast<std::uint8_t>(source.get(first + i));
        },
        [&](std::size_t i, std::size_t byte)
            __attribute__((always_inline)) { store(elements + i, Packing::unpacked(row + byte)); });
}

template <class Element>
void pack(const std::uint8_t *values, std::size_t n, std::uint8_t *row, std::size_t first) {
    const Target<Element> target = {row};
    using Packing = typename PackingOf<Element>::type;
    forPacked<Packing>(
        first, n, [&](std::size_t i) __attribute__((always_inline)) { target.set(first + i, values[i]); },
        [&](std::size_t i, std::size_t byte)
            __attribute__((always_inline)) { Packing::pack(load(values + i), row + byte); });
}

template <>
void unpack<std::uint8_t>(const std::uint8_t *row, std::size_t first, std::size_t n, std::uint8_t *elements) {
    __builtin_memcpy(elements, row + first, n);
}

/// 128 is added.
template <>
void unpack<std::int8_t>(const std::uint8_t *row, std::size_t first, std::size_t n, std::uint8_t *elements) {
    produce(
        elements, n, true, [&](const auto &load, std::size_t i) __attribute__((always_inline)) {
            return load(row + first + i) ^ 0x80;
        });
}

template <>
void pack<std::uint8_t>(const std::uint8_t *values, std::size_t n, std::uint8_t *row, std::size_t first) {
    __builtin_memcpy(row + first, values, n);
}

/// The bytes may be the last n of the 2 n that the words take: a block then ends where they begin, or before.
void widen(const std::uint8_t *elements, std::size_t n, std::int16_t *words) {
    if (n < wordLanes) {
        for (std::size_t i = 0; i < n; ++i) {
            const std::int16_t word = elements[i];
            words[i] = word;
        }
        return;
    }
    const Words last = loadBytes(elements + n - wordLanes); // before the blocks reach it
    for (std::size_t i = 0; i + wordLanes <= n; i += wordLanes)
        store(words + i, (Vec<std::int16_t>)loadBytes(elements + i));
    store(words + n - wordLanes, (Vec<std::int16_t>)last);
}

} // namespace
} // namespace qzk::simd

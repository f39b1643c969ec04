// Operands of the element loops: what an element is, where it lies and what fits into it. How nibbles and
// bits are packed is known here and nowhere else. Inlined everywhere and with internal linkage where code is
// concerned, for the sources of the levels too.
#pragma once

#include "common/unaligned.hpp"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace qzk {

/// Stand for the unsigned elements of four bits and of one.
struct Nibble;
struct Bit;

/// Consecutive elements of T at any address.
template <class T>
struct Elements {
    using Element = std::remove_const_t<T>;
    /// Holds every element and every exact sum, difference and product of two.
    using Exact = std::conditional_t<std::is_integral_v<T>, std::int32_t, Element>;

    static constexpr int width = 8 * sizeof(T);
    static constexpr bool isSigned = std::is_signed_v<T>;
    static constexpr Exact lowest = std::numeric_limits<Element>::lowest();
    static constexpr Exact highest = std::numeric_limits<Element>::max();

    T *first;

    [[gnu::always_inline]] static Elements at(T *first, std::size_t) { return {first}; }
    [[gnu::always_inline]] std::size_t skippedNibbles() const { return 0; }

    [[gnu::always_inline]] Exact get(std::size_t i) const { return elementAt(first, i); }
    /// Stores the low bits.
    [[gnu::always_inline]] void set(std::size_t i, Exact value) const {
        setElement(first, i, static_cast<Element>(value));
    }
    [[gnu::always_inline]] Elements from(std::size_t i) const { return {first + i}; }
    [[gnu::always_inline]] operator Elements<const Element>() const { return {first}; }

    /// Places of memory count half bytes.
    static constexpr unsigned places = 2 * sizeof(T);
    [[gnu::always_inline]] std::uint64_t place() const {
        return 2 * std::uint64_t{reinterpret_cast<std::uintptr_t>(first)};
    }
};

/// Nibbles, two in each Byte, the high half first. `skipped` nibbles of *first come before element 0.
template <class Byte>
struct Nibbles {
    using Element = Nibble;
    using Exact = std::int32_t;

    static constexpr int width = 4;
    static constexpr bool isSigned = false;
    static constexpr Exact lowest = 0;
    static constexpr Exact highest = 15;

    Byte *first;
    std::size_t skipped = 0;

    [[gnu::always_inline]] static Nibbles at(Byte *first, std::size_t skipped) { return {first, skipped}; }
    [[gnu::always_inline]] std::size_t skippedNibbles() const { return skipped; }

    [[gnu::always_inline]] Exact get(std::size_t i) const {
        const std::size_t nibble = skipped + i;
        return nibble % 2 == 0 ? first[nibble / 2] >> 4 : first[nibble / 2] & 15;
    }
    /// Stores the low bits and leaves the byte's other nibble alone.
    [[gnu::always_inline]] void set(std::size_t i, Exact value) const {
        const std::size_t nibble = skipped + i;
        Byte &byte = first[nibble / 2];
        byte = static_cast<Byte>(nibble % 2 == 0 ? (byte & 0x0F) | (value & 15) << 4
                                                 : (byte & 0xF0) | (value & 15));
    }
    [[gnu::always_inline]] Nibbles from(std::size_t i) const {
        const std::size_t nibble = skipped + i;
        return {first + nibble / 2, nibble % 2};
    }
    [[gnu::always_inline]] operator Nibbles<const std::uint8_t>() const { return {first, skipped}; }

    static constexpr unsigned places = 1;
    [[gnu::always_inline]] std::uint64_t place() const {
        return 2 * std::uint64_t{reinterpret_cast<std::uintptr_t>(first)} + skipped;
    }
};

/// A vector that begins in the low half of its first byte where the offset is 0, else in the high half.
template <class Byte>
[[gnu::always_inline]] inline Nibbles<Byte> nibblesAt(Byte *first, std::int32_t nibbleOffset) {
    return {first, nibbleOffset != 0 ? std::size_t{0} : std::size_t{1}};
}

/// Bits, eight in each Byte, the most significant one first. `skipped` bits of *first come before element 0.
template <class Byte>
struct Bits {
    using Element = Bit;
    using Exact = std::int32_t;

    static constexpr int width = 1;
    static constexpr bool isSigned = false;
    static constexpr Exact lowest = 0;
    static constexpr Exact highest = 1;

    Byte *first;
    std::size_t skipped = 0;

    [[gnu::always_inline]] Exact get(std::size_t i) const {
        const std::size_t bit = skipped + i;
        return first[bit / 8] >> (7 - bit % 8) & 1;
    }
    /// Stores the lowest bit and leaves the byte's other bits alone.
    [[gnu::always_inline]] void set(std::size_t i, Exact value) const {
        const std::size_t bit = skipped + i, shift = 7 - bit % 8;
        Byte &byte = first[bit / 8];
        byte = static_cast<Byte>((byte & ~(1 << shift)) | (value & 1) << shift);
    }
    [[gnu::always_inline]] Bits from(std::size_t i) const {
        const std::size_t bit = skipped + i;
        return {first + bit / 8, bit % 8};
    }
    [[gnu::always_inline]] operator Bits<const std::uint8_t>() const { return {first, skipped}; }
};

/// Operand of an element, to read from and to write to.
template <class Element>
struct ViewOf {
    using Source = Elements<const Element>;
    using Target = Elements<Element>;
};
template <>
struct ViewOf<Nibble> {
    using Source = Nibbles<const std::uint8_t>;
    using Target = Nibbles<std::uint8_t>;
};
template <>
struct ViewOf<Bit> {
    using Source = Bits<const std::uint8_t>;
    using Target = Bits<std::uint8_t>;
};
template <class Element>
using Source = typename ViewOf<Element>::Source;
template <class Element>
using Target = typename ViewOf<Element>::Target;

/// What a vector of an element is made of in memory.
template <class Element>
using Place = std::conditional_t<std::is_same_v<Element, Nibble>, std::uint8_t, Element>;

} // namespace qzk

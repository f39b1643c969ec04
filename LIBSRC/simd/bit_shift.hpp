// Words of packed bytes of any width, and runs of bits moved within them. Everything is always inlined and
// has internal linkage, as in vec.hpp.
#pragma once

#include "simd/vec.hpp"

namespace qzk::simd {
namespace {

// There are no shifts of bytes: lanes of 16 bits are the smallest that shift.
typedef std::uint16_t Bytes16 __attribute__((vector_size(16)));

template <class T>
struct Load {
    [[gnu::always_inline]] T operator()(const std::uint8_t *from) const {
        T word;
        __builtin_memcpy(&word, from, sizeof word);
        return word;
    }
};

template <class T>
QZK_INLINE void put(std::uint8_t *dst, T word) {
    __builtin_memcpy(dst, &word, sizeof word);
}

/// The pattern repeated, or its first bytes, as a word of T.
template <class T>
QZK_INLINE T repeated(std::uint32_t pattern) {
    if constexpr (sizeof(T) <= sizeof pattern) {
        return static_cast<T>(pattern);
    } else if constexpr (sizeof(T) == sizeof(std::uint64_t)) {
        return pattern * std::uint64_t{0x100000001};
    } else {
        typedef std::uint32_t Words __attribute__((vector_size(sizeof(T))));
        return (T)(pattern - Words{});
    }
}

/// The bits of a run moved to the left by 1 to 7, all bytes of a word at once.
struct BitShift {
    unsigned left;

    template <class T>
    [[gnu::always_inline]] T operator()(T earlier, T later) const {
        const T fromEarlier = repeated<T>((0xFFu << left & 0xFFu) * 0x01010101u);
        return static_cast<T>((static_cast<T>(earlier << left) & fromEarlier) |
                              (static_cast<T>(later >> (8 - left)) & ~fromEarlier));
    }
};

} // namespace
} // namespace qzk::simd

// A real value as an integer, truncated toward zero: the definition for plain and for the elements that a
// block conversion cannot take. Inlined everywhere and with internal linkage, for the sources of the levels
// too.
#pragma once

#include <cstdint>
#include <limits>

namespace qzk::simd {

/// Low bits of the truncated value; 0 for what a 64-bit integer cannot hold and for not-a-numbers.
template <class T>
[[gnu::always_inline]] static inline T wrapped(double x) {
    if (!(x >= -0x1p63 && x < 0x1p63)) return 0;
    return static_cast<T>(static_cast<std::int64_t>(x));
}

/// Clamped to the range of T; a not-a-number goes to the end that its sign tells.
template <class T>
[[gnu::always_inline]] static inline T saturated(double x) {
    constexpr T lowest = std::numeric_limits<T>::min(), highest = std::numeric_limits<T>::max();
    if (x >= lowest && x <= highest) return static_cast<T>(x);
    return __builtin_signbit(x) ? lowest : highest;
}

} // namespace qzk::simd

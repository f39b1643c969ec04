// Element access for operands of any alignment that may also share memory with an operand of another type.
// Inlined everywhere and with internal linkage, for the sources of the levels too.
#pragma once

#include <cstddef>

namespace qzk {

template <class T>
[[gnu::always_inline]] static inline T elementAt(const T *vector, std::size_t i) {
    T value;
    __builtin_memcpy(&value, vector + i, sizeof value);
    return value;
}

template <class T>
[[gnu::always_inline]] static inline void setElement(T *vector, std::size_t i, T value) {
    __builtin_memcpy(vector + i, &value, sizeof value);
}

} // namespace qzk

// Shifts and magnitudes of one element by repeated doubling and halving.
#pragma once

#include <cstdint>

namespace qzk::test::reference {

/// `width` bits of two's complement, or of an unsigned number.
inline std::int64_t reduced(std::int64_t value, int width, bool isSigned) {
    const std::int64_t modulus = std::int64_t{1} << width;
    std::int64_t rest = value % modulus;
    if (rest < 0) rest += modulus;
    return isSigned && rest >= modulus / 2 ? rest - modulus : rest;
}

inline std::int64_t shiftedLeft(std::int64_t value, unsigned count, int width, bool isSigned) {
    for (unsigned i = 0; i < count % 32; ++i)
        value = reduced(2 * value, width, isSigned);
    return value;
}

inline std::int64_t shiftedRight(std::int64_t value, unsigned count) {
    for (unsigned i = 0; i < count % 32; ++i)
        value = (value - (value % 2 != 0 && value < 0 ? 1 : 0)) / 2;
    return value;
}

inline std::int64_t magnitude(std::int64_t value, int width) {
    return reduced(value > 0 ? value : -value, width, true);
}

} // namespace qzk::test::reference

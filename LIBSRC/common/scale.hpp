// Scale factors: an integer with the scale factor k stands for its value times 2^k.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>

namespace qzk {

/// 2^exponent, at the ends of the double range for exponents beyond them.
inline double powerOfTwo(std::int32_t exponent) {
    const auto biased = static_cast<std::uint64_t>(std::clamp(exponent, -1022, 1023) + 1023);
    return std::bit_cast<double>(biased << 52);
}

/// 2^-k of a scale factor k.
inline double multiplierOf(std::int32_t scaleFactor) {
    constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();
    return powerOfTwo(-std::max(scaleFactor, -largest));
}

} // namespace qzk

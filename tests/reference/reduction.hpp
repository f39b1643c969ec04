// Minima, maxima and sums, written the slow way.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qzk::test::reference {

/// Whether the bits of one float place it below another.
inline bool floatIsBelow(std::uint32_t a, std::uint32_t b) {
    const bool aNegative = a >= 0x80000000, bNegative = b >= 0x80000000;
    if (aNegative != bNegative) return aNegative;
    return aNegative ? a > b : a < b;
}

inline std::vector<int> bitsOf(const std::vector<std::uint8_t> &bytes, int bitOffset, std::size_t len) {
    std::vector<int> bits;
    std::size_t byte = 0;
    int bit = bitOffset;
    while (bits.size() < len) {
        bits.push_back(bytes[byte] / (1 << bit) % 2);
        if (--bit < 0) bit = 7, ++byte;
    }
    return bits;
}

inline std::vector<int> nibblesOf(const std::vector<std::uint8_t> &bytes, bool high, std::size_t len) {
    std::vector<int> nibbles;
    std::size_t byte = 0;
    while (nibbles.size() < len) {
        nibbles.push_back(high ? bytes[byte] / 16 : bytes[byte] % 16);
        if (!high) ++byte;
        high = !high;
    }
    return nibbles;
}

/// The number of 32 bits, as signed, that is congruent to a value.
inline std::int64_t low32(std::int64_t value) {
    value %= std::int64_t{1} << 32;
    if (value >= std::int64_t{1} << 31) value -= std::int64_t{1} << 32;
    if (value < -(std::int64_t{1} << 31)) value += std::int64_t{1} << 32;
    return value;
}

/// floor(value / 2^shift), or for a negative shift the low 32 bits of value * 2^-shift.
inline std::int64_t timesPower(std::int64_t value, int shift) {
    for (; shift > 0; --shift)
        value = (value - (value % 2 != 0 && value < 0 ? 1 : 0)) / 2;
    for (; shift < 0; ++shift)
        value = low32(value * 2);
    return value;
}

inline float sum(const std::vector<float> &values) {
    double groups[4] = {0, 0, 0, 0};
    std::size_t left = values.size();
    while (left >= 4) {
        left -= 4;
        groups[3] = groups[3] + double(values[left + 3]);
        groups[2] = groups[2] + double(values[left + 2]);
        groups[1] = groups[1] + double(values[left + 1]);
        groups[0] = groups[0] + double(values[left]);
    }
    double total = ((groups[0] + groups[1]) + groups[2]) + groups[3];
    while (left > 0) {
        left -= 1;
        total = total + double(values[left]);
    }
    return float(total);
}

} // namespace qzk::test::reference

// Packed fill, copy and logic, bit by bit. The order in which a run is walked, which shows where operands
// overlap, is a list of steps: each reads all of its operands before it writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace qzk::test::reference {

enum class Logic { copy, conjunction, disjunction, exclusive };

inline bool apply(Logic operation, bool source, bool other) {
    switch (operation) {
    case Logic::conjunction:
        return source && other;
    case Logic::disjunction:
        return source || other;
    case Logic::exclusive:
        return source != other;
    default:
        return source;
    }
}

/// Bits are numbered from bit 7 of the first byte down.
inline bool bitAt(const std::uint8_t *bytes, std::size_t i) { return (bytes[i / 8] >> (7 - i % 8) & 1) != 0; }

inline void putBit(std::uint8_t *bytes, std::size_t i, bool bit) {
    const auto mask = static_cast<std::uint8_t>(0x80 >> i % 8);
    bytes[i / 8] = static_cast<std::uint8_t>(bit ? bytes[i / 8] | mask : bytes[i / 8] & ~mask);
}

struct Step {
    std::size_t firstByte, bytes;
};

/// Bytes first .. end - 1 of a destination at `address`: single bytes up to a multiple of four, words in
/// blocks of sixteen bytes, single bytes; the last ones backwards except in a copy.
inline void walkBytes(std::vector<Step> &steps, std::uintptr_t address, std::size_t first, std::size_t end,
                      bool backwards) {
    if (end - first >= 4)
        while ((address + first) % 4 != 0)
            steps.push_back({first++, 1});
    while (end - first >= 16)
        for (int word = 0; word < 4; ++word, first += 4)
            steps.push_back({first, 4});
    for (std::size_t left = end - first, i = 0; i < left; ++i)
        steps.push_back({backwards ? end - 1 - i : first + i, 1});
}

/// One source or two sources (`second` not null), and a destination.
struct Operands {
    Logic operation;
    const std::uint8_t *first, *second;
    std::uint8_t *dst;
};

/// Moves `bits` bits that start at bit srcStart of the sources to bit dstStart of the destination.
inline void move(const Operands &operands, std::size_t srcStart, std::size_t dstStart, std::size_t bits,
                 const std::vector<Step> &steps) {
    for (const Step &step : steps) {
        std::vector<std::pair<std::size_t, bool>> results;
        for (std::size_t at = step.firstByte * 8; at < (step.firstByte + step.bytes) * 8; ++at) {
            if (at < dstStart || at >= dstStart + bits) continue;
            const std::size_t from = at - dstStart + srcStart;
            const bool other =
                operands.second != nullptr ? bitAt(operands.second, from) : bitAt(operands.dst, at);
            results.emplace_back(at, apply(operands.operation, bitAt(operands.first, from), other));
        }
        for (const auto &[at, bit] : results)
            putBit(operands.dst, at, bit);
    }
}

/// Bits per element 1 or 4. Offsets count bits from the low end of the first byte.
inline void moveBits(const Operands &operands, int srcOffset, int dstOffset, std::int64_t bits,
                     std::uintptr_t dstAddress) {
    if (bits < 1) return;
    const auto length = static_cast<std::size_t>(bits);
    const auto srcStart = static_cast<std::size_t>(7 - (srcOffset & 7));
    const auto dstStart = static_cast<std::size_t>(7 - (dstOffset & 7));
    const std::size_t last = (dstStart + length - 1) / 8;

    std::vector<Step> steps = {{0, 1}};
    if (last != 0) {
        std::size_t next = 1;
        if (srcStart == dstStart)
            walkBytes(steps, dstAddress, 1, last, operands.operation != Logic::copy), next = last;
        for (; last - next >= 4; next += 4)
            steps.push_back({next, 4});
        for (; next <= last; ++next)
            steps.push_back({next, 1});
    }
    move(operands, srcStart, dstStart, length, steps);
}

inline void moveBytes(const Operands &operands, std::size_t bytes, std::uintptr_t dstAddress) {
    std::vector<Step> steps;
    walkBytes(steps, dstAddress, 0, bytes, operands.operation != Logic::copy);
    move(operands, 0, 0, bytes * 8, steps);
}

/// Combines a run with a value of elementBits bits, repeated.
inline void repeat(Logic operation, unsigned value, int elementBits, std::uint8_t *dst, int offset,
                   std::int64_t len) {
    for (std::int64_t i = 0; i < len; ++i)
        for (int bit = 0; bit < elementBits; ++bit) {
            const auto at = static_cast<std::size_t>(7 - offset + i * elementBits + bit);
            putBit(dst, at, apply(operation, (value >> (elementBits - 1 - bit) & 1) != 0, bitAt(dst, at)));
        }
}

} // namespace qzk::test::reference

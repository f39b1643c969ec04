// Packed bits: the most significant bit of a byte comes first.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qzk {

/// Position of a run of at least one bit within its bytes.
struct BitRun {
    std::size_t last;                 // index of its last byte
    std::uint8_t firstMask, lastMask; // equal where the run lies in one byte

    BitRun(std::int32_t bitOffset, std::int64_t len) {
        const unsigned start = bitOffset & 7;
        const std::int64_t lastBit = len + 6 - start; // counted from bit 7 of the first byte
        last = static_cast<std::size_t>(lastBit >> 3);
        firstMask = static_cast<std::uint8_t>(0xFFu >> (7 - start));
        lastMask = static_cast<std::uint8_t>(0xFFu << (7 - (lastBit & 7)));
        if (last == 0) firstMask = lastMask = firstMask & lastMask;
    }
};

} // namespace qzk

// Quarter turns as loops over words, in blocks that fit the cache. Extents are multiples of the blocks.
#pragma once

#include <cstdint>

namespace peers {

/// Counter-clockwise: element (i, j) goes to row columns - 1 - j, column i.
void turnBits(const std::uint8_t *const *src, std::uint8_t *const *dst, int rows, int columns);
void turnNibbles(const std::uint8_t *const *src, std::uint8_t *const *dst, int rows, int columns);
void turnBytes(const std::uint8_t *const *src, std::uint8_t *const *dst, int rows, int columns);

} // namespace peers

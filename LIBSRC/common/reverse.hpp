// Rows of packed elements in reverse order.
#pragma once

#include "common/elements.hpp"
#include "common/overlap.hpp"
#include "simd/kernels.hpp"

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace qzk {

/// Element n - 1 - i of the destination takes element i of the source, i ascending. The rows begin
/// `srcSkipped` and `dstSkipped` elements behind the first element of *src and *dst, and no bit of the
/// destination outside its row changes. Rows that share bytes, identical ones too, give what that order
/// gives. Element is Bit, Nibble or std::uint8_t.
template <class Element>
void reverseRow(const std::uint8_t *src, std::size_t srcSkipped, std::uint8_t *dst, std::size_t dstSkipped,
                std::size_t n) {
    constexpr std::size_t perByte = 8 / Source<Element>::width;
    const std::size_t srcBytes = (srcSkipped + n + perByte - 1) / perByte;
    const std::size_t dstBytes = (dstSkipped + n + perByte - 1) / perByte;
    const bool blocksAreExact = apart(src, dst, srcBytes > dstBytes ? srcBytes : dstBytes);
    const simd::Kernels &table = blocksAreExact ? simd::kernels() : simd::kernelsOf(simd::Level::plain);
    if constexpr (std::is_same_v<Element, Bit>)
        table.reverse.bits(src, srcSkipped, dst, dstSkipped, n);
    else if constexpr (std::is_same_v<Element, Nibble>)
        table.reverse.nibbles(src, srcSkipped, dst, dstSkipped, n);
    else
        table.reverse.bytes(src, srcSkipped, dst, dstSkipped, n);
}

} // namespace qzk

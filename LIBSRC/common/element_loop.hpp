// Loops from the last element to the first whose order shows where operands overlap.
#pragma once

#include "common/overlap.hpp"
#include "simd/kernels.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace qzk {

inline std::size_t lengthOf(std::int32_t len) { return len > 0 ? static_cast<std::size_t>(len) : 0; }

/// True where the order of a loop does not show.
template <class Source, class Target>
bool areApart(Source src, Target dst, std::size_t n) {
    return apartOrIdentical(src.place(), dst.place(), std::uint64_t{n} * Target::places);
}

/// How many elements such a loop may read before it writes any of them.
template <class Source, class Target>
std::size_t descendingStep(Source src, Target dst, std::size_t n) {
    const auto extent = std::uint64_t{n} * Target::places;
    return static_cast<std::size_t>(descendingStep(src.place(), dst.place(), extent) / Target::places);
}

/// Runs work(kernels, first, count) over n elements, the last ones first, in parts within which reads may run
/// ahead of the writes. Operands too close for that take the definition's own loop.
template <class Work>
void inDescendingParts(std::size_t n, std::size_t step, Work work) {
    constexpr std::size_t worthwhile = 64;
    if (step < std::min(n, worthwhile)) return work(simd::kernelsOf(simd::Level::plain), std::size_t{0}, n);
    for (std::size_t end = n; end > 0;) {
        const std::size_t count = std::min(step, end);
        end -= count;
        work(simd::kernels(), end, count);
    }
}

} // namespace qzk

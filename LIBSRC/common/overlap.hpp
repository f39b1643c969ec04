// Where operands overlap, the order of an element loop shows in its result. These guards tell whether working
// in blocks gives what the element loop gives; where they say no, the plain loop has to run.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qzk {

/// For loops from the last element to the first: how many places such a loop may read before it writes any of
/// them and still give what single steps give. That is all of them where no write reaches a later read, else
/// the distance of the operands. Places are bytes, or half bytes where elements are that small.
inline std::uint64_t descendingStep(std::uint64_t src, std::uint64_t dst, std::uint64_t extent) {
    return src <= dst || src - dst >= extent ? extent : src - dst;
}

/// True where an element's write reaches no other element's source, whatever the order of the loop.
inline bool apartOrIdentical(std::uint64_t src, std::uint64_t dst, std::uint64_t extent) {
    return src == dst || (src > dst ? src - dst : dst - src) >= extent;
}

/// True where two stretches of n bytes share none.
inline bool apart(const void *a, const void *b, std::size_t n) {
    const auto first = reinterpret_cast<std::uintptr_t>(a);
    const auto second = reinterpret_cast<std::uintptr_t>(b);
    return (first > second ? first - second : second - first) >= n;
}

/// How many bytes an ascending loop may read before it writes any of them and still give what single steps
/// give: all of them where no write reaches a later read, else the distance of the operands. `reach` is how
/// many bytes past its own a step reads.
inline std::size_t ascendingStep(const void *src, const void *dst, std::size_t bytes, std::size_t reach = 0) {
    const auto from = reinterpret_cast<std::uintptr_t>(src);
    const auto to = reinterpret_cast<std::uintptr_t>(dst);
    if (to <= from || to - from >= bytes + reach) return bytes;
    return to - from > reach ? to - from - reach : 0;
}

/// For loops from the first element to the last whose destination elements are at most as wide as the source
/// elements. A destination that starts at or before the source falls further behind with every element, so a
/// block's stores never reach a source element of a later step.
inline bool narrowingBlocksAreExact(const void *src, std::size_t srcBytes, const void *dst) {
    const auto from = reinterpret_cast<std::uintptr_t>(src);
    const auto to = reinterpret_cast<std::uintptr_t>(dst);
    return to <= from || to - from >= srcBytes;
}

/// The mirror image: loops from the last element to the first whose destination elements are at least as
/// wide.
inline bool wideningBlocksAreExact(const void *src, const void *dst, std::size_t dstBytes) {
    return narrowingBlocksAreExact(dst, dstBytes, src);
}

/// For images: true where no row of the destination shares bytes with another one or with a row of the
/// source. May be false without need: destination rows have to follow one another upwards or downwards, and
/// no source row may lie between them.
inline bool rowsApart(const void *const *src, std::int64_t srcRows, std::size_t srcBytes,
                      const void *const *dst, std::int64_t dstRows, std::size_t dstBytes) {
    const auto address = [](const void *row) { return reinterpret_cast<std::uintptr_t>(row); };
    const std::uintptr_t first = address(dst[0]), last = address(dst[dstRows - 1]);
    const bool upwards = first <= last;
    for (std::int64_t r = 1; r < dstRows; ++r) {
        const std::uintptr_t low = address(dst[upwards ? r - 1 : r]);
        const std::uintptr_t high = address(dst[upwards ? r : r - 1]);
        if (high < low || high - low < dstBytes) return false;
    }
    const std::uintptr_t begin = upwards ? first : last, end = (upwards ? last : first) + dstBytes;
    for (std::int64_t r = 0; r < srcRows; ++r)
        if (address(src[r]) < end && address(src[r]) + srcBytes > begin) return false;
    return true;
}

} // namespace qzk

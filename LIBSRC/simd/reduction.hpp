// Reductions of one vector to one number.
#pragma once

#include "common/elements.hpp"

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace qzk::simd {

namespace {

/// Elements compare by rank. An integer is its own; the rank of a float orders its bits: those with the sign
/// set come first, the greatest magnitude before all, then the others. Also gives the bits of a rank.
template <class Bits>
[[gnu::always_inline]] inline Bits rankOfFloat(Bits bits) {
    return bits ^ ((bits >> 31) & 0x7FFFFFFF);
}

// What wins, and the winner of each lane where the ranks are vectors.
struct Smallest {
    template <class Ranks>
    [[gnu::always_inline]] static auto wins(Ranks a, Ranks b) {
        return a < b;
    }
    template <class Ranks>
    [[gnu::always_inline]] static Ranks of(Ranks a, Ranks b) {
        return a < b ? a : b;
    }
};

struct Largest {
    template <class Ranks>
    [[gnu::always_inline]] static auto wins(Ranks a, Ranks b) {
        return a > b;
    }
    template <class Ranks>
    [[gnu::always_inline]] static Ranks of(Ranks a, Ranks b) {
        return a > b ? a : b;
    }
};

} // namespace

/// How a vector is passed. A view of nibbles does not fit registers, and a copy that is read while its parts
/// are still being written waits for them longer than a short reduction takes.
template <class Element>
using Operand = std::conditional_t<std::is_same_v<Element, Nibble>, const Source<Element> &, Source<Element>>;

struct Extreme {
    std::int32_t rank;
    std::size_t index;
};

/// The first one among equals. Vectors have at least one element.
template <class Element>
struct ExtremeKernels {
    using Form = Extreme (*)(Operand<Element> src, std::size_t n);
    Form smallest, largest;
};

/// Integers are summed exactly. The sum of floats has an order: groups of four elements from the end of the
/// vector add to four sums, one for each place in a group, these four add up from the first place to the
/// last, and the elements left over at the start follow from the last to the first. All sums are double and
/// start at 0.
template <class Element>
struct SumKernels {
    using Total = std::conditional_t<std::is_same_v<Element, float>, double, std::int64_t>;
    Total (*sum)(Operand<Element> src, std::size_t n);
};

struct ReductionKernels : ExtremeKernels<Nibble>,
                          ExtremeKernels<std::uint8_t>,
                          ExtremeKernels<std::int8_t>,
                          ExtremeKernels<std::int16_t>,
                          ExtremeKernels<float>,
                          SumKernels<Nibble>,
                          SumKernels<std::uint8_t>,
                          SumKernels<std::int8_t>,
                          SumKernels<std::int16_t>,
                          SumKernels<float> {
    /// Number of bits set in n bytes.
    std::int64_t (*setBits)(const std::uint8_t *bytes, std::size_t n);
};

namespace plain {
void install(ReductionKernels &kernels);
}
namespace sse2 {
void install(ReductionKernels &kernels);
}
namespace avx2 {
void install(ReductionKernels &kernels);
}
namespace avx512 {
void install(ReductionKernels &kernels);
}

} // namespace qzk::simd

// Element-wise sums, differences and products.
#pragma once

#include "common/elements.hpp"

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

/// How a kernel goes over its operands, in one register.
struct Course {
    std::uint32_t bits;

    /// Element 0 of a stands for all of them.
    static constexpr std::uint32_t scalar = 1;
    /// No write reaches what another element reads, whatever the order.
    static constexpr std::uint32_t apart = 2;
    /// A nibble comes before element 0 in its byte.
    static constexpr std::uint32_t skipsInA = 4, skipsInB = 8, skipsInDst = 16;

    [[gnu::always_inline]] bool has(std::uint32_t bit) const { return (bits & bit) != 0; }
};

/// What an operation works on: result i is that of a[i] and b[i].
template <class Element>
struct Operands {
    Source<Element> a, b;
    Target<Element> dst;
    std::size_t n;
    bool scalar, apart;

    [[gnu::always_inline]] Source<Element> aFrom(std::size_t i) const { return a.from(scalar ? 0 : i); }
    [[gnu::always_inline]] auto aAt(std::size_t i) const { return a.get(scalar ? 0 : i); }
    [[gnu::always_inline]] auto bAt(std::size_t i) const { return b.get(i); }
    [[gnu::always_inline]] Course course() const {
        return {(scalar ? Course::scalar : 0) | (apart ? Course::apart : 0) |
                (a.skippedNibbles() != 0 ? Course::skipsInA : 0) |
                (b.skippedNibbles() != 0 ? Course::skipsInB : 0) |
                (dst.skippedNibbles() != 0 ? Course::skipsInDst : 0)};
    }
};

/// Kernels take their operands apart, so that they come in registers: what a call writes to memory has to
/// wait for the stores of the call before.
template <class Element, class Result, class... More>
using Form = Result (*)(const Place<Element> *a, const Place<Element> *b, Place<Element> *dst, std::size_t n,
                        Course course, More... more);

template <class Element, class Result, class... More>
[[gnu::always_inline]] inline Result call(Form<Element, Result, More...> form,
                                          const Operands<Element> &operands, More... more) {
    return form(operands.a.first, operands.b.first, operands.dst.first, operands.n, operands.course(),
                more...);
}

/// The forms of one operation on integers, whose results are exact before they are fitted to the element. The
/// plain forms go from the last element to the first, overlapping operands included. Those of a level read
/// ahead of their writes, so they take operands where no write reaches an element that is read later in that
/// order.
template <class Element>
struct ScaledKernels {
    /// Shifted by `shift` bits, to the right where it is positive; the low bits are stored.
    Form<Element, void, std::int32_t> fixed;
    /// Clamped to the range of the element.
    Form<Element, void> saturated;
    /// The least right shift by which every result fits; null for an operation without automatic scale.
    Form<Element, std::int32_t> fittingShift;
};

template <class Element>
struct ElementKernels {
    ScaledKernels<Element> add, subtract, multiply;
};

template <>
struct ElementKernels<float> {
    Form<float, void> add, subtract, multiply;
};

struct ArithmeticKernels : ElementKernels<Nibble>,
                           ElementKernels<std::uint8_t>,
                           ElementKernels<std::int8_t>,
                           ElementKernels<std::int16_t>,
                           ElementKernels<float> {};

namespace plain {
void install(ArithmeticKernels &kernels);
}
namespace sse2 {
void install(ArithmeticKernels &kernels);
}
namespace avx2 {
void install(ArithmeticKernels &kernels);
}
namespace avx512 {
void install(ArithmeticKernels &kernels);
}

} // namespace qzk::simd

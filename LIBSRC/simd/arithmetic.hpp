// Element-wise sums, differences and products.
#pragma once

#include "common/elements.hpp"

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

/// What an operation works on: result i is that of a[i] and b[i]. a may repeat one element.
template <class Element>
struct Operands {
    Source<Element> a, b;
    Target<Element> dst;
    std::size_t n;
};

/// The forms of one operation on integers, whose results are exact before they are fitted to the element. The
/// plain forms go from the last element to the first,
/// overlapping operands included. Those of a level read ahead of their writes, so they take operands where no
/// write reaches an element that is read later in that order.
template <class Element>
struct ScaledKernels {
    /// Shifted by `shift` bits, to the right where it is positive; the low bits are stored.
    void (*fixed)(const Operands<Element> &operands, std::int32_t shift);
    /// Clamped to the range of the element.
    void (*saturated)(const Operands<Element> &operands);
    /// The least right shift by which every result fits; null for an operation without automatic scale.
    std::int32_t (*fittingShift)(const Operands<Element> &operands);
};

template <class Element>
struct ElementKernels {
    ScaledKernels<Element> add, subtract, multiply;
};

template <>
struct ElementKernels<float> {
    using Form = void (*)(const Operands<float> &operands);
    Form add, subtract, multiply;
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

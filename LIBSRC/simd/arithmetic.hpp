// Element-wise sums, differences and products.
#pragma once

#include "common/elements.hpp"

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

/// The forms of one operation on integers. Result i is the operation of a[i] and b[i], exact before it is
/// fitted to the element; a may repeat one element. The plain forms go from the last element to the first,
/// overlapping operands included. Those of a level read ahead of their writes, so they take operands where no
/// write reaches an element that is read later in that order.
template <class Element>
struct ScaledKernels {
    /// Shifted by `shift` bits, to the right where it is positive; the low bits are stored.
    void (*fixed)(Source<Element> a, Source<Element> b, Target<Element> dst, std::size_t n,
                  std::int32_t shift);
    /// Clamped to the range of the element.
    void (*saturated)(Source<Element> a, Source<Element> b, Target<Element> dst, std::size_t n);
    /// The least right shift by which every result fits; null for an operation without automatic scale.
    std::int32_t (*fittingShift)(Source<Element> a, Source<Element> b, std::size_t n);
};

template <class Element>
struct ElementKernels {
    ScaledKernels<Element> add, subtract, multiply;
};

template <>
struct ElementKernels<float> {
    using Form = void (*)(Source<float> a, Source<float> b, Target<float> dst, std::size_t n);
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

// Magnitudes and shifts of elements.
#pragma once

#include "common/elements.hpp"

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

namespace {

struct ShiftedLeft {
    std::int32_t count;

    [[gnu::always_inline]] std::int32_t operator()(std::int32_t value) const {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(value) << count);
    }
};

struct ShiftedRight {
    std::int32_t count;

    [[gnu::always_inline]] std::int32_t operator()(std::int32_t value) const { return value >> count; }
};

} // namespace

/// The plain form goes from the last element to the first. That of a level reads ahead of its writes, so it
/// takes operands where no write reaches an element that is read later in that order; `apart` tells that this
/// holds for every order.
template <class Element>
struct MagnitudeKernels {
    void (*magnitudes)(Source<Element> src, Target<Element> dst, std::size_t n, bool apart);
};

/// By 0 to 31 bits; bits that leave an element are lost.
template <class Element>
struct ShiftKernels {
    using Form = void (*)(Target<Element> srcDst, std::size_t n, std::int32_t count);
    Form shiftLeft, shiftRight;
};

struct AbsShiftKernels : MagnitudeKernels<std::int8_t>,
                         MagnitudeKernels<std::int16_t>,
                         MagnitudeKernels<float>,
                         ShiftKernels<Nibble>,
                         ShiftKernels<std::uint8_t>,
                         ShiftKernels<std::int8_t>,
                         ShiftKernels<std::int16_t> {};

namespace plain {
void install(AbsShiftKernels &kernels);
}
namespace sse2 {
void install(AbsShiftKernels &kernels);
}
namespace avx2 {
void install(AbsShiftKernels &kernels);
}
namespace avx512 {
void install(AbsShiftKernels &kernels);
}

} // namespace qzk::simd

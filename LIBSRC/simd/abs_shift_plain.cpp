#include "simd/abs_shift.hpp"

namespace qzk::simd {
namespace {

using std::int32_t;
using std::size_t;

template <class Element>
void magnitudes(Source<Element> src, Target<Element> dst, size_t n, bool) {
    for (size_t i = n; i-- > 0;) {
        const int32_t value = src.get(i);
        dst.set(i, value > 0 ? value : -value);
    }
}

/// As bits: no operation on floats may touch a not-a-number.
void magnitudesOfFloats(Source<float> src, Target<float> dst, size_t n, bool) {
    const auto *from = reinterpret_cast<const std::uint32_t *>(src.first);
    auto *to = reinterpret_cast<std::uint32_t *>(dst.first);
    for (size_t i = n; i-- > 0;)
        setElement(to, i, elementAt(from, i) & 0x7FFFFFFF);
}

template <class Element, class Shifted>
void shift(Target<Element> srcDst, size_t n, int32_t count) {
    const Shifted shifted = {count};
    for (size_t i = n; i-- > 0;)
        srcDst.set(i, shifted(srcDst.get(i)));
}

template <class Element>
void installShifts(ShiftKernels<Element> &kernels) {
    kernels = {shift<Element, ShiftedLeft>, shift<Element, ShiftedRight>};
}

template <class Element>
void installMagnitudes(MagnitudeKernels<Element> &kernels) {
    kernels = {magnitudes<Element>};
}

} // namespace

void plain::install(AbsShiftKernels &kernels) {
    installMagnitudes<std::int8_t>(kernels);
    installMagnitudes<std::int16_t>(kernels);
    static_cast<MagnitudeKernels<float> &>(kernels) = {magnitudesOfFloats};
    installShifts<Nibble>(kernels);
    installShifts<std::uint8_t>(kernels);
    installShifts<std::int8_t>(kernels);
    installShifts<std::int16_t>(kernels);
}

} // namespace qzk::simd

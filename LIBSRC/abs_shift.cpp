// Magnitudes and shifts of vector elements.
#include "common/element_loop.hpp"
#include "qzk.h"

using namespace qzk;

namespace {

using std::int16_t;
using std::int32_t;
using std::int8_t;
using std::size_t;
using std::uint8_t;

template <class T>
const simd::MagnitudeKernels<T> &magnitudesOf(const simd::Kernels &table) {
    return table.absShift;
}

template <class T>
[[gnu::noinline]] void takeMagnitudesInOrder(Source<T> src, Target<T> dst, size_t n) {
    inDescendingParts(n, descendingStep(src, dst, n),
                      [=](const simd::Kernels &table, size_t first, size_t count) {
                          magnitudesOf<T>(table).magnitudes(src.from(first), dst.from(first), count, false);
                      });
}

template <class T>
void takeMagnitudes(const T *from, T *to, size_t n) {
    const Source<T> src = {from};
    const Target<T> dst = {to};
    if (areApart(src, dst, n)) return magnitudesOf<T>(simd::kernels()).magnitudes(src, dst, n, true);
    takeMagnitudesInOrder<T>(src, dst, n);
}

/// kept: the separate destination always gets element 0. Clients call with an unset length for one element.
size_t lengthOrOne(int32_t len) { return len > 1 ? static_cast<size_t>(len) : 1; }

template <class Element>
const simd::ShiftKernels<Element> &shiftsOf() {
    return simd::kernels().absShift;
}

/// Counts are those of a 32-bit shift.
int32_t countOf(uint8_t shift) { return shift & 31; }

template <class T>
void shiftLeft(T *srcDst, int32_t len, uint8_t shift) {
    shiftsOf<T>().shiftLeft({srcDst}, lengthOf(len), countOf(shift));
}
template <class T>
void shiftRight(T *srcDst, int32_t len, uint8_t shift) {
    shiftsOf<T>().shiftRight({srcDst}, lengthOf(len), countOf(shift));
}

} // namespace

extern "C" {

void QZtbAbs(int8_t *srcDst, int32_t len) { takeMagnitudes(srcDst, srcDst, lengthOf(len)); }
void QZwbAbs(int16_t *srcDst, int32_t len) { takeMagnitudes(srcDst, srcDst, lengthOf(len)); }
void QZsbAbs(float *srcDst, int32_t len) { takeMagnitudes(srcDst, srcDst, lengthOf(len)); }

void QZtbAbs2(const int8_t *src, int8_t *dst, int32_t len) { takeMagnitudes(src, dst, lengthOrOne(len)); }
void QZwbAbs2(const int16_t *src, int16_t *dst, int32_t len) { takeMagnitudes(src, dst, lengthOrOne(len)); }
void QZsbAbs2(const float *src, float *dst, int32_t len) { takeMagnitudes(src, dst, lengthOf(len)); }

void QZnbShiftL(uint8_t *srcDst, int32_t nibbleOffset, int32_t len, uint8_t shift) {
    shiftsOf<Nibble>().shiftLeft(nibblesAt(srcDst, nibbleOffset), lengthOf(len), countOf(shift));
}
void QZybShiftL(uint8_t *srcDst, int32_t len, uint8_t shift) { shiftLeft(srcDst, len, shift); }
void QZtbShiftL(int8_t *srcDst, int32_t len, uint8_t shift) { shiftLeft(srcDst, len, shift); }
void QZwbShiftL(int16_t *srcDst, int32_t len, uint8_t shift) { shiftLeft(srcDst, len, shift); }

void QZnbShiftR(uint8_t *srcDst, int32_t nibbleOffset, int32_t len, uint8_t shift) {
    shiftsOf<Nibble>().shiftRight(nibblesAt(srcDst, nibbleOffset), lengthOf(len), countOf(shift));
}
void QZybShiftR(uint8_t *srcDst, int32_t len, uint8_t shift) { shiftRight(srcDst, len, shift); }
void QZtbShiftR(int8_t *srcDst, int32_t len, uint8_t shift) { shiftRight(srcDst, len, shift); }
void QZwbShiftR(int16_t *srcDst, int32_t len, uint8_t shift) { shiftRight(srcDst, len, shift); }

} // extern "C"

// Element-wise addition, subtraction and multiplication. The three forms of an operation are one: a and b go
// to a destination, which in place is b itself; a scalar is an a that repeats one element.
#include "common/element_loop.hpp"
#include "qzk.h"
#include "simd/arithmetic_operations.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

using namespace qzk;

namespace {

using simd::Add;
using simd::Multiply;
using simd::Operands;
using simd::Subtract;
using std::int16_t;
using std::int32_t;
using std::int8_t;
using std::size_t;
using std::uint8_t;

/// How many elements a loop from the last to the first may read before it writes any of them.
template <class Element>
size_t stepOf(const Operands<Element> &operands) {
    const auto &[a, b, dst, n, scalar, apart] = operands;
    return std::min(scalar ? n : descendingStep(a, dst, n), descendingStep(b, dst, n));
}

template <class Element>
Operands<Element> partOf(const Operands<Element> &all, size_t first, size_t count) {
    return {all.aFrom(first), all.b.from(first), all.dst.from(first), count, all.scalar, false};
}

template <class Operation, class Element>
const auto &kernelsOf(const simd::Kernels &table) {
    return table.arithmetic.*Operation::template kernels<Element>;
}

/// Runs work(kernels, operands) from the last element to the first, or in any order where that is the same.
template <class Operation, class Element, class Work>
[[gnu::always_inline]] inline void inParts(const Operands<Element> &all, Work work) {
    if (all.apart) return work(kernelsOf<Operation, Element>(simd::kernels()), all);
    inDescendingParts(all.n, stepOf(all), [&](const simd::Kernels &table, size_t first, size_t count) {
        work(kernelsOf<Operation, Element>(table), partOf(all, first, count));
    });
}

template <class Operation, class Element>
[[gnu::always_inline]] inline void fixed(const Operands<Element> &operands, int32_t shift) {
    inParts<Operation>(operands, [shift](const auto &kernels, const Operands<Element> &part) {
        call(kernels.fixed, part, shift);
    });
}

template <class Operation, class Element>
[[gnu::always_inline]] inline void saturated(const Operands<Element> &operands) {
    inParts<Operation>(
        operands, [](const auto &kernels, const Operands<Element> &part) { call(kernels.saturated, part); });
}

template <class Operation, class Element>
int32_t fittingShift(const Operands<Element> &operands) {
    return call(kernelsOf<Operation, Element>(simd::kernels()).fittingShift, operands);
}

template <class Element>
void shiftStored(Target<Element> dst, size_t begin, size_t end, int32_t count) {
    for (size_t i = begin; i < end; ++i)
        dst.set(i, dst.get(i) >> count);
}

template <class Operation, class Element>
int32_t exactAt(const Operands<Element> &operands, size_t i) {
    return Operation::exact(operands.aAt(i), operands.bAt(i));
}

/// The order that overlapping operands show: exact results from the last element to the first, until one does
/// not fit. Then the stored ones are halved and the rest, this one included, is computed and stored halved.
template <class Operation, class Element>
int32_t scaledFromLastToFirst(const Operands<Element> &operands) {
    const Target<Element> dst = operands.dst;
    for (size_t i = operands.n; i-- > 0;) {
        const int32_t exact = exactAt<Operation>(operands, i);
        if (exact < dst.lowest || exact > dst.highest) {
            shiftStored<Element>(dst, i + 1, operands.n, 1);
            for (size_t j = i + 1; j-- > 0;)
                dst.set(j, exactAt<Operation>(operands, j) >> 1);
            return 1;
        }
        dst.set(i, exact);
    }
    return 0;
}

/// The same for products, from the first element to the last. The first product that does not fit is stored
/// too, reduced, before the shift is sought, and is not computed again: in place it has replaced its factor.
template <class Operation, class Element>
int32_t scaledFromFirstToLast(const Operands<Element> &operands) {
    const Target<Element> dst = operands.dst;
    const size_t n = operands.n;
    for (size_t i = 0; i < n; ++i) {
        const int32_t exact = exactAt<Operation>(operands, i);
        dst.set(i, exact);
        if (exact < dst.lowest || exact > dst.highest) {
            const int32_t own = simd::shiftFor<Element>(simd::magnitudeBits(exact));
            const int32_t shift = std::max(own, fittingShift<Operation>(partOf(operands, i + 1, n - i - 1)));
            shiftStored<Element>(dst, 0, i, shift);
            dst.set(i, exact >> shift);
            for (size_t j = i + 1; j < n; ++j)
                dst.set(j, exactAt<Operation>(operands, j) >> shift);
            return shift;
        }
    }
    return 0;
}

template <class Operation, class Element>
int32_t scaledInOrder(const Operands<Element> &operands) {
    if constexpr (Operation::scalesFromLastToFirst)
        return scaledFromLastToFirst<Operation>(operands);
    else
        return scaledFromFirstToLast<Operation>(operands);
}

/// The shift first, then every result once, wherever this leaves what the ordered walk leaves.
template <class Operation, class Element>
void automatic(const Operands<Element> &operands, int32_t *scaleFactor) {
    if (!operands.apart && !Operation::template looksAhead<Element> &&
        (!Operation::scalesFromLastToFirst || stepOf(operands) < operands.n)) {
        *scaleFactor = scaledInOrder<Operation>(operands);
        return;
    }
    *scaleFactor = fittingShift<Operation>(operands);
    fixed<Operation>(operands, *scaleFactor);
}

template <class Operation, class Element>
[[gnu::always_inline]] inline void scaled(const Operands<Element> &operands, int32_t scaleMode,
                                          int32_t *scaleFactor) {
    if (scaleMode == QZ_ScaleFixed) return fixed<Operation>(operands, *scaleFactor);
    if constexpr (Operation::template scalesAutomatically<Element>)
        if (scaleMode == QZ_ScaleAuto)
            return call(simd::kernelOf<automatic<Operation, Element>>, operands, scaleFactor);
    *scaleFactor = 0;
    if (scaleMode == QZ_ScaleWrap) return fixed<Operation>(operands, 0);
    saturated<Operation>(operands);
}

/// Calls a function, and a copy of its own for operands whose order does not show: nothing but a jump to the
/// kernel is left of that one.
template <auto function, class Element, class... More>
[[gnu::always_inline]] inline void dispatch(Operands<Element> operands, More... more) {
    if (!operands.apart) return call(simd::kernelOf<function>, operands, more...);
    operands.apart = true;
    function(operands, more...);
}

template <class Element>
Operands<Element> vectors(Source<Element> a, Source<Element> b, Target<Element> dst, int32_t len) {
    const size_t n = lengthOf(len);
    return {a, b, dst, n, false, areApart(a, dst, n) && areApart(b, dst, n)};
}

/// In place, with one element in place of a.
template <class Element>
Operands<Element> withScalar(Source<Element> scalar, Target<Element> srcDst, int32_t len) {
    return {scalar, srcDst, srcDst, lengthOf(len), true, true};
}

// The forms of the integers of 8 and 16 bits.

template <class Operation, class T>
void apply(const T *src1, const T *src2, T *dst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    dispatch<scaled<Operation, T>>(vectors<T>({src1}, {src2}, {dst}, len), scaleMode, scaleFactor);
}
template <class Operation, class T>
void apply(const T *src, T *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Operation>(src, srcDst, srcDst, len, scaleMode, scaleFactor);
}
template <class Operation, class T>
void apply(T scalar, T *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    dispatch<scaled<Operation, T>>(withScalar<T>({&scalar}, {srcDst}, len), scaleMode, scaleFactor);
}

// The forms of nibbles.

template <class Operation>
void apply(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcNibbleOffset,
           int32_t dstNibbleOffset, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    dispatch<scaled<Operation, Nibble>>(vectors<Nibble>(nibblesAt(src1, srcNibbleOffset),
                                                        nibblesAt(src2, srcNibbleOffset),
                                                        nibblesAt(dst, dstNibbleOffset), len),
                                        scaleMode, scaleFactor);
}
template <class Operation>
void apply(const uint8_t *src, uint8_t *srcDst, int32_t srcNibbleOffset, int32_t dstNibbleOffset, int32_t len,
           int32_t scaleMode, int32_t *scaleFactor) {
    const auto dst = nibblesAt(srcDst, dstNibbleOffset);
    dispatch<scaled<Operation, Nibble>>(vectors<Nibble>(nibblesAt(src, srcNibbleOffset), dst, dst, len),
                                        scaleMode, scaleFactor);
}
template <class Operation>
void apply(uint8_t scalar, uint8_t *srcDst, int32_t nibbleOffset, int32_t len, int32_t scaleMode,
           int32_t *scaleFactor) {
    dispatch<scaled<Operation, Nibble>>(
        withScalar<Nibble>({&scalar, 1}, nibblesAt(srcDst, nibbleOffset), len), scaleMode, scaleFactor);
}

// The forms of floats.

template <class Operation>
[[gnu::always_inline]] inline void results(const Operands<float> &operands) {
    inParts<Operation>(operands, [](auto kernel, const Operands<float> &part) { call(kernel, part); });
}
template <class Operation>
void apply(const float *src1, const float *src2, float *dst, int32_t len) {
    dispatch<results<Operation>>(vectors<float>({src1}, {src2}, {dst}, len));
}
template <class Operation>
void apply(const float *src, float *srcDst, int32_t len) {
    apply<Operation>(src, srcDst, srcDst, len);
}
template <class Operation>
void apply(float scalar, float *srcDst, int32_t len) {
    dispatch<results<Operation>>(withScalar<float>({&scalar}, {srcDst}, len));
}

} // namespace

extern "C" {

void QZnbAdd2(const uint8_t *src, uint8_t *srcDst, int32_t srcNibbleOffset, int32_t dstNibbleOffset,
              int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Add>(src, srcDst, srcNibbleOffset, dstNibbleOffset, len, scaleMode, scaleFactor);
}
void QZnbAdd3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcNibbleOffset,
              int32_t dstNibbleOffset, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Add>(src1, src2, dst, srcNibbleOffset, dstNibbleOffset, len, scaleMode, scaleFactor);
}
void QZnbAdd2s(uint8_t scalar, uint8_t *srcDst, int32_t nibbleOffset, int32_t len, int32_t scaleMode,
               int32_t *scaleFactor) {
    apply<Add>(scalar, srcDst, nibbleOffset, len, scaleMode, scaleFactor);
}
void QZybAdd2(const uint8_t *src, uint8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Add>(src, srcDst, len, scaleMode, scaleFactor);
}
void QZybAdd3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t len, int32_t scaleMode,
              int32_t *scaleFactor) {
    apply<Add>(src1, src2, dst, len, scaleMode, scaleFactor);
}
void QZybAdd2s(uint8_t scalar, uint8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Add>(scalar, srcDst, len, scaleMode, scaleFactor);
}
void QZtbAdd2(const int8_t *src, int8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Add>(src, srcDst, len, scaleMode, scaleFactor);
}
void QZtbAdd3(const int8_t *src1, const int8_t *src2, int8_t *dst, int32_t len, int32_t scaleMode,
              int32_t *scaleFactor) {
    apply<Add>(src1, src2, dst, len, scaleMode, scaleFactor);
}
void QZtbAdd2s(int8_t scalar, int8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Add>(scalar, srcDst, len, scaleMode, scaleFactor);
}
void QZwbAdd2(const int16_t *src, int16_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Add>(src, srcDst, len, scaleMode, scaleFactor);
}
void QZwbAdd3(const int16_t *src1, const int16_t *src2, int16_t *dst, int32_t len, int32_t scaleMode,
              int32_t *scaleFactor) {
    apply<Add>(src1, src2, dst, len, scaleMode, scaleFactor);
}
void QZwbAdd2s(int16_t scalar, int16_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Add>(scalar, srcDst, len, scaleMode, scaleFactor);
}
void QZsbAdd2(const float *src, float *srcDst, int32_t len) { apply<Add>(src, srcDst, len); }
void QZsbAdd3(const float *src1, const float *src2, float *dst, int32_t len) {
    apply<Add>(src1, src2, dst, len);
}
void QZsbAdd2s(float scalar, float *srcDst, int32_t len) { apply<Add>(scalar, srcDst, len); }

void QZnbSub2(const uint8_t *src, uint8_t *srcDst, int32_t srcNibbleOffset, int32_t dstNibbleOffset,
              int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Subtract>(src, srcDst, srcNibbleOffset, dstNibbleOffset, len, scaleMode, scaleFactor);
}
void QZnbSub3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcNibbleOffset,
              int32_t dstNibbleOffset, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Subtract>(src1, src2, dst, srcNibbleOffset, dstNibbleOffset, len, scaleMode, scaleFactor);
}
void QZnbSub2s(uint8_t scalar, uint8_t *srcDst, int32_t nibbleOffset, int32_t len, int32_t scaleMode,
               int32_t *scaleFactor) {
    apply<Subtract>(scalar, srcDst, nibbleOffset, len, scaleMode, scaleFactor);
}
void QZybSub2(const uint8_t *src, uint8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Subtract>(src, srcDst, len, scaleMode, scaleFactor);
}
void QZybSub3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t len, int32_t scaleMode,
              int32_t *scaleFactor) {
    apply<Subtract>(src1, src2, dst, len, scaleMode, scaleFactor);
}
void QZybSub2s(uint8_t scalar, uint8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Subtract>(scalar, srcDst, len, scaleMode, scaleFactor);
}
void QZtbSub2(const int8_t *src, int8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Subtract>(src, srcDst, len, scaleMode, scaleFactor);
}
void QZtbSub3(const int8_t *src1, const int8_t *src2, int8_t *dst, int32_t len, int32_t scaleMode,
              int32_t *scaleFactor) {
    apply<Subtract>(src1, src2, dst, len, scaleMode, scaleFactor);
}
void QZtbSub2s(int8_t scalar, int8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Subtract>(scalar, srcDst, len, scaleMode, scaleFactor);
}
void QZwbSub2(const int16_t *src, int16_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Subtract>(src, srcDst, len, scaleMode, scaleFactor);
}
void QZwbSub3(const int16_t *src1, const int16_t *src2, int16_t *dst, int32_t len, int32_t scaleMode,
              int32_t *scaleFactor) {
    apply<Subtract>(src1, src2, dst, len, scaleMode, scaleFactor);
}
void QZwbSub2s(int16_t scalar, int16_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Subtract>(scalar, srcDst, len, scaleMode, scaleFactor);
}
void QZsbSub2(const float *src, float *srcDst, int32_t len) { apply<Subtract>(src, srcDst, len); }
void QZsbSub3(const float *src1, const float *src2, float *dst, int32_t len) {
    apply<Subtract>(src1, src2, dst, len);
}
void QZsbSub2s(float scalar, float *srcDst, int32_t len) { apply<Subtract>(scalar, srcDst, len); }

void QZnbMpy2(const uint8_t *src, uint8_t *srcDst, int32_t srcNibbleOffset, int32_t dstNibbleOffset,
              int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Multiply>(src, srcDst, srcNibbleOffset, dstNibbleOffset, len, scaleMode, scaleFactor);
}
void QZnbMpy3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcNibbleOffset,
              int32_t dstNibbleOffset, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Multiply>(src1, src2, dst, srcNibbleOffset, dstNibbleOffset, len, scaleMode, scaleFactor);
}
void QZnbMpy2s(uint8_t scalar, uint8_t *srcDst, int32_t nibbleOffset, int32_t len, int32_t scaleMode,
               int32_t *scaleFactor) {
    apply<Multiply>(scalar, srcDst, nibbleOffset, len, scaleMode, scaleFactor);
}
void QZybMpy2(const uint8_t *src, uint8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Multiply>(src, srcDst, len, scaleMode, scaleFactor);
}
void QZybMpy3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t len, int32_t scaleMode,
              int32_t *scaleFactor) {
    apply<Multiply>(src1, src2, dst, len, scaleMode, scaleFactor);
}
void QZybMpy2s(uint8_t scalar, uint8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Multiply>(scalar, srcDst, len, scaleMode, scaleFactor);
}
void QZtbMpy2(const int8_t *src, int8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Multiply>(src, srcDst, len, scaleMode, scaleFactor);
}
void QZtbMpy3(const int8_t *src1, const int8_t *src2, int8_t *dst, int32_t len, int32_t scaleMode,
              int32_t *scaleFactor) {
    apply<Multiply>(src1, src2, dst, len, scaleMode, scaleFactor);
}
void QZtbMpy2s(int8_t scalar, int8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Multiply>(scalar, srcDst, len, scaleMode, scaleFactor);
}
void QZwbMpy2(const int16_t *src, int16_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Multiply>(src, srcDst, len, scaleMode, scaleFactor);
}
void QZwbMpy3(const int16_t *src1, const int16_t *src2, int16_t *dst, int32_t len, int32_t scaleMode,
              int32_t *scaleFactor) {
    apply<Multiply>(src1, src2, dst, len, scaleMode, scaleFactor);
}
void QZwbMpy2s(int16_t scalar, int16_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    apply<Multiply>(scalar, srcDst, len, scaleMode, scaleFactor);
}
void QZsbMpy2(const float *src, float *srcDst, int32_t len) { apply<Multiply>(src, srcDst, len); }
void QZsbMpy3(const float *src1, const float *src2, float *dst, int32_t len) {
    apply<Multiply>(src1, src2, dst, len);
}
void QZsbMpy2s(float scalar, float *srcDst, int32_t len) { apply<Multiply>(scalar, srcDst, len); }

} // extern "C"

#include "simd/abs_shift.hpp"
#include "simd/blocks.hpp"

namespace qzk::simd {
namespace {

using std::int16_t;
using std::int32_t;
using std::int8_t;
using std::size_t;
using std::uint32_t;
using std::uint8_t;

template <class T>
struct Magnitude {
    [[gnu::always_inline]] Lanes<T> operator()(Lanes<T> v) const {
        if constexpr (std::is_same_v<T, float>) {
            return (Vec<float>)((Vec<uint32_t>)v & splat<uint32_t>(0x7FFFFFFF));
        } else {
            // Of a byte and its negation, the magnitude is the smaller one as an unsigned number.
            const auto value = (Integers)v, negated = (Integers)-v;
            if constexpr (sizeof(T) == 1)
                return (Lanes<T>)QZK_INTRINSIC(min_epu8)(value, negated);
            else
                return (Lanes<T>)QZK_INTRINSIC(max_epi16)(value, negated);
        }
    }
};

/// The results of a policy on one operand.
template <class T, class Policy>
struct UnaryBlock {
    const T *src;
    Policy policy;

    template <class Load>
    [[gnu::always_inline]] auto at(Load load, size_t i) const {
        return policy(load(src + i));
    }
};

template <class T>
void magnitudes(Source<T> src, Target<T> dst, size_t n) {
    produce(dst.first, n, UnaryBlock<T, Magnitude<T>>{src.first, {}});
}

/// `single` shifts one nibble, in a byte that the vector shares; two at a time they shift as bytes do.
template <class Element, class Policy, class Single>
QZK_INLINE void shiftAll(Target<Element> srcDst, size_t n, Policy policy, Single single) {
    if constexpr (std::is_same_v<Element, Nibble>) {
        const auto blockAt = [=](size_t i) __attribute__((always_inline)) {
            return UnaryBlock<uint8_t, Policy>{srcDst.from(i).first, policy};
        };
        produceNibbles(srcDst, n, blockAt, single);
    } else {
        produce(srcDst.first, n, UnaryBlock<Element, Policy>{srcDst.first, policy});
    }
}

template <class Element>
void shiftLeft(Target<Element> srcDst, size_t n, int32_t count) {
    const auto single = [=](size_t i) __attribute__((always_inline)) {
        return static_cast<int32_t>(static_cast<uint32_t>(srcDst.get(i)) << count);
    };
    shiftAll<Element>(srcDst, n, LeftShift<Element>(count), single);
}

template <class Element>
void shiftRight(Target<Element> srcDst, size_t n, int32_t count) {
    const auto single = [=](size_t i) __attribute__((always_inline)) { return srcDst.get(i) >> count; };
    shiftAll<Element>(srcDst, n, RightShift<Element>(count), single);
}

template <class Element>
void installShifts(ShiftKernels<Element> &kernels) {
    kernels = {shiftLeft<Element>, shiftRight<Element>};
}

template <class Element>
void installMagnitudes(MagnitudeKernels<Element> &kernels) {
    kernels = {magnitudes<Element>};
}

} // namespace

void QZK_LEVEL::install(AbsShiftKernels &kernels) {
    installMagnitudes<int8_t>(kernels);
    installMagnitudes<int16_t>(kernels);
    installMagnitudes<float>(kernels);
    installShifts<Nibble>(kernels);
    installShifts<uint8_t>(kernels);
    installShifts<int8_t>(kernels);
    installShifts<int16_t>(kernels);
}

} // namespace qzk::simd

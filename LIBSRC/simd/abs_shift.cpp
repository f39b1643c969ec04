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

/// dst[i] = policy(src[i]).
template <class T, class Policy>
QZK_INLINE void transform(const T *src, T *dst, size_t n, bool apart, Policy policy) {
    produce(
        dst, n,
        apart, [&](auto load, size_t i) __attribute__((always_inline)) { return policy(load(src + i)); });
}

template <class T>
void magnitudes(Source<T> src, Target<T> dst, size_t n, bool apart) {
    transform(src.first, dst.first, n, apart, Magnitude<T>{});
}

/// Nibbles of whole bytes shift two at a time; `single` shifts one in a byte that the vector shares.
template <class Policy, class Single>
QZK_INLINE void shiftAll(Target<Nibble> srcDst, size_t n, Policy policy, Single single) {
    const WholeBytes whole(srcDst, n);
    uint8_t *const bytes = srcDst.from(whole.before).first;
    if (whole.after != 0) srcDst.set(n - 1, single(srcDst.get(n - 1)));
    transform(bytes, bytes, whole.bytes, true, policy);
    if (whole.before != 0) srcDst.set(0, single(srcDst.get(0)));
}

template <class T, class Policy, class Single>
QZK_INLINE void shiftAll(Elements<T> srcDst, size_t n, Policy policy, Single) {
    transform(srcDst.first, srcDst.first, n, true, policy);
}

template <class Element>
void shiftLeft(Target<Element> srcDst, size_t n, int32_t count) {
    shiftAll(srcDst, n, LeftShift<Element>(count), ShiftedLeft{count});
}

template <class Element>
void shiftRight(Target<Element> srcDst, size_t n, int32_t count) {
    shiftAll(srcDst, n, RightShift<Element>(count), ShiftedRight{count});
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

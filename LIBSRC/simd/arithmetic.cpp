#include "simd/arithmetic.hpp"
#include "simd/arithmetic_operations.hpp"
#include "simd/blocks.hpp"

namespace qzk::simd {
namespace {

using std::int16_t;
using std::int32_t;
using std::int8_t;
using std::size_t;
using std::uint8_t;

QZK_INLINE Integers raw(Bytes v) { return (Integers)v; }
QZK_INLINE Integers raw(Words v) { return (Integers)v; }

/// Exact products of bytes: those of the even bytes and those of the odd bytes, by lanes of 16 bits.
struct Products {
    Words even, odd;
};

template <class T>
QZK_INLINE Products products(Bytes a, Bytes b) {
    const Words oddA = (Words)a & splat<std::uint16_t>(0xFF00),
                oddB = (Words)b & splat<std::uint16_t>(0xFF00);
    if constexpr (std::is_signed_v<T>) {
        // The upper half of (256 a) (256 b) is a b.
        return {(Words)QZK_INTRINSIC(mulhi_epi16)(raw((Words)a << 8), raw((Words)b << 8)),
                (Words)QZK_INTRINSIC(mulhi_epi16)(raw(oddA), raw(oddB))};
    } else {
        return {((Words)a & splat<std::uint16_t>(0xFF)) * ((Words)b & splat<std::uint16_t>(0xFF)),
                (Words)QZK_INTRINSIC(mulhi_epu16)(raw(oddA), raw(oddB))};
    }
}

/// The low bytes of two vectors of words, alternating.
QZK_INLINE Bytes lowBytes(Words even, Words odd) {
#if QZK_SIMD_LEVEL == 3
    return (Bytes)_mm512_mask_blend_epi8(0xAAAAAAAAAAAAAAAA, raw(even), raw(odd << 8));
#else
    return (Bytes)((even & splat<std::uint16_t>(0xFF)) | odd << 8);
#endif
}

/// The lesser of two unsigned words.
QZK_INLINE Words lesser(Words a, Words b) {
#if QZK_SIMD_LEVEL == 1
    return a - (Words)_mm_subs_epu16(raw(a), raw(b));
#else
    return (Words)QZK_INTRINSIC(min_epu16)(raw(a), raw(b));
#endif
}

// Results reduced to the element.

template <class T>
QZK_INLINE Lanes<T> wrapped(Add, Lanes<T> a, Lanes<T> b) {
    return a + b;
}
template <class T>
QZK_INLINE Lanes<T> wrapped(Subtract, Lanes<T> a, Lanes<T> b) {
    return b - a;
}
template <class T>
QZK_INLINE Lanes<T> wrapped(Multiply, Lanes<T> a, Lanes<T> b) {
    if constexpr (sizeof(T) == 2) {
        return a * b;
    } else {
        const Words even = (Words)a * (Words)b;
        const Words odd = ((Words)a >> 8) * ((Words)b & splat<std::uint16_t>(0xFF00));
        return (Bytes)((even & splat<std::uint16_t>(0xFF)) | odd);
    }
}

// Results clamped to the element's range.

template <class T>
QZK_INLINE Lanes<T> clamped(Add, Lanes<T> a, Lanes<T> b) {
    if constexpr (sizeof(T) == 2)
        return (Words)QZK_INTRINSIC(adds_epi16)(raw(a), raw(b));
    else if constexpr (std::is_signed_v<T>)
        return (Bytes)QZK_INTRINSIC(adds_epi8)(raw(a), raw(b));
    else
        return (Bytes)QZK_INTRINSIC(adds_epu8)(raw(a), raw(b));
}
template <class T>
QZK_INLINE Lanes<T> clamped(Subtract, Lanes<T> a, Lanes<T> b) {
    if constexpr (sizeof(T) == 2)
        return (Words)QZK_INTRINSIC(subs_epi16)(raw(b), raw(a));
    else if constexpr (std::is_signed_v<T>)
        return (Bytes)QZK_INTRINSIC(subs_epi8)(raw(b), raw(a));
    else
        return (Bytes)QZK_INTRINSIC(subs_epu8)(raw(b), raw(a));
}
template <class T>
QZK_INLINE Lanes<T> clamped(Multiply, Lanes<T> a, Lanes<T> b) {
    // Unpacking and packing both stay within 16 bytes, so elements come back to their places.
    if constexpr (sizeof(T) == 2) {
        const Integers low = QZK_INTRINSIC(mullo_epi16)(raw(a), raw(b));
        const Integers high = QZK_INTRINSIC(mulhi_epi16)(raw(a), raw(b));
        return (Words)QZK_INTRINSIC(packs_epi32)(QZK_INTRINSIC(unpacklo_epi16)(low, high),
                                                 QZK_INTRINSIC(unpackhi_epi16)(low, high));
    } else if constexpr (std::is_signed_v<T>) {
        // The upper half of (256 a) (256 b) is a b.
        const Integers zero = {};
        const Integers low = QZK_INTRINSIC(mulhi_epi16)(QZK_INTRINSIC(unpacklo_epi8)(zero, raw(a)),
                                                        QZK_INTRINSIC(unpacklo_epi8)(zero, raw(b)));
        const Integers high = QZK_INTRINSIC(mulhi_epi16)(QZK_INTRINSIC(unpackhi_epi8)(zero, raw(a)),
                                                         QZK_INTRINSIC(unpackhi_epi8)(zero, raw(b)));
        return (Bytes)QZK_INTRINSIC(packs_epi16)(low, high);
    } else {
        const Integers zero = {};
        const Words highest = splat<std::uint16_t>(255);
        const Words low = (Words)QZK_INTRINSIC(unpacklo_epi8)(raw(a), zero) *
                          (Words)QZK_INTRINSIC(unpacklo_epi8)(raw(b), zero);
        const Words high = (Words)QZK_INTRINSIC(unpackhi_epi8)(raw(a), zero) *
                           (Words)QZK_INTRINSIC(unpackhi_epi8)(raw(b), zero);
        return (Bytes)QZK_INTRINSIC(packus_epi16)(raw(lesser(low, highest)), raw(lesser(high, highest)));
    }
}

// Policies give a vector of results; they are made of the bits to shift by.

template <class Operation, class T>
struct Wrap {
    [[gnu::always_inline]] explicit Wrap(int32_t) {}
    [[gnu::always_inline]] Lanes<T> operator()(Lanes<T> a, Lanes<T> b) const {
        return wrapped<T>(Operation{}, a, b);
    }
};

template <class Operation, class T>
struct Clamp {
    [[gnu::always_inline]] explicit Clamp(int32_t) {}
    [[gnu::always_inline]] Lanes<T> operator()(Lanes<T> a, Lanes<T> b) const {
        return clamped<T>(Operation{}, a, b);
    }
};

template <class Operation, class T>
struct ShiftLeft {
    LeftShift<T> shift;

    [[gnu::always_inline]] explicit ShiftLeft(int32_t count) : shift(count) {}
    [[gnu::always_inline]] Lanes<T> operator()(Lanes<T> a, Lanes<T> b) const {
        return shift(wrapped<T>(Operation{}, a, b));
    }
};

/// Half a sum or difference fits where the whole one may not: a + b = 2 (a & b) + (a ^ b) and
/// b - a = (a ^ b) - 2 (a & ~b). Halving and then shifting by one less rounds like one shift, downwards.
template <class Operation, class T>
struct ShiftRight {
    // The difference of unsigned elements has a sign.
    static constexpr bool isSum = std::is_same_v<Operation, Add>;
    using Half = std::conditional_t<isSum, T, std::make_signed_t<T>>;
    RightShift<T> one{1};
    RightShift<Half> rest;

    [[gnu::always_inline]] explicit ShiftRight(int32_t count) : rest(count - 1) {}
    [[gnu::always_inline]] Lanes<T> operator()(Lanes<T> a, Lanes<T> b) const {
        return rest(isSum ? (a & b) + one(a ^ b) : one(a ^ b) - (a & ~b));
    }
};

template <class T>
struct ShiftRight<Multiply, T> {
    RightShift<std::conditional_t<std::is_signed_v<T>, int16_t, std::uint16_t>> shift;

    [[gnu::always_inline]] explicit ShiftRight(int32_t count) : shift(count) {}
    [[gnu::always_inline]] Bytes operator()(Bytes a, Bytes b) const {
        const auto [even, odd] = products<T>(a, b);
        return lowBytes(shift(even), shift(odd));
    }
};

/// By 1 to 16.
template <>
struct ShiftRight<Multiply, int16_t> {
    RightShift<std::uint16_t> low;
    LeftShift<std::uint16_t> high;

    [[gnu::always_inline]] explicit ShiftRight(int32_t count) : low(count), high(16 - count) {}
    [[gnu::always_inline]] Words operator()(Words a, Words b) const {
        return low(a * b) | high((Words)QZK_INTRINSIC(mulhi_epi16)(raw(a), raw(b)));
    }
};

/// By more than 16: of the unsigned product only a part of the upper half is left.
struct ShiftRightBeyond {
    RightShift<std::uint16_t> high;

    [[gnu::always_inline]] explicit ShiftRightBeyond(int32_t count) : high(count - 16) {}
    [[gnu::always_inline]] Words operator()(Words a, Words b) const {
        return high((Words)QZK_INTRINSIC(mulhi_epi16)(raw(a), raw(b)));
    }
};

/// The vectors of an operand; those of a scalar are all the one at its beginning, which `kept` keeps.
template <class T>
struct Operand {
    const T *first;
    size_t kept = ~size_t{0};

    template <class Load>
    [[gnu::always_inline]] Lanes<T> at(Load load, size_t i) const {
        return load(first + (i & kept));
    }
};

/// A scalar as wide as a vector.
template <class T>
class Scalar {
public:
    [[gnu::always_inline]] Operand<T> repeated(T value) {
        put(block_, splat<T>(value));
        return {block_, 0};
    }

private:
    alignas(QZK_VECTOR_BYTES) T block_[lanesOf<T>];
};

/// Nibbles seen from whole bytes of the destination. Where they begin in the other half of a byte, a
/// destination byte takes the low nibble of one source byte and the high nibble of the next.
class AlignedNibbles {
public:
    [[gnu::always_inline]] AlignedNibbles(Operand<uint8_t> bytes, size_t skipped)
        : bytes_(bytes), next_{bytes.first + skipped, bytes.kept}, toHigh_(shiftCount(skipped == 0 ? 4 : 0)),
          toLow_(shiftCount(skipped == 0 ? 0 : 4)) {}
    [[gnu::always_inline]] explicit AlignedNibbles(Source<Nibble> nibbles)
        : AlignedNibbles(Operand<uint8_t>{nibbles.first}, nibbles.skipped) {}

    /// The pairs of the destination bytes from i on.
    template <class Load>
    [[gnu::always_inline]] NibblePairs at(Load load, size_t i) const {
        const Bytes nibble = splat<uint8_t>(0x0F);
        return {(Bytes)QZK_INTRINSIC(srl_epi16)(raw(bytes_.at(load, i)), toHigh_) & nibble,
                (Bytes)QZK_INTRINSIC(srl_epi16)(raw(next_.at(load, i)), toLow_) & nibble};
    }

private:
    Operand<uint8_t> bytes_, next_;
    __m128i toHigh_, toLow_;
};

/// Both operands of nibbles from element `begin` on, where a destination byte begins.
class NibbleOperands {
public:
    [[gnu::always_inline]] NibbleOperands(const Operands<Nibble> &operands, size_t begin)
        : a_(operands.scalar
                 ? AlignedNibbles(scalar_.repeated(static_cast<uint8_t>(operands.a.get(0) * 17)), 0)
                 : AlignedNibbles(operands.a.from(begin))),
          b_(operands.b.from(begin)) {}
    NibbleOperands(const NibbleOperands &) = delete;

    /// The policy's results for both nibbles of the bytes from i on.
    template <class Load, class Policy>
    [[gnu::always_inline]] NibblePairs at(Load load, size_t i, Policy policy) const {
        const NibblePairs x = a_.at(load, i), y = b_.at(load, i);
        return {policy(x.high, y.high), policy(x.low, y.low)};
    }

private:
    Scalar<uint8_t> scalar_;
    AlignedNibbles a_, b_;
};

/// The loop of a policy. Signed and unsigned elements share it where their results are the same bits.
template <class Policy, class T>
[[gnu::noinline]] void run(const T *a, const T *b, T *dst, size_t n, bool apart, int32_t count) {
    const Policy policy(count);
    produce(
        dst, n, apart && !trails(a, dst, n * sizeof(T)) && !trails(b, dst, n * sizeof(T)),
        [&](auto load, size_t i) __attribute__((always_inline)) { return policy(load(a + i), load(b + i)); });
}

template <class Policy, class T>
[[gnu::noinline]] void runScalar(const T *a, T *srcDst, size_t n, int32_t count) {
    const Policy policy(count);
    const Lanes<T> scalar = splat<T>(elementAt(a, 0));
    produce(
        srcDst, n, true, [&](auto load, size_t i) __attribute__((always_inline)) {
            return policy(scalar, load(srcDst + i));
        });
}

template <class Policy, class T>
QZK_INLINE void run(const Operands<T> &operands, int32_t count) {
    using Lane = typename LaneOf<T>::type;
    const auto *const a = reinterpret_cast<const Lane *>(operands.a.first);
    const auto *const b = reinterpret_cast<const Lane *>(operands.b.first);
    auto *const dst = reinterpret_cast<Lane *>(operands.dst.first);
    if (operands.scalar) return runScalar<Policy, Lane>(a, dst, operands.n, count);
    run<Policy, Lane>(a, b, dst, operands.n, operands.apart, count);
}

/// `single` does one nibble, in the bytes that the destination shares.
template <class Policy, class Single>
QZK_INLINE void run(const Operands<Nibble> &operands, Policy policy, Single single) {
    const auto dst = operands.dst;
    const auto one = [&](size_t i) { dst.set(i, single(operands.aAt(i), operands.bAt(i))); };
    const WholeBytes whole(dst, operands.n);
    if (whole.after != 0) one(operands.n - 1);
    const NibbleOperands both(operands, whole.before);
    const auto block = [&](auto load, size_t i) __attribute__((always_inline)) {
        return packed(both.at(load, i, policy));
    };
    produce(dst.from(whole.before).first, whole.bytes, operands.apart, block);
    if (whole.before != 0) one(0);
}

/// Nothing is left of any lane after 32 bits.
QZK_INLINE int32_t laneShift(int32_t shift) {
    return shift > 32 ? 32 : shift < -32 ? 32 : shift < 0 ? -shift : shift;
}

template <class Operation, class T>
QZK_INLINE void fixed(const Operands<T> &operands, int32_t shift) {
    using Lane = typename LaneOf<T>::type;
    const int32_t count = laneShift(shift);
    if (shift == 0) return run<Wrap<Operation, Lane>>(operands, 0);
    if (shift < 0) return run<ShiftLeft<Operation, Lane>>(operands, count);
    if constexpr (std::is_same_v<Operation, Multiply> && std::is_same_v<T, int16_t>)
        if (shift > 16) return run<ShiftRightBeyond>(operands, count);
    run<ShiftRight<Operation, T>>(operands, count);
}

template <class Operation, class T>
QZK_INLINE void saturated(const Operands<T> &operands) {
    run<Clamp<Operation, T>>(operands, 0);
}

// Results of nibbles are exact in bytes, and what leaves their four bits is dropped when they are packed.

template <class Operation>
QZK_INLINE void fixedNibbles(const Operands<Nibble> &operands, int32_t shift) {
    using Exact = std::conditional_t<std::is_same_v<Operation, Subtract>, int8_t, uint8_t>;
    const Fixed<Operation, Nibble> single = {shift};
    const auto shifted = [&](auto shiftOf) __attribute__((always_inline)) {
        run(
            operands,
            [=](Bytes a, Bytes b)
                __attribute__((always_inline)) { return shiftOf(wrapped<uint8_t>(Operation{}, a, b)); },
            single);
    };
    if (shift > 0)
        shifted(RightShift<Exact>(laneShift(shift)));
    else
        shifted(LeftShift<uint8_t>(laneShift(shift)));
}

template <class Operation>
QZK_INLINE void saturatedNibbles(const Operands<Nibble> &operands) {
    const auto policy = [](Bytes a, Bytes b) __attribute__((always_inline)) {
        if constexpr (std::is_same_v<Operation, Subtract>)
            return clamped<uint8_t>(Operation{}, a, b);
        else
            return (Bytes)QZK_INTRINSIC(min_epu8)(raw(wrapped<uint8_t>(Operation{}, a, b)),
                                                  raw(splat<uint8_t>(15)));
    };
    run(operands, policy, Saturated<Operation, Nibble>{});
}

// What tells the shift that makes all results fit: bits whose union over all results is enough.

/// all | (x ^ y)
QZK_INLINE Words withDifference(Words all, Words x, Words y) {
#if QZK_SIMD_LEVEL == 3
    return (Words)_mm512_ternarylogic_epi64(raw(all), raw(x), raw(y), 0xF6);
#else
    return all | (x ^ y);
#endif
}

QZK_INLINE Words signs(Words v) { return (Words)((Vec<int16_t>)v >> 15); }

/// Any bit where a sum or difference does not fit; one shift is always enough for these.
template <class Operation, class T>
struct Reach {
    Words excess = {};

    [[gnu::always_inline]] void add(Lanes<T> a, Lanes<T> b) {
        excess = withDifference(excess, (Words)clamped<T>(Operation{}, a, b),
                                (Words)wrapped<T>(Operation{}, a, b));
    }
    [[gnu::always_inline]] int32_t shift() const { return unite(excess) != 0 ? 1 : 0; }
};

/// The magnitude bits of products of bytes.
template <class T>
struct Reach<Multiply, T> {
    Words bits = {};

    [[gnu::always_inline]] void add(Bytes a, Bytes b) {
        const auto [even, odd] = products<T>(a, b);
        if constexpr (std::is_signed_v<T>)
            bits = withDifference(withDifference(bits, even, signs(even)), odd, signs(odd));
        else
            bits |= even | odd;
    }
    [[gnu::always_inline]] int32_t shift() const { return shiftFor<T>(unite(bits)); }
};

/// The magnitude bits of products of words, by halves.
template <>
struct Reach<Multiply, int16_t> {
    Words low = {}, high = {};

    [[gnu::always_inline]] void add(Words a, Words b) {
        const Words upper = (Words)QZK_INTRINSIC(mulhi_epi16)(raw(a), raw(b));
        const Words sign = signs(upper);
        low = withDifference(low, a * b, sign);
        high = withDifference(high, upper, sign);
    }
    [[gnu::always_inline]] int32_t shift() const { return shiftFor<int16_t>(unite(high) << 16 | unite(low)); }
};

template <class Operation, class T>
QZK_INLINE int32_t fittingShift(const Operands<T> &operands) {
    using Lane = typename LaneOf<T>::type;
    const auto *const a = reinterpret_cast<const Lane *>(operands.a.first);
    Scalar<Lane> scalar;
    const auto first = operands.scalar ? scalar.repeated(elementAt(a, 0)) : Operand<Lane>{a};
    const Operand<Lane> second = {reinterpret_cast<const Lane *>(operands.b.first)};
    Reach<Operation, T> reach;
    forVectors<Lane>(
        operands.n, [&](auto load, size_t i)
                        __attribute__((always_inline)) { reach.add(first.at(load, i), second.at(load, i)); });
    return reach.shift();
}

template <class Operation>
QZK_INLINE int32_t fittingShiftOfNibbles(const Operands<Nibble> &operands) {
    const size_t n = operands.n, even = n / 2 * 2;
    std::uint32_t last = 0;
    if (even < n) last = magnitudeBits(Operation::exact(operands.aAt(even), operands.bAt(even)));
    const NibbleOperands both(operands, 0);
    Bytes bits = {};
    forVectors<uint8_t>(
        even / 2, [&](auto load, size_t i) __attribute__((always_inline)) {
            const auto [high, low] = both.at(load, i, Wrap<Operation, uint8_t>(0));
            bits |= high | low;
        });
    const std::uint32_t all = unite((Words)bits);
    return shiftFor<Nibble>((all | all >> 8 | last) & 0xFF);
}

template <class Operation>
struct Exactly {
    [[gnu::always_inline]] explicit Exactly(int32_t) {}
    [[gnu::always_inline]] Vec<float> operator()(Vec<float> a, Vec<float> b) const {
        return Operation::exact(a, b);
    }
};

template <class Operation>
QZK_INLINE void floats(const Operands<float> &operands) {
    run<Exactly<Operation>>(operands, 0);
}

template <class Operation, class Element>
void installOperation(ElementKernels<Element> &kernels) {
    auto &forms = kernels.*Operation::template kernels<Element>;
    if constexpr (std::is_same_v<Element, Nibble>) {
        forms = {kernelOf<fixedNibbles<Operation>>, kernelOf<saturatedNibbles<Operation>>, nullptr};
        if constexpr (Operation::template scalesAutomatically<Element>)
            forms.fittingShift = kernelOf<fittingShiftOfNibbles<Operation>>;
    } else {
        forms = {kernelOf<fixed<Operation, Element>>, kernelOf<saturated<Operation, Element>>, nullptr};
        if constexpr (Operation::template scalesAutomatically<Element>)
            forms.fittingShift = kernelOf<fittingShift<Operation, Element>>;
    }
}

template <class Element>
void installElement(ElementKernels<Element> &kernels) {
    installOperation<Add>(kernels);
    installOperation<Subtract>(kernels);
    installOperation<Multiply>(kernels);
}

} // namespace

void QZK_LEVEL::install(ArithmeticKernels &kernels) {
    installElement<Nibble>(kernels);
    installElement<uint8_t>(kernels);
    installElement<int8_t>(kernels);
    installElement<int16_t>(kernels);
    static_cast<ElementKernels<float> &>(kernels) = {kernelOf<floats<Add>>, kernelOf<floats<Subtract>>,
                                                     kernelOf<floats<Multiply>>};
}

} // namespace qzk::simd

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
    return (Bytes)((even & splat<std::uint16_t>(0xFF)) | odd << 8);
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
        const Integers zero = {};
        const Integers low = QZK_INTRINSIC(mulhi_epi16)(QZK_INTRINSIC(unpacklo_epi8)(zero, raw(a)),
                                                        QZK_INTRINSIC(unpacklo_epi8)(zero, raw(b)));
        const Integers high = QZK_INTRINSIC(mulhi_epi16)(QZK_INTRINSIC(unpackhi_epi8)(zero, raw(a)),
                                                         QZK_INTRINSIC(unpackhi_epi8)(zero, raw(b)));
        return (Bytes)QZK_INTRINSIC(packs_epi16)(low, high);
    } else {
        // From 255 on the saturating sum is 0xFFFF, below it the low byte stays what it was.
        const Integers room = raw(splat<std::uint16_t>(0xFF00));
        const auto [even, odd] = products<T>(a, b);
        return lowBytes((Words)QZK_INTRINSIC(adds_epu16)(raw(even), room),
                        (Words)QZK_INTRINSIC(adds_epu16)(raw(odd), room));
    }
}

template <class Operation, class T>
struct Wrap {
    [[gnu::always_inline]] Lanes<T> operator()(Lanes<T> a, Lanes<T> b) const {
        return wrapped<T>(Operation{}, a, b);
    }
};

template <class Operation, class T>
struct Clamp {
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

template <class T>
struct VectorOperand {
    const T *first;

    template <class Load>
    [[gnu::always_inline]] Lanes<T> at(Load load, size_t i) const {
        return load(first + i);
    }
};

template <class T>
struct RepeatedOperand {
    const T *block;
    Lanes<T> all = LoadAll{}(block);

    [[gnu::always_inline]] Lanes<T> at(LoadAll, size_t) const { return all; }
    [[gnu::always_inline]] Lanes<T> at(LoadFew load, size_t) const { return load(block); }
};

/// Both halves of the bytes of a block of RepeatedNibble.
struct RepeatedNibbleOperand {
    Bytes all;

    template <class Load>
    [[gnu::always_inline]] NibblePairs at(Load, size_t) const {
        return {all, all};
    }
};

/// Calls work with the first operand as one that reads a vector or as one that keeps a scalar. There is a
/// loop for each: computing addresses with the step costs more than the arithmetic.
template <class T, class Work>
QZK_INLINE auto withOperand(Elements<const T> a, Work work) {
    return a.step == 0 ? work(RepeatedOperand<T>{a.first}) : work(VectorOperand<T>{a.first});
}
template <class Work>
QZK_INLINE auto withOperand(Nibbles<const uint8_t> a, Work work) {
    return a.step == 0 ? work(RepeatedNibbleOperand{splat(static_cast<uint8_t>(a.get(0)))})
                       : work(AlignedNibbles(a));
}

/// The results of a policy on two operands.
template <class A, class T, class Policy>
struct ElementBlock {
    A a;
    VectorOperand<T> b;
    Policy policy;

    template <class Load>
    [[gnu::always_inline]] auto at(Load load, size_t i) const {
        return policy(a.at(load, i), b.at(load, i));
    }
};

/// The same for both nibbles of whole destination bytes.
template <class A, class Policy>
struct NibbleBlock {
    A a;
    AlignedNibbles b;
    Policy policy;

    template <class Load>
    [[gnu::always_inline]] Bytes at(Load load, size_t i) const {
        const NibblePairs x = a.at(load, i), y = b.at(load, i);
        return packed({policy(x.high, y.high), policy(x.low, y.low)});
    }
};

/// `single` does one nibble, in the bytes that the destination shares.
template <class Policy, class Single>
QZK_INLINE void produceAll(const Operands<Nibble> &operands, Policy policy, Single single) {
    const auto a = operands.a, b = operands.b;
    const auto dst = operands.dst;
    const size_t n = operands.n;
    const WholeBytes whole(dst, n);
    if (whole.after != 0) dst.set(n - 1, single(a.get(n - 1), b.get(n - 1)));
    withOperand(
        a.from(whole.before), [&](auto first) __attribute__((always_inline)) {
            const NibbleBlock<decltype(first), Policy> block = {first, AlignedNibbles(b.from(whole.before)),
                                                                policy};
            produce(dst.from(whole.before).first, whole.bytes, block);
        });
    if (whole.before != 0) dst.set(0, single(a.get(0), b.get(0)));
}

template <class T, class Policy, class Single>
QZK_INLINE void produceAll(const Operands<T> &operands, Policy policy, Single) {
    withOperand(
        operands.a, [&](auto first) __attribute__((always_inline)) {
            const ElementBlock<decltype(first), T, Policy> block = {first, {operands.b.first}, policy};
            produce(operands.dst.first, operands.n, block);
        });
}

/// Elements whose lanes the results of one element are computed in.
template <class Element>
struct ComputedIn {
    using type = Element;
};
template <>
struct ComputedIn<Nibble> {
    using type = uint8_t;
};

template <class Operation, class Element>
void fixed(const Operands<Element> &operands, int32_t shift) {
    using T = typename ComputedIn<Element>::type;
    const Fixed<Operation, Element> single = {shift};
    // Nothing is left of any lane after 32 bits.
    const int32_t count = shift < -32 ? 32 : shift > 32 ? 32 : shift < 0 ? -shift : shift;
    if (shift < 0) return produceAll(operands, ShiftLeft<Operation, T>(count), single);
    if (shift == 0) return produceAll(operands, Wrap<Operation, T>{}, single);
    if constexpr (std::is_same_v<Operation, Multiply> && std::is_same_v<T, int16_t>)
        if (shift > 16) return produceAll(operands, ShiftRightBeyond(count), single);
    produceAll(operands, ShiftRight<Operation, T>(count), single);
}

template <class Operation>
struct ClampNibbles {
    [[gnu::always_inline]] Bytes operator()(Bytes a, Bytes b) const {
        const Bytes result = clamped<uint8_t>(Operation{}, a, b);
        return (Bytes)QZK_INTRINSIC(min_epu8)(raw(result), raw(splat<uint8_t>(15)));
    }
};

template <class Operation, class Element>
void saturated(const Operands<Element> &operands) {
    const Saturated<Operation, Element> single = {};
    if constexpr (std::is_same_v<Element, Nibble>)
        produceAll(operands, ClampNibbles<Operation>{}, single);
    else
        produceAll(operands, Clamp<Operation, Element>{}, single);
}

// What tells the shift that makes all results fit: bits whose union over all results is enough.

/// Any bit where a sum or difference does not fit; one shift is always enough for these.
template <class Operation, class T>
struct Excess {
    [[gnu::always_inline]] Words operator()(Lanes<T> a, Lanes<T> b) const {
        return (Words)(clamped<T>(Operation{}, a, b) ^ wrapped<T>(Operation{}, a, b));
    }
    static int32_t shiftOf(std::uint32_t bits) { return bits != 0 ? 1 : 0; }
};

/// The magnitude bits of both products of bytes.
template <class T>
struct Excess<Multiply, T> {
    [[gnu::always_inline]] Words operator()(Bytes a, Bytes b) const {
        const auto [even, odd] = products<T>(a, b);
        if constexpr (std::is_signed_v<T>) {
            const RightShift<int16_t> sign(15);
            return (even ^ sign(even)) | (odd ^ sign(odd));
        } else {
            return even | odd;
        }
    }
    static int32_t shiftOf(std::uint32_t bits) { return shiftFor<T>(bits); }
};

/// The magnitude bits of a product from bit 15 on.
template <>
struct Excess<Multiply, int16_t> {
    [[gnu::always_inline]] Words operator()(Words a, Words b) const {
        const Words high = (Words)QZK_INTRINSIC(mulhi_epi16)(raw(a), raw(b));
        const Words sign = RightShift<int16_t>(15)(high);
        return (high ^ sign) << 1 | (a * b ^ sign) >> 15;
    }
    static int32_t shiftOf(std::uint32_t bits) { return shiftFor<int16_t>(bits << 15); }
};

/// Both results of a byte's nibbles, which are exact in bytes.
template <class A, class Operation>
struct NibbleExcess {
    A a;
    AlignedNibbles b;

    template <class Load>
    [[gnu::always_inline]] Words at(Load load, size_t i) const {
        const NibblePairs x = a.at(load, i), y = b.at(load, i);
        return (Words)(wrapped<uint8_t>(Operation{}, x.high, y.high) |
                       wrapped<uint8_t>(Operation{}, x.low, y.low));
    }
};

template <class Operation, class T>
int32_t fittingShift(const Operands<T> &operands) {
    using Bits = Excess<Operation, T>;
    return withOperand(
        operands.a, [&](auto first) __attribute__((always_inline)) {
            const ElementBlock<decltype(first), T, Bits> block = {first, {operands.b.first}, {}};
            return Bits::shiftOf(unite(unite<T>(operands.n, block)));
        });
}

template <class Operation>
int32_t fittingShiftOfNibbles(const Operands<Nibble> &operands) {
    const auto a = operands.a, b = operands.b;
    const size_t n = operands.n, even = n / 2 * 2;
    std::uint32_t bits = 0;
    if (even < n) bits = magnitudeBits(Operation::exact(a.get(even), b.get(even)));
    bits |= withOperand(
        a, [&](auto first) __attribute__((always_inline)) {
            const NibbleExcess<decltype(first), Operation> block = {first, AlignedNibbles(b)};
            return unite(unite<uint8_t>(even / 2, block));
        });
    return shiftFor<Nibble>((bits | bits >> 8) & 0xFF);
}

template <class Operation>
struct Exactly {
    [[gnu::always_inline]] Vec<float> operator()(Vec<float> a, Vec<float> b) const {
        return Operation::exact(a, b);
    }
};

template <class Operation>
void floats(const Operands<float> &operands) {
    const auto nothing = [] {};
    produceAll(operands, Exactly<Operation>{}, nothing);
}

template <class Operation, class Element>
void installOperation(ElementKernels<Element> &kernels) {
    auto &forms = kernels.*Operation::template kernels<Element>;
    forms.fixed = fixed<Operation, Element>;
    forms.saturated = saturated<Operation, Element>;
    if constexpr (!Operation::template scalesAutomatically<Element>)
        return;
    else if constexpr (std::is_same_v<Element, Nibble>)
        forms.fittingShift = fittingShiftOfNibbles<Operation>;
    else
        forms.fittingShift = fittingShift<Operation, Element>;
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
    static_cast<ElementKernels<float> &>(kernels) = {floats<Add>, floats<Subtract>, floats<Multiply>};
}

} // namespace qzk::simd

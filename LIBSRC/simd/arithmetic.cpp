#include "simd/arithmetic.hpp"
#include "simd/arithmetic_operations.hpp"
#include "simd/blocks.hpp"

namespace qzk::simd {
namespace {

using std::int16_t;
using std::int32_t;
using std::int8_t;
using std::size_t;
using std::uint16_t;
using std::uint8_t;

QZK_INLINE Integers raw(Bytes v) { return (Integers)v; }
QZK_INLINE Integers raw(Words v) { return (Integers)v; }

/// Exact products of bytes: those of the even bytes and those of the odd bytes, by lanes of 16 bits.
struct Products {
    Words even, odd;
};

template <class T>
QZK_INLINE Products products(Bytes a, Bytes b) {
    const Words oddA = (Words)a & splat<uint16_t>(0xFF00), oddB = (Words)b & splat<uint16_t>(0xFF00);
    if constexpr (std::is_signed_v<T>) {
        // The upper half of (256 a) (256 b) is a b.
        return {(Words)QZK_INTRINSIC(mulhi_epi16)(raw((Words)a << 8), raw((Words)b << 8)),
                (Words)QZK_INTRINSIC(mulhi_epi16)(raw(oddA), raw(oddB))};
    } else {
        return {((Words)a & splat<uint16_t>(0xFF)) * ((Words)b & splat<uint16_t>(0xFF)),
                (Words)QZK_INTRINSIC(mulhi_epu16)(raw(oddA), raw(oddB))};
    }
}

/// The even bytes of one vector with the odd bytes of another.
QZK_INLINE Bytes alternating(Words even, Words odd) {
#if QZK_SIMD_LEVEL == 3
    return (Bytes)_mm512_mask_blend_epi8(0xAAAAAAAAAAAAAAAA, raw(even), raw(odd));
#else
    return (Bytes)((even & splat<uint16_t>(0xFF)) | (odd & splat<uint16_t>(0xFF00)));
#endif
}

/// The low bytes of two vectors of words, alternating.
QZK_INLINE Bytes lowBytes(Words even, Words odd) {
#if QZK_SIMD_LEVEL == 3
    return alternating(even, odd << 8);
#else
    return (Bytes)((even & splat<uint16_t>(0xFF)) | odd << 8);
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

// Nibbles stay packed where carries can be kept from the upper neighbour, else they are computed in bytes.

QZK_INLINE Bytes highNibbles(Bytes v) { return v & splat<uint8_t>(0xF0); }
QZK_INLINE Bytes lowNibbles(Bytes v) { return v & splat<uint8_t>(0x0F); }

/// The nibbles of a vector of bytes, each lane one.
struct NibblePairs {
    Bytes high, low;
};

QZK_INLINE NibblePairs unpacked(Bytes v) { return {lowNibbles((Bytes)((Words)v >> 4)), lowNibbles(v)}; }

/// Packs the low halves of two vectors of bytes.
QZK_INLINE Bytes packed(Bytes high, Bytes low) { return halves((Bytes)((Words)high << 4), low); }

// Results reduced to the element.

template <class T>
QZK_INLINE Lanes<T> wrapped(Add, Lanes<T> a, Lanes<T> b) {
    if constexpr (std::is_same_v<T, Nibble>)
        return halves(highNibbles(a) + b, a + b);
    else
        return a + b;
}
template <class T>
QZK_INLINE Lanes<T> wrapped(Subtract, Lanes<T> a, Lanes<T> b) {
    if constexpr (std::is_same_v<T, Nibble>)
        return halves(b - highNibbles(a), b - a);
    else
        return b - a;
}
template <class T>
QZK_INLINE Lanes<T> wrapped(Multiply, Lanes<T> a, Lanes<T> b) {
    if constexpr (std::is_same_v<T, int16_t> || std::is_same_v<T, uint16_t>) {
        return a * b;
    } else if constexpr (std::is_same_v<T, Nibble>) {
        // What is left of a below a nibble would reach into its product; what is above it stays above.
        const Words x = (Words)a, y = (Words)b;
        const Words first = (x & splat<uint16_t>(0xFFF0)) * (y >> 4), second = x * y,
                    third = (x & splat<uint16_t>(0xF000)) * (y >> 12),
                    fourth = (x & splat<uint16_t>(0xFF00)) * (y >> 8);
        return halves(alternating(first, third), alternating(second, fourth));
    } else {
        const Words even = (Words)a * (Words)b;
        const Words odd = ((Words)a & splat<uint16_t>(0xFF00)) * ((Words)b >> 8);
        return alternating(even, odd);
    }
}

/// Exact products of nibbles.
QZK_INLINE NibblePairs nibbleProducts(Bytes a, Bytes b) {
    const NibblePairs x = unpacked(a), y = unpacked(b);
    return {wrapped<uint8_t>(Multiply{}, x.high, y.high), wrapped<uint8_t>(Multiply{}, x.low, y.low)};
}

QZK_INLINE Bytes atMost15(Bytes v) { return (Bytes)QZK_INTRINSIC(min_epu8)(raw(v), raw(splat<uint8_t>(15))); }

// Results clamped to the element's range.

template <class T>
QZK_INLINE Lanes<T> clamped(Add, Lanes<T> a, Lanes<T> b) {
    if constexpr (std::is_same_v<T, Nibble>)
        return halves(clamped<uint8_t>(Add{}, highNibbles(a), b), atMost15(lowNibbles(a) + lowNibbles(b)));
    else if constexpr (sizeof(T) == 2)
        return (Words)QZK_INTRINSIC(adds_epi16)(raw(a), raw(b));
    else if constexpr (std::is_signed_v<T>)
        return (Bytes)QZK_INTRINSIC(adds_epi8)(raw(a), raw(b));
    else
        return (Bytes)QZK_INTRINSIC(adds_epu8)(raw(a), raw(b));
}
template <class T>
QZK_INLINE Lanes<T> clamped(Subtract, Lanes<T> a, Lanes<T> b) {
    if constexpr (std::is_same_v<T, Nibble>)
        return halves(clamped<uint8_t>(Subtract{}, highNibbles(a), b),
                      clamped<uint8_t>(Subtract{}, lowNibbles(a), lowNibbles(b)));
    else if constexpr (sizeof(T) == 2)
        return (Words)QZK_INTRINSIC(subs_epi16)(raw(b), raw(a));
    else if constexpr (std::is_signed_v<T>)
        return (Bytes)QZK_INTRINSIC(subs_epi8)(raw(b), raw(a));
    else
        return (Bytes)QZK_INTRINSIC(subs_epu8)(raw(b), raw(a));
}
template <class T>
QZK_INLINE Lanes<T> clamped(Multiply, Lanes<T> a, Lanes<T> b) {
    // Unpacking and packing both stay within 16 bytes, so elements come back to their places.
    if constexpr (std::is_same_v<T, Nibble>) {
        const auto [high, low] = nibbleProducts(a, b);
        return packed(atMost15(high), atMost15(low));
    } else if constexpr (sizeof(T) == 2) {
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
        const Words highest = splat<uint16_t>(255);
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

template <class T>
struct Same {
    using type = T;
};

/// Half a sum or difference fits where the whole one may not: a + b = 2 (a & b) + (a ^ b) and
/// b - a = (a ^ b) - 2 (a & ~b). Halving and then shifting by one less rounds like one shift, downwards.
template <class Operation, class T>
struct ShiftRight {
    // The difference of unsigned elements has a sign.
    static constexpr bool isSum = std::is_same_v<Operation, Add>;
    using Half = typename std::conditional_t<isSum, Same<T>, std::make_signed<T>>::type;
    RightShift<T> one{1};
    RightShift<Half> rest;

    [[gnu::always_inline]] explicit ShiftRight(int32_t count) : rest(count - 1) {}
    [[gnu::always_inline]] Lanes<T> operator()(Lanes<T> a, Lanes<T> b) const {
        return rest(isSum ? (a & b) + one(a ^ b) : one(a ^ b) - (a & ~b));
    }
};

template <class T>
struct ShiftRight<Multiply, T> {
    RightShift<std::conditional_t<std::is_signed_v<T>, int16_t, uint16_t>> shift;

    [[gnu::always_inline]] explicit ShiftRight(int32_t count) : shift(count) {}
    [[gnu::always_inline]] Bytes operator()(Bytes a, Bytes b) const {
        const auto [even, odd] = products<T>(a, b);
        return lowBytes(shift(even), shift(odd));
    }
};

/// Half a difference of nibbles and 8 fits as half a sum does, and its highest bit tells the sign the wrong
/// way round. Of b - a and 16, that is b and the complement of a and 1, it is x + y = 2 (x | y) - (x ^ y).
template <>
struct ShiftRight<Subtract, Nibble> {
    RightShift<Nibble> one{1}, rest;
    Bytes eight;

    [[gnu::always_inline]] explicit ShiftRight(int32_t count)
        : rest(count > 4 ? 3 : count - 1), eight(rest(splat<uint8_t>(0x88))) {}
    [[gnu::always_inline]] Bytes operator()(Bytes a, Bytes b) const {
        return wrapped<Nibble>(Subtract{}, eight, rest((b | ~a) - one(b ^ ~a)));
    }
};

template <>
struct ShiftRight<Multiply, Nibble> {
    RightShift<uint8_t> shift;

    [[gnu::always_inline]] explicit ShiftRight(int32_t count) : shift(count) {}
    [[gnu::always_inline]] Bytes operator()(Bytes a, Bytes b) const {
        const auto [high, low] = nibbleProducts(a, b);
        return packed(shift(high), shift(low));
    }
};

/// By 1 to 16.
template <>
struct ShiftRight<Multiply, int16_t> {
    RightShift<uint16_t> low;
    LeftShift<uint16_t> high;

    [[gnu::always_inline]] explicit ShiftRight(int32_t count) : low(count), high(16 - count) {}
    [[gnu::always_inline]] Words operator()(Words a, Words b) const {
        return low(a * b) | high((Words)QZK_INTRINSIC(mulhi_epi16)(raw(a), raw(b)));
    }
};

/// By more than 16: of the unsigned product only a part of the upper half is left.
struct ShiftRightBeyond {
    RightShift<uint16_t> high;

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

/// Nibbles as whole bytes of the destination have them. Where they begin in the other half of a byte, a
/// destination byte takes the low nibble of one source byte and the high nibble of the next.
class Realigned {
public:
    [[gnu::always_inline]] explicit Realigned(Source<Nibble> nibbles)
        : bytes_(nibbles.first), next_(nibbles.first + nibbles.skipped),
          count_(shiftCount(nibbles.skipped == 0 ? 0 : 4)) {}

    /// The destination bytes from i on.
    template <class Load>
    [[gnu::always_inline]] Bytes at(Load load, size_t i) const {
        return halves((Bytes)QZK_INTRINSIC(sll_epi16)(raw(load(bytes_ + i)), count_),
                      (Bytes)QZK_INTRINSIC(srl_epi16)(raw(load(next_ + i)), count_));
    }

private:
    const uint8_t *bytes_, *next_;
    __m128i count_;
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

template <class Policy>
[[gnu::noinline]] void runRealigned(Source<Nibble> a, Source<Nibble> b, uint8_t *dst, size_t n, bool apart,
                                    int32_t count) {
    const Policy policy(count);
    const Realigned first(a), second(b);
    produce(
        dst, n, apart, [&](auto load, size_t i) __attribute__((always_inline)) {
            return policy(first.at(load, i), second.at(load, i));
        });
}

/// `single` does one nibble, in the bytes that the destination shares.
template <class Policy, class Single>
QZK_INLINE void run(const Operands<Nibble> &operands, int32_t count, Single single) {
    const auto dst = operands.dst;
    const auto one = [&](size_t i) { dst.set(i, single(operands.aAt(i), operands.bAt(i))); };
    const WholeBytes whole(dst, operands.n);
    if (whole.after != 0) one(operands.n - 1);
    const auto a = operands.aFrom(whole.before), b = operands.b.from(whole.before);
    uint8_t *const bytes = dst.from(whole.before).first;
    if (operands.scalar) {
        const auto pair = static_cast<uint8_t>(a.get(0) * 17);
        runScalar<Policy, uint8_t>(&pair, bytes, whole.bytes, count);
    } else if (a.skipped == 0 && b.skipped == 0) {
        run<Policy, uint8_t>(a.first, b.first, bytes, whole.bytes, operands.apart, count);
    } else {
        runRealigned<Policy>(a, b, bytes, whole.bytes, operands.apart, count);
    }
    if (whole.before != 0) one(0);
}

template <class Policy, class T, class Single>
QZK_INLINE void run(const Operands<T> &operands, int32_t count, Single) {
    using Lane = typename LaneOf<T>::type;
    const auto *const a = reinterpret_cast<const Lane *>(operands.a.first);
    const auto *const b = reinterpret_cast<const Lane *>(operands.b.first);
    auto *const dst = reinterpret_cast<Lane *>(operands.dst.first);
    if (operands.scalar) return runScalar<Policy, Lane>(a, dst, operands.n, count);
    run<Policy, Lane>(a, b, dst, operands.n, operands.apart, count);
}

/// Nothing is left of any lane after 32 bits.
QZK_INLINE int32_t laneShift(int32_t shift) {
    return shift > 32 ? 32 : shift < -32 ? 32 : shift < 0 ? -shift : shift;
}

/// The element whose results reduced to its width are the same bits: signed and unsigned ones share loops.
template <class T>
using Unsigned = typename std::conditional_t<std::is_integral_v<T>, std::make_unsigned<T>, Same<T>>::type;

template <class Operation, class T>
QZK_INLINE void fixed(const Operands<T> &operands, int32_t shift) {
    const Fixed<Operation, T> single = {shift};
    const int32_t count = laneShift(shift);
    if (shift == 0) return run<Wrap<Operation, Unsigned<T>>>(operands, 0, single);
    if (shift < 0) return run<ShiftLeft<Operation, Unsigned<T>>>(operands, count, single);
    if constexpr (std::is_same_v<Operation, Multiply> && std::is_same_v<T, int16_t>)
        if (shift > 16) return run<ShiftRightBeyond>(operands, count, single);
    run<ShiftRight<Operation, T>>(operands, count, single);
}

template <class Operation, class T>
QZK_INLINE void saturated(const Operands<T> &operands) {
    run<Clamp<Operation, T>>(operands, 0, Saturated<Operation, T>{});
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

/// The highest bits of halves of sums: those of sums that do not fit.
template <>
struct Reach<Add, Nibble> {
    Bytes excess = {};
    ShiftRight<Add, Nibble> half{1};

    [[gnu::always_inline]] void add(Bytes a, Bytes b) { excess |= half(a, b); }
    [[gnu::always_inline]] std::uint32_t bits() const {
        return (unite((Words)excess) & 0x8888) != 0 ? 16 : 0;
    }
};

template <>
struct Reach<Multiply, Nibble> {
    Bytes all = {};

    [[gnu::always_inline]] void add(Bytes a, Bytes b) {
        const auto [high, low] = nibbleProducts(a, b);
        all |= high | low;
    }
    [[gnu::always_inline]] std::uint32_t bits() const {
        const std::uint32_t pair = unite((Words)all);
        return (pair | pair >> 8) & 0xFF;
    }
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
QZK_INLINE int32_t fittingShiftOfLanes(const Operands<T> &operands) {
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
    const WholeBytes whole(operands.b, operands.n);
    const auto bitsAt = [&](size_t i) {
        return magnitudeBits(Operation::exact(operands.aAt(i), operands.bAt(i)));
    };
    const std::uint32_t before = whole.before != 0 ? bitsAt(0) : 0;
    const std::uint32_t after = whole.after != 0 ? bitsAt(operands.n - 1) : 0;
    const auto a = operands.aFrom(whole.before);
    const uint8_t *const b = operands.b.from(whole.before).first;
    Reach<Operation, Nibble> reach;
    const auto lookAt = [&](auto first) __attribute__((always_inline)) {
        forVectors<uint8_t>(
            whole.bytes, [&](auto load, size_t i)
                             __attribute__((always_inline)) { reach.add(first(load, i), load(b + i)); });
    };
    if (operands.scalar) {
        const Bytes pair = splat(static_cast<uint8_t>(a.get(0) * 17));
        lookAt([pair](auto, size_t) __attribute__((always_inline)) { return pair; });
    } else if (a.skipped == 0) {
        lookAt([a](auto load, size_t i) __attribute__((always_inline)) { return load(a.first + i); });
    } else {
        const Realigned realigned(a);
        lookAt([realigned](auto load, size_t i)
                   __attribute__((always_inline)) { return realigned.at(load, i); });
    }
    return shiftFor<Nibble>(reach.bits() | before | after);
}

template <class Operation, class T>
QZK_INLINE int32_t fittingShift(const Operands<T> &operands) {
    if constexpr (std::is_same_v<T, Nibble>)
        return fittingShiftOfNibbles<Operation>(operands);
    else
        return fittingShiftOfLanes<Operation>(operands);
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
    run<Exactly<Operation>>(operands, 0, Operation::template exact<float>);
}

struct Forms {
    template <class Operation, class Element>
    static constexpr auto fixed = kernelOf<simd::fixed<Operation, Element>>;
    template <class Operation, class Element>
    static constexpr auto saturated = kernelOf<simd::saturated<Operation, Element>>;
    template <class Operation, class Element>
    static constexpr auto fittingShift = kernelOf<simd::fittingShift<Operation, Element>>;
    template <class Operation>
    static constexpr auto floats = kernelOf<simd::floats<Operation>>;
};

} // namespace

void QZK_LEVEL::install(ArithmeticKernels &kernels) { installAll<Forms>(kernels); }

} // namespace qzk::simd

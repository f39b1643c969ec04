// What the operations compute and how a result is fitted to its element, one element at a time. Everything is
// always inlined and has internal linkage, since sources of all levels include it.
#pragma once

#include "simd/arithmetic.hpp"

namespace qzk::simd {
namespace {

/// The mathematical right shift: counts from 32 on leave nothing but the sign.
[[gnu::always_inline]] inline std::int32_t arithmeticShift(std::int32_t exact, std::int32_t count) {
    return exact >> (count < 31 ? count : 31);
}

/// The kernel of a function on Operands.
template <auto function>
struct Kernel;
template <class Element, class Result, class... More,
          Result (*function)(const Operands<Element> &operands, More... more)>
struct Kernel<function> {
    [[gnu::noinline]] static Result form(const Place<Element> *a, const Place<Element> *b,
                                         Place<Element> *dst, std::size_t n, Course course, More... more) {
        return function({Source<Element>::at(a, course.has(Course::skipsInA)),
                         Source<Element>::at(b, course.has(Course::skipsInB)),
                         Target<Element>::at(dst, course.has(Course::skipsInDst)), n,
                         course.has(Course::scalar), course.has(Course::apart)},
                        more...);
    }
};
template <auto function>
constexpr auto kernelOf = Kernel<function>::form;

struct Add {
    template <class Element>
    static constexpr auto kernels = &ElementKernels<Element>::add;

    template <class T>
    [[gnu::always_inline]] static T exact(T a, T b) {
        return a + b;
    }
    template <class Element>
    [[gnu::always_inline]] static std::int32_t shiftedRight(std::int32_t exact, std::int32_t count) {
        return arithmeticShift(exact, count);
    }

    template <class Element>
    static constexpr bool scalesAutomatically = true;
    static constexpr bool scalesFromLastToFirst = true;
    /// kept: sums of nibbles are all looked at before the first one is written; those of wider elements are
    /// written until one overflows, which shows where operands overlap.
    template <class Element>
    static constexpr bool looksAhead = std::is_same_v<Element, Nibble>;
};

struct Subtract {
    template <class Element>
    static constexpr auto kernels = &ElementKernels<Element>::subtract;

    template <class T>
    [[gnu::always_inline]] static T exact(T a, T b) {
        return b - a;
    }
    template <class Element>
    [[gnu::always_inline]] static std::int32_t shiftedRight(std::int32_t exact, std::int32_t count) {
        return arithmeticShift(exact, count);
    }

    /// kept: no shift brings a negative difference into an unsigned element, so these saturate instead.
    template <class Element>
    static constexpr bool scalesAutomatically = Source<Element>::isSigned;
    static constexpr bool scalesFromLastToFirst = true;
    template <class Element>
    static constexpr bool looksAhead = false;
};

struct Multiply {
    template <class Element>
    static constexpr auto kernels = &ElementKernels<Element>::multiply;

    template <class T>
    [[gnu::always_inline]] static T exact(T a, T b) {
        return a * b;
    }
    /// kept: products of 16-bit elements shift as unsigned 32-bit values. Fixed-point clients have built on
    /// the low bits that this leaves of negative products.
    template <class Element>
    [[gnu::always_inline]] static std::int32_t shiftedRight(std::int32_t exact, std::int32_t count) {
        if constexpr (Source<Element>::width == 16)
            return count < 32 ? static_cast<std::int32_t>(static_cast<std::uint32_t>(exact) >> count) : 0;
        else
            return arithmeticShift(exact, count);
    }

    template <class Element>
    static constexpr bool scalesAutomatically = true;
    static constexpr bool scalesFromLastToFirst = false;
    template <class Element>
    static constexpr bool looksAhead = false;
};

/// Shifted by a count of either sign; positive counts go to the right.
template <class Operation, class Element>
struct Fixed {
    std::int32_t shift;

    [[gnu::always_inline]] std::int32_t operator()(std::int32_t a, std::int32_t b) const {
        const std::int32_t exact = Operation::exact(a, b);
        if (shift >= 0) return Operation::template shiftedRight<Element>(exact, shift);
        return shift > -32 ? static_cast<std::int32_t>(static_cast<std::uint32_t>(exact) << -shift) : 0;
    }
};

template <class Operation, class Element>
struct Saturated {
    [[gnu::always_inline]] std::int32_t operator()(std::int32_t a, std::int32_t b) const {
        using View = Source<Element>;
        const std::int32_t exact = Operation::exact(a, b);
        return exact < View::lowest ? View::lowest : exact > View::highest ? View::highest : exact;
    }
};

/// The bits that say how far a result reaches: those that differ from its sign. The bits of all results
/// together reach as far as the result of largest magnitude, the positive one where two are equal: the
/// complement that a negative result stands for here is one less than its magnitude.
[[gnu::always_inline]] inline std::uint32_t magnitudeBits(std::int32_t exact) {
    return static_cast<std::uint32_t>(exact ^ exact >> 31);
}

/// The least right shift by which results of these bits fit into an element.
template <class Element>
[[gnu::always_inline]] inline std::int32_t shiftFor(std::uint32_t magnitudeBits) {
    constexpr int free = Source<Element>::width - (Source<Element>::isSigned ? 1 : 0);
    std::int32_t shift = 0;
    for (std::uint32_t excess = magnitudeBits >> free; excess != 0; excess >>= 1)
        ++shift;
    return shift;
}

/// The kernels of a level, or the plain ones: Forms has the members fixed, saturated, fittingShift and
/// floats, templates of operation and element.
template <class Forms, class Element, class Operation>
void installForms(ElementKernels<Element> &kernels, Operation) {
    auto &forms = kernels.*Operation::template kernels<Element>;
    if constexpr (std::is_same_v<Element, float>) {
        forms = Forms::template floats<Operation>;
    } else {
        forms = {Forms::template fixed<Operation, Element>, Forms::template saturated<Operation, Element>,
                 nullptr};
        if constexpr (Operation::template scalesAutomatically<Element>)
            forms.fittingShift = Forms::template fittingShift<Operation, Element>;
    }
}

template <class Forms, class Element>
void installElement(ElementKernels<Element> &kernels) {
    installForms<Forms>(kernels, Add{});
    installForms<Forms>(kernels, Subtract{});
    installForms<Forms>(kernels, Multiply{});
}

template <class Forms>
void installAll(ArithmeticKernels &kernels) {
    installElement<Forms, Nibble>(kernels);
    installElement<Forms, std::uint8_t>(kernels);
    installElement<Forms, std::int8_t>(kernels);
    installElement<Forms, std::int16_t>(kernels);
    installElement<Forms, float>(kernels);
}

} // namespace
} // namespace qzk::simd

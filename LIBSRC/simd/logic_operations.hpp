// What the packed operations compute and where they read, for bytes, words and vectors alike. Everything is
// always inlined and has internal linkage, since sources of all levels include it.
#pragma once

#include "simd/logic.hpp"

namespace qzk::simd {
namespace {

struct Copy {
    static constexpr auto kernels = &LogicKernels::copy;
    static constexpr bool remainderDescends = false;

    template <class T>
    [[gnu::always_inline]] static T combine(T source, T) {
        return source;
    }
};

struct And {
    static constexpr auto kernels = &LogicKernels::bitAnd;
    static constexpr bool remainderDescends = true;

    template <class T>
    [[gnu::always_inline]] static T combine(T source, T other) {
        return static_cast<T>(source & other);
    }
};

struct Or {
    static constexpr auto kernels = &LogicKernels::bitOr;
    static constexpr bool remainderDescends = true;

    template <class T>
    [[gnu::always_inline]] static T combine(T source, T other) {
        return static_cast<T>(source | other);
    }
};

struct Xor {
    static constexpr auto kernels = &LogicKernels::bitXor;
    static constexpr bool remainderDescends = true;

    template <class T>
    [[gnu::always_inline]] static T combine(T source, T other) {
        return static_cast<T>(source ^ other);
    }
};

/// One source. `load` makes a word, of whatever width, of the bytes at an address.
struct Single {
    const std::uint8_t *src;

    [[gnu::always_inline]] Single from(std::size_t i) const { return {src + i}; }

    template <class Load>
    [[gnu::always_inline]] auto read(Load load, std::size_t i) const {
        return load(src + i);
    }
};

/// Two sources that lie alike, joined by an operation: what a three-operand form moves to its destination.
template <class Operation>
struct Pair {
    const std::uint8_t *src1, *src2;

    [[gnu::always_inline]] Pair from(std::size_t i) const { return {src1 + i, src2 + i}; }

    template <class Load>
    [[gnu::always_inline]] auto read(Load load, std::size_t i) const {
        return Operation::combine(load(src1 + i), load(src2 + i));
    }
};

struct LoadByte {
    [[gnu::always_inline]] std::uint8_t operator()(const std::uint8_t *from) const { return *from; }
};

} // namespace
} // namespace qzk::simd

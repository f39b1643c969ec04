// The exports of element-wise arithmetic as one list, so that a test runs over all of them.
#pragma once

#include "qzk.h"
#include "reference/arithmetic.hpp"
#include "support/random.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <ostream>
#include <vector>

namespace qzk::test {

/// Operands within one memory, in bytes from its beginning; a scalar takes the place of a in form 2s.
struct Layout {
    std::size_t a, b, dst;
    std::int32_t srcOffset, dstOffset, scalar, len;
};

inline std::ostream &operator<<(std::ostream &out, const Layout &layout) {
    return out << "operands at " << layout.a << ", " << layout.b << " and " << layout.dst << ", offsets "
               << layout.srcOffset << " and " << layout.dstOffset << ", scalar " << layout.scalar
               << ", length " << layout.len;
}

enum class Form { inPlace, separate, scalar };

/// One export of an integer letter.
struct IntegerMember {
    using Letter = reference::Letter;
    using Run = std::function<void(std::uint8_t *memory, const Layout &, std::int32_t scaleMode,
                                   std::int32_t *scaleFactor)>;
    const char *name;
    reference::Operation operation;
    Letter letter;
    Form form;
    Run run;

    /// The member with in-place operands put where they have to be.
    Layout adapted(Layout layout) const {
        if (form != Form::separate) layout.b = layout.dst;
        return layout;
    }
    std::int64_t scalarOf(std::int32_t value) const {
        return letter == Letter::t   ? static_cast<std::int8_t>(value)
               : letter == Letter::w ? static_cast<std::int16_t>(value)
                                     : static_cast<std::uint8_t>(value);
    }
    reference::Call call(std::uint8_t *memory, const Layout &layout) const {
        const std::int32_t offsetB = form == Form::separate ? layout.srcOffset : layout.dstOffset;
        reference::Call call = {operation,
                                letter,
                                {},
                                {letter, memory + layout.a, layout.srcOffset},
                                {letter, memory + layout.b, offsetB},
                                {letter, memory + layout.dst, layout.dstOffset},
                                layout.len};
        if (form == Form::scalar) call.scalar = scalarOf(layout.scalar);
        return call;
    }
};

template <class T>
T *at(std::uint8_t *memory, std::size_t place) {
    return reinterpret_cast<T *>(memory + place);
}

template <class T>
IntegerMember::Run runner(void (*f)(const T *, T *, std::int32_t, std::int32_t, std::int32_t *)) {
    return [=](std::uint8_t *memory, const Layout &l, std::int32_t mode, std::int32_t *factor) {
        f(at<T>(memory, l.a), at<T>(memory, l.dst), l.len, mode, factor);
    };
}
template <class T>
IntegerMember::Run runner(void (*f)(const T *, const T *, T *, std::int32_t, std::int32_t, std::int32_t *)) {
    return [=](std::uint8_t *memory, const Layout &l, std::int32_t mode, std::int32_t *factor) {
        f(at<T>(memory, l.a), at<T>(memory, l.b), at<T>(memory, l.dst), l.len, mode, factor);
    };
}
template <class T>
IntegerMember::Run runner(void (*f)(T, T *, std::int32_t, std::int32_t, std::int32_t *)) {
    return [=](std::uint8_t *memory, const Layout &l, std::int32_t mode, std::int32_t *factor) {
        f(static_cast<T>(l.scalar), at<T>(memory, l.dst), l.len, mode, factor);
    };
}
inline IntegerMember::Run runner(void (*f)(const std::uint8_t *, std::uint8_t *, std::int32_t, std::int32_t,
                                           std::int32_t, std::int32_t, std::int32_t *)) {
    return [=](std::uint8_t *memory, const Layout &l, std::int32_t mode, std::int32_t *factor) {
        f(memory + l.a, memory + l.dst, l.srcOffset, l.dstOffset, l.len, mode, factor);
    };
}
inline IntegerMember::Run runner(void (*f)(const std::uint8_t *, const std::uint8_t *, std::uint8_t *,
                                           std::int32_t, std::int32_t, std::int32_t, std::int32_t,
                                           std::int32_t *)) {
    return [=](std::uint8_t *memory, const Layout &l, std::int32_t mode, std::int32_t *factor) {
        f(memory + l.a, memory + l.b, memory + l.dst, l.srcOffset, l.dstOffset, l.len, mode, factor);
    };
}
inline IntegerMember::Run runner(void (*f)(std::uint8_t, std::uint8_t *, std::int32_t, std::int32_t,
                                           std::int32_t, std::int32_t *)) {
    return [=](std::uint8_t *memory, const Layout &l, std::int32_t mode, std::int32_t *factor) {
        f(static_cast<std::uint8_t>(l.scalar), memory + l.dst, l.dstOffset, l.len, mode, factor);
    };
}

inline const std::vector<IntegerMember> &integerMembers() {
    using reference::Letter;
    using reference::Operation;
    static const std::vector<IntegerMember> members = {
        {"QZnbAdd2", Operation::add, Letter::n, Form::inPlace, runner(QZnbAdd2)},
        {"QZnbAdd3", Operation::add, Letter::n, Form::separate, runner(QZnbAdd3)},
        {"QZnbAdd2s", Operation::add, Letter::n, Form::scalar, runner(QZnbAdd2s)},
        {"QZybAdd2", Operation::add, Letter::y, Form::inPlace, runner(QZybAdd2)},
        {"QZybAdd3", Operation::add, Letter::y, Form::separate, runner(QZybAdd3)},
        {"QZybAdd2s", Operation::add, Letter::y, Form::scalar, runner(QZybAdd2s)},
        {"QZtbAdd2", Operation::add, Letter::t, Form::inPlace, runner(QZtbAdd2)},
        {"QZtbAdd3", Operation::add, Letter::t, Form::separate, runner(QZtbAdd3)},
        {"QZtbAdd2s", Operation::add, Letter::t, Form::scalar, runner(QZtbAdd2s)},
        {"QZwbAdd2", Operation::add, Letter::w, Form::inPlace, runner(QZwbAdd2)},
        {"QZwbAdd3", Operation::add, Letter::w, Form::separate, runner(QZwbAdd3)},
        {"QZwbAdd2s", Operation::add, Letter::w, Form::scalar, runner(QZwbAdd2s)},
        {"QZnbSub2", Operation::subtract, Letter::n, Form::inPlace, runner(QZnbSub2)},
        {"QZnbSub3", Operation::subtract, Letter::n, Form::separate, runner(QZnbSub3)},
        {"QZnbSub2s", Operation::subtract, Letter::n, Form::scalar, runner(QZnbSub2s)},
        {"QZybSub2", Operation::subtract, Letter::y, Form::inPlace, runner(QZybSub2)},
        {"QZybSub3", Operation::subtract, Letter::y, Form::separate, runner(QZybSub3)},
        {"QZybSub2s", Operation::subtract, Letter::y, Form::scalar, runner(QZybSub2s)},
        {"QZtbSub2", Operation::subtract, Letter::t, Form::inPlace, runner(QZtbSub2)},
        {"QZtbSub3", Operation::subtract, Letter::t, Form::separate, runner(QZtbSub3)},
        {"QZtbSub2s", Operation::subtract, Letter::t, Form::scalar, runner(QZtbSub2s)},
        {"QZwbSub2", Operation::subtract, Letter::w, Form::inPlace, runner(QZwbSub2)},
        {"QZwbSub3", Operation::subtract, Letter::w, Form::separate, runner(QZwbSub3)},
        {"QZwbSub2s", Operation::subtract, Letter::w, Form::scalar, runner(QZwbSub2s)},
        {"QZnbMpy2", Operation::multiply, Letter::n, Form::inPlace, runner(QZnbMpy2)},
        {"QZnbMpy3", Operation::multiply, Letter::n, Form::separate, runner(QZnbMpy3)},
        {"QZnbMpy2s", Operation::multiply, Letter::n, Form::scalar, runner(QZnbMpy2s)},
        {"QZybMpy2", Operation::multiply, Letter::y, Form::inPlace, runner(QZybMpy2)},
        {"QZybMpy3", Operation::multiply, Letter::y, Form::separate, runner(QZybMpy3)},
        {"QZybMpy2s", Operation::multiply, Letter::y, Form::scalar, runner(QZybMpy2s)},
        {"QZtbMpy2", Operation::multiply, Letter::t, Form::inPlace, runner(QZtbMpy2)},
        {"QZtbMpy3", Operation::multiply, Letter::t, Form::separate, runner(QZtbMpy3)},
        {"QZtbMpy2s", Operation::multiply, Letter::t, Form::scalar, runner(QZtbMpy2s)},
        {"QZwbMpy2", Operation::multiply, Letter::w, Form::inPlace, runner(QZwbMpy2)},
        {"QZwbMpy3", Operation::multiply, Letter::w, Form::separate, runner(QZwbMpy3)},
        {"QZwbMpy2s", Operation::multiply, Letter::w, Form::scalar, runner(QZwbMpy2s)},
    };
    return members;
}

using Memory = std::vector<std::uint8_t>;

inline std::size_t bytesOf(reference::Letter letter, std::int32_t len) {
    const auto n = static_cast<std::size_t>(len > 0 ? len : 0);
    return letter == reference::Letter::w ? 2 * n : letter == reference::Letter::n ? n / 2 + 1 : n;
}

/// Compares members with the reference on random data.
class MemberCheck {
protected:
    using Letter = reference::Letter;
    /// Random bytes of which every element has about `bits` significant bits, so that results of all sizes
    /// occur.
    Memory memory(std::size_t n, Letter letter, unsigned bits) {
        Memory bytes = random_.elements<std::uint8_t>(n);
        if (letter == Letter::n) {
            const auto mask = static_cast<std::uint8_t>((15 >> (bits % 4)) * 17);
            for (auto &byte : bytes)
                byte &= mask;
        } else if (letter == Letter::w) {
            for (std::size_t i = 0; i + 1 < n; i += 2) {
                auto word = static_cast<std::int16_t>(random_.element<std::int16_t>() >> bits % 16);
                std::memcpy(&bytes[i], &word, 2);
            }
        } else {
            for (auto &byte : bytes)
                byte = static_cast<std::uint8_t>(
                    letter == Letter::t ? static_cast<std::int8_t>(byte) >> bits % 8 : byte >> bits % 8);
        }
        return bytes;
    }

    void check(const IntegerMember &member, const Memory &before, Layout layout, std::int32_t mode,
               std::int32_t factor) {
        layout = member.adapted(layout);
        expected_ = before, actual_ = before;
        std::int32_t expectedFactor = factor, actualFactor = factor;
        reference::scaled(member.call(expected_.data(), layout), mode, expectedFactor);
        member.run(actual_.data(), layout, mode, &actualFactor);
        ASSERT_TRUE(expected_ == actual_ && expectedFactor == actualFactor)
            << member.name << ": " << layout << ", mode " << mode << ", factor " << factor << ", afterwards "
            << actualFactor << " instead of " << expectedFactor << ", seed " << seed();
    }

    std::int32_t halfOfByte() { return static_cast<std::int32_t>(random_.bits() % 2); }

    Random random_;
    Memory expected_, actual_;
};
/// The float exports of one operation.
struct FloatMembers {
    reference::Operation operation;
    void (*form2)(const float *, float *, std::int32_t);
    void (*form3)(const float *, const float *, float *, std::int32_t);
    void (*form2s)(float, float *, std::int32_t);
};

inline const std::vector<FloatMembers> &floatMembers() {
    using reference::Operation;
    static const std::vector<FloatMembers> members = {
        {Operation::add, QZsbAdd2, QZsbAdd3, QZsbAdd2s},
        {Operation::subtract, QZsbSub2, QZsbSub3, QZsbSub2s},
        {Operation::multiply, QZsbMpy2, QZsbMpy3, QZsbMpy2s},
    };
    return members;
}

} // namespace qzk::test

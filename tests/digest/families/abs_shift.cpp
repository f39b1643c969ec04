#include "families.hpp"
#include "operands.hpp"

namespace qzk::digest {
namespace {

template <class T, class Run>
void overLengths(std::string_view name, Run run) {
    Generator random(name);
    for (const std::int32_t len : lengths)
        for (int i = 0; i < 8; ++i) {
            // The magnitude of element 0 is stored even where there are no elements.
            Operands operands(random, (count(len) + 1) * sizeof(T), 1);
            if (i % 2 == 0) operands.fill<T>(random, operands.a, count(len));
            if (i % 4 == 0) operands.fill<T>(random, operands.dst, count(len));
            run(random, operands, len);
            operands.put();
        }
}

template <auto f, class T>
void exercise(void (*)(T *, std::int32_t)) {
    overLengths<T>(nameOf<f>(),
                   [](Generator &, const Operands &o, std::int32_t len) { call<f>(as<T>(o.dst), len); });
}

template <auto f, class T>
void exercise(void (*)(const T *, T *, std::int32_t)) {
    overLengths<T>(nameOf<f>(), [](Generator &, const Operands &o, std::int32_t len) {
        call<f>(as<T>(o.a), as<T>(o.dst), len);
    });
}

/// One shift in two by less than an element is wide.
std::uint8_t shift(Generator &random) {
    return static_cast<std::uint8_t>(random.below(random.below(2) == 0 ? 9 : 256));
}

template <auto f, class T>
void exercise(void (*)(T *, std::int32_t, std::uint8_t)) {
    overLengths<T>(nameOf<f>(), [](Generator &random, const Operands &o, std::int32_t len) {
        call<f>(as<T>(o.dst), len, shift(random));
    });
}

template <auto f>
void exercise(void (*)(std::uint8_t *, std::int32_t, std::int32_t, std::uint8_t)) {
    overLengths<std::uint8_t>(nameOf<f>(), [](Generator &random, const Operands &o, std::int32_t len) {
        const std::int32_t offset = random.between(-1, 2);
        call<f>(o.dst, offset, len, shift(random));
    });
}

template <auto... functions>
void exerciseAll() {
    (exercise<functions>(functions), ...);
}

} // namespace

void absShift() {
    exerciseAll<QZtbAbs, QZwbAbs, QZsbAbs, QZtbAbs2, QZwbAbs2, QZsbAbs2>();
    exerciseAll<QZnbShiftL, QZybShiftL, QZtbShiftL, QZwbShiftL, QZnbShiftR, QZybShiftR, QZtbShiftR,
                QZwbShiftR>();
}

} // namespace qzk::digest

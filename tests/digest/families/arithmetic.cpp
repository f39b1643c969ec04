#include "families.hpp"
#include "operands.hpp"

#include <type_traits>

namespace qzk::digest {
namespace {

constexpr std::int32_t modes[] = {QZ_ScaleWrap, QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate, 4, -1};
constexpr std::int32_t factors[] = {
    0,  1,  2,  3,  4,  5,  7,  8,  9,  15,  16,  17,  31,         32,
    33, 64, -1, -2, -3, -4, -7, -8, -9, -16, -31, -32, 2147483647, -2147483647 - 1};

/// run(operands, offsets of nibbles, length, mode, factor) at every length in every mode.
template <class T, bool nibbles, class Run>
void overModes(std::string_view name, Run run) {
    Generator random(name);
    constexpr std::int32_t offsets[] = {0, 1, 0, 1, 5, -1};
    for (const std::int32_t len : lengths)
        for (const std::int32_t mode : modes)
            for (int i = 0; i < 3; ++i) {
                const std::size_t elements = nibbles ? count(len) / 2 + 1 : count(len);
                Operands operands(random, elements * sizeof(T), 1);
                operands.fill<T>(random, operands.a, elements);
                operands.fill<T>(random, operands.b, elements);
                if (i == 0) operands.fill<T>(random, operands.dst, elements);
                std::int32_t factor = random.oneOf(factors);
                const std::int32_t srcOffset = random.oneOf(offsets), dstOffset = random.oneOf(offsets);
                run(random, operands, srcOffset, dstOffset, len, mode, &factor);
                operands.put();
                put(factor);
            }
}

template <auto f, class T>
void exercise(void (*)(const T *, T *, std::int32_t, std::int32_t, std::int32_t *)) {
    overModes<T, false>(nameOf<f>(), [](Generator &, const Operands &o, std::int32_t, std::int32_t,
                                        std::int32_t len, std::int32_t mode, std::int32_t *factor) {
        call<f>(as<T>(o.a), as<T>(o.dst), len, mode, factor);
    });
}

template <auto f, class T>
void exercise(void (*)(const T *, const T *, T *, std::int32_t, std::int32_t, std::int32_t *)) {
    overModes<T, false>(nameOf<f>(), [](Generator &, const Operands &o, std::int32_t, std::int32_t,
                                        std::int32_t len, std::int32_t mode, std::int32_t *factor) {
        call<f>(as<T>(o.a), as<T>(o.b), as<T>(o.dst), len, mode, factor);
    });
}

template <auto f, class T>
void exercise(void (*)(T, T *, std::int32_t, std::int32_t, std::int32_t *)) {
    overModes<T, false>(nameOf<f>(), [](Generator &random, const Operands &o, std::int32_t, std::int32_t,
                                        std::int32_t len, std::int32_t mode, std::int32_t *factor) {
        call<f>(random.elements<T>(1)[0], as<T>(o.dst), len, mode, factor);
    });
}

template <auto f>
void exercise(void (*)(const std::uint8_t *, std::uint8_t *, std::int32_t, std::int32_t, std::int32_t,
                       std::int32_t, std::int32_t *)) {
    overModes<std::uint8_t, true>(nameOf<f>(), [](Generator &, const Operands &o, std::int32_t srcOffset,
                                                  std::int32_t dstOffset, std::int32_t len, std::int32_t mode,
                                                  std::int32_t *factor) {
        call<f>(o.a, o.dst, srcOffset, dstOffset, len, mode, factor);
    });
}

template <auto f>
void exercise(void (*)(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::int32_t, std::int32_t,
                       std::int32_t, std::int32_t, std::int32_t *)) {
    overModes<std::uint8_t, true>(nameOf<f>(), [](Generator &, const Operands &o, std::int32_t srcOffset,
                                                  std::int32_t dstOffset, std::int32_t len, std::int32_t mode,
                                                  std::int32_t *factor) {
        call<f>(o.a, o.b, o.dst, srcOffset, dstOffset, len, mode, factor);
    });
}

template <auto f>
void exercise(void (*)(std::uint8_t, std::uint8_t *, std::int32_t, std::int32_t, std::int32_t,
                       std::int32_t *)) {
    overModes<std::uint8_t, true>(nameOf<f>(), [](Generator &random, const Operands &o, std::int32_t,
                                                  std::int32_t dstOffset, std::int32_t len, std::int32_t mode,
                                                  std::int32_t *factor) {
        call<f>(static_cast<std::uint8_t>(random.bits()), o.dst, dstOffset, len, mode, factor);
    });
}

template <class Run>
void overFloats(std::string_view name, Run run) {
    Generator random(name);
    for (const std::int32_t len : lengths)
        for (int i = 0; i < 8; ++i) {
            // Whole elements: otherwise a source would hold parts of the undefined bits of not-a-numbers.
            Operands operands(random, count(len) * sizeof(float), sizeof(float));
            operands.fill<float>(random, operands.a, count(len));
            operands.fill<float>(random, operands.b, count(len));
            if (i % 2 == 0) operands.fill<float>(random, operands.dst, count(len));
            run(random, operands, len);
            operands.put<float>(count(len));
        }
}

template <auto f>
void exercise(void (*)(const float *, float *, std::int32_t)) {
    overFloats(nameOf<f>(), [](Generator &, const Operands &o, std::int32_t len) {
        call<f>(as<float>(o.a), as<float>(o.dst), len);
    });
}

template <auto f>
void exercise(void (*)(const float *, const float *, float *, std::int32_t)) {
    overFloats(nameOf<f>(), [](Generator &, const Operands &o, std::int32_t len) {
        call<f>(as<float>(o.a), as<float>(o.b), as<float>(o.dst), len);
    });
}

template <auto f>
void exercise(void (*)(float, float *, std::int32_t)) {
    overFloats(nameOf<f>(), [](Generator &random, const Operands &o, std::int32_t len) {
        call<f>(random.elements<float>(1)[0], as<float>(o.dst), len);
    });
}

template <auto... functions>
void exerciseAll() {
    (exercise<functions>(functions), ...);
}

} // namespace

void arithmetic() {
    exerciseAll<QZnbAdd2, QZybAdd2, QZtbAdd2, QZwbAdd2, QZnbAdd3, QZybAdd3, QZtbAdd3, QZwbAdd3, QZnbAdd2s,
                QZybAdd2s, QZtbAdd2s, QZwbAdd2s>();
    exerciseAll<QZnbSub2, QZybSub2, QZtbSub2, QZwbSub2, QZnbSub3, QZybSub3, QZtbSub3, QZwbSub3, QZnbSub2s,
                QZybSub2s, QZtbSub2s, QZwbSub2s>();
    exerciseAll<QZnbMpy2, QZybMpy2, QZtbMpy2, QZwbMpy2, QZnbMpy3, QZybMpy3, QZtbMpy3, QZwbMpy3, QZnbMpy2s,
                QZybMpy2s, QZtbMpy2s, QZwbMpy2s>();
    exerciseAll<QZsbAdd2, QZsbSub2, QZsbMpy2, QZsbAdd3, QZsbSub3, QZsbMpy3, QZsbAdd2s, QZsbSub2s,
                QZsbMpy2s>();
}

} // namespace qzk::digest

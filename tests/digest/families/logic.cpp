#include "families.hpp"
#include "operands.hpp"

namespace qzk::digest {
namespace {

constexpr int repetitions = 6;

template <class T, class Run>
void overLengths(std::string_view name, Run run) {
    Generator random(name);
    for (const std::int32_t len : lengths)
        for (int i = 0; i < repetitions; ++i) {
            Operands operands(random, count(len) * sizeof(T), 1);
            run(random, operands, len);
            operands.put();
        }
}

/// Runs of bits or nibbles: lengths as they are and, as vectors hold more of them, some eight times as long.
template <class Run>
void overPackedLengths(std::string_view name, Run run) {
    Generator random(name);
    const bool nibbles = name[2] == 'n';
    constexpr std::int32_t bitOffsets[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 13, -1},
                           nibbleOffsets[] = {0, 1, 1, 0, 2, -1};
    const auto offset = [&] { return nibbles ? random.oneOf(nibbleOffsets) : random.oneOf(bitOffsets); };
    for (const std::int32_t len : lengths)
        for (int i = 0; i < 2 * repetitions; ++i) {
            const std::int32_t longer = len > 0 && i % 2 != 0 ? 8 * len + random.between(-7, 7) : len;
            Operands operands(random, count(longer) / (nibbles ? 2 : 8) + 2, 1);
            const std::int32_t srcOffset = offset();
            const std::int32_t dstOffset = i % 4 == 0 ? srcOffset : offset();
            run(random, operands, srcOffset, dstOffset, longer);
            operands.put();
        }
}

template <auto f, class T>
void exercise(void (*)(T *, std::int32_t)) {
    overLengths<T>(nameOf<f>(),
                   [](Generator &, const Operands &o, std::int32_t len) { call<f>(as<T>(o.dst), len); });
}

template <auto f, class T>
void exercise(void (*)(T, T *, std::int32_t)) {
    overLengths<T>(nameOf<f>(), [](Generator &random, const Operands &o, std::int32_t len) {
        T value;
        random.fill(&value, sizeof value);
        call<f>(value, as<T>(o.dst), len);
    });
}

template <auto f, class T>
void exercise(void (*)(const T *, T *, std::int32_t)) {
    overLengths<T>(nameOf<f>(), [](Generator &, const Operands &o, std::int32_t len) {
        call<f>(as<T>(o.a), as<T>(o.dst), len);
    });
}

template <auto f, class T>
void exercise(void (*)(const T *, const T *, T *, std::int32_t)) {
    overLengths<T>(nameOf<f>(), [](Generator &, const Operands &o, std::int32_t len) {
        call<f>(as<T>(o.a), as<T>(o.b), as<T>(o.dst), len);
    });
}

template <auto f>
void exercise(void (*)(std::uint8_t *, std::int32_t, std::int32_t)) {
    overPackedLengths(nameOf<f>(), [](Generator &, const Operands &o, std::int32_t, std::int32_t dstOffset,
                                      std::int32_t len) { call<f>(o.dst, dstOffset, len); });
}

template <auto f>
void exercise(void (*)(std::uint8_t, std::uint8_t *, std::int32_t, std::int32_t)) {
    overPackedLengths(nameOf<f>(), [](Generator &random, const Operands &o, std::int32_t,
                                      std::int32_t dstOffset, std::int32_t len) {
        call<f>(static_cast<std::uint8_t>(random.bits()), o.dst, dstOffset, len);
    });
}

template <auto f>
void exercise(void (*)(const std::uint8_t *, std::uint8_t *, std::int32_t, std::int32_t, std::int32_t)) {
    overPackedLengths(nameOf<f>(),
                      [](Generator &, const Operands &o, std::int32_t srcOffset, std::int32_t dstOffset,
                         std::int32_t len) { call<f>(o.a, o.dst, srcOffset, dstOffset, len); });
}

template <auto f>
void exercise(void (*)(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::int32_t, std::int32_t,
                       std::int32_t)) {
    overPackedLengths(nameOf<f>(),
                      [](Generator &, const Operands &o, std::int32_t srcOffset, std::int32_t dstOffset,
                         std::int32_t len) { call<f>(o.a, o.b, o.dst, srcOffset, dstOffset, len); });
}

template <auto... functions>
void exerciseAll() {
    (exercise<functions>(functions), ...);
}

} // namespace

void logic() {
    exerciseAll<QZbbZero, QZnbZero, QZybZero, QZtbZero, QZwbZero, QZsbZero>();
    exerciseAll<QZbbSet, QZnbSet, QZybSet, QZtbSet, QZwbSet, QZsbSet>();
    exerciseAll<QZbbCopy, QZnbCopy, QZybCopy, QZtbCopy, QZwbCopy, QZsbCopy>();
    exerciseAll<QZbbNot, QZnbNot, QZybNot, QZwbNot>();
    exerciseAll<QZbbAnd2, QZnbAnd2, QZybAnd2, QZwbAnd2, QZbbOr2, QZnbOr2, QZybOr2, QZwbOr2, QZbbXor2,
                QZnbXor2, QZybXor2, QZwbXor2>();
    exerciseAll<QZbbAnd3, QZnbAnd3, QZybAnd3, QZwbAnd3, QZbbOr3, QZnbOr3, QZybOr3, QZwbOr3, QZbbXor3,
                QZnbXor3, QZybXor3, QZwbXor3>();
    exerciseAll<QZnbAnd2s, QZybAnd2s, QZwbAnd2s, QZnbOr2s, QZybOr2s, QZwbOr2s, QZnbXor2s, QZybXor2s,
                QZwbXor2s>();
}

} // namespace qzk::digest

#include "families.hpp"
#include "operands.hpp"

namespace qzk::digest {
namespace {

constexpr std::int32_t modes[] = {QZ_ScaleWrap, QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate, 4, -1};
constexpr std::int32_t factors[] = {
    0, 1, 2, 3, 7, 12, 31, 32, 33, 64, -1, -2, -7, -20, -31, -32, -33, 2147483647, -2147483647 - 1};

/// Sums that leave 32 bits need more elements than the other families have.
constexpr std::int32_t longLength = 70000;

/// run(random, source, length), the source being of any kind.
template <class T, class Run>
void overLengths(std::string_view name, Run run) {
    Generator random(name);
    const auto one = [&](std::int32_t len) {
        // A vector without elements is looked at all the same.
        Operands operands(random, (count(len) + 1) * sizeof(T), 1);
        operands.fill<T>(random, operands.a, count(len) + 1);
        run(random, operands.a, len);
    };
    for (const std::int32_t len : lengths)
        for (int i = 0; i < 12; ++i)
            one(len);
    for (int i = 0; i < 6; ++i)
        one(longLength + i);
}

template <auto f, class T>
void exercise(T (*)(const T *, std::int32_t, std::int32_t *)) {
    overLengths<T>(nameOf<f>(), [](Generator &, std::uint8_t *src, std::int32_t len) {
        std::int32_t index = -7;
        call<f>(as<T>(src), len, &index);
        put(index);
    });
}

template <auto f>
void exercise(std::uint8_t (*)(const std::uint8_t *, std::int32_t, std::int32_t, std::int32_t *)) {
    overLengths<std::uint8_t>(nameOf<f>(), [](Generator &random, std::uint8_t *src, std::int32_t len) {
        std::int32_t index = -7;
        call<f>(src, random.between(-2, 3), len, &index);
        put(index);
    });
}

template <auto f, class T, class Sum>
void exercise(Sum (*)(const T *, std::int32_t, std::int32_t, std::int32_t *)) {
    overLengths<T>(nameOf<f>(), [](Generator &random, std::uint8_t *src, std::int32_t len) {
        std::int32_t factor = random.oneOf(factors);
        call<f>(as<T>(src), len, random.oneOf(modes), &factor);
        put(factor);
    });
}

template <auto f, class Sum>
void exercise(Sum (*)(const std::uint8_t *, std::int32_t, std::int32_t, std::int32_t, std::int32_t *)) {
    overLengths<std::uint8_t>(nameOf<f>(), [](Generator &random, std::uint8_t *src, std::int32_t len) {
        const bool nibbles = nameOf<f>()[2] == 'n';
        const std::int32_t longer = nibbles || len <= 0 ? len : 8 * len - random.between(0, 7);
        const std::int32_t offset = random.between(-1, nibbles ? 2 : 9);
        std::int32_t factor = random.oneOf(factors);
        call<f>(src, offset, longer, random.oneOf(modes), &factor);
        put(factor);
    });
}

template <auto f>
void exercise(float (*)(const float *, std::int32_t)) {
    overLengths<float>(
        nameOf<f>(), [](Generator &, std::uint8_t *src, std::int32_t len) { call<f>(as<float>(src), len); });
}

template <auto... functions>
void exerciseAll() {
    (exercise<functions>(functions), ...);
}

} // namespace

void reduction() {
    exerciseAll<QZtMin, QZyMin, QZwMin, QZsMin, QZtMax, QZyMax, QZwMax, QZsMax>();
    exerciseAll<QZnMin, QZnMax, QZbSum, QZnSum, QZySum, QZtSum, QZwSum, QZsSum>();
}

} // namespace qzk::digest

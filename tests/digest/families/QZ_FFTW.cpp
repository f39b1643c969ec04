#include "families.hpp"
#include "operands.hpp"

namespace qzk::digest {
namespace {

constexpr std::int32_t orders[] = {-2147483647 - 1, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 14, 33,
                                   2147483647};
constexpr std::int32_t flagSets[] = {
    QZ_FORWARD, QZ_INVERSE, QZ_INVERSE | QZ_NOSCALE, QZ_FORWARD | QZ_NOSCALE, 0, QZ_FORWARD | QZ_INVERSE};
constexpr std::int32_t modes[] = {QZ_ScaleWrap, QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate, 4};

template <class T>
std::size_t wordsOf(std::int32_t order) {
    return order < 0 || order > 32 ? 2 : (sizeof(T) / sizeof(std::int16_t)) << order;
}

/// run(operands, order, flags, mode, factor); long transforms less often.
template <class T, class Run>
void overOrders(std::string_view name, Run run) {
    Generator random(name);
    for (const std::int32_t order : orders)
        for (const std::int32_t flags : flagSets)
            for (const std::int32_t mode : modes) {
                if (order >= 11 && random.below(6) != 0) continue;
                const std::size_t n = wordsOf<T>(order);
                Operands operands(random, n * sizeof(std::int16_t), 1);
                operands.fill<std::int16_t>(random, operands.a, n);
                if (random.below(2) == 0) operands.fill<std::int16_t>(random, operands.dst, n);
                std::int32_t factor = random.between(-20, 30);
                if (random.below(24) == 0) QZSetStatus(QZ_StsError);
                run(operands, order, flags, mode, &factor);
                operands.put();
                put(factor);
                if (random.below(50) == 0) QZFreeFftTbls();
            }
    QZFreeFftTbls();
}

template <auto f, class T>
void exercise(void (*)(T *, std::int32_t, std::int32_t, std::int32_t, std::int32_t *)) {
    overOrders<T>(nameOf<f>(),
                  [](const Operands &o, std::int32_t order, std::int32_t flags, std::int32_t mode,
                     std::int32_t *factor) { call<f>(as<T>(o.dst), order, flags, mode, factor); });
}

template <auto f, class T>
void exercise(void (*)(const T *, T *, std::int32_t, std::int32_t, std::int32_t, std::int32_t *)) {
    overOrders<T>(nameOf<f>(), [](const Operands &o, std::int32_t order, std::int32_t flags,
                                  std::int32_t mode, std::int32_t *factor) {
        call<f>(as<T>(o.a), as<T>(o.dst), order, flags, mode, factor);
    });
}

template <auto... functions>
void exerciseAll() {
    (exercise<functions>(functions), ...);
}

} // namespace

void fourierOfWords() {
    exerciseAll<QZvFft, QZvFftNip, QZwRealFft, QZwRealFftNip, QZwCcsFft, QZwCcsFftNip>();
}

} // namespace qzk::digest

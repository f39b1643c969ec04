#include "families.hpp"
#include "operands.hpp"

#include <algorithm>
#include <type_traits>

namespace qzk::digest {
namespace {

constexpr std::int32_t orders[] = {-2147483647 - 1, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 14, 33,
                                   2147483647};
constexpr std::int32_t directions[] = {QZ_FORWARD, QZ_INVERSE, QZ_INVERSE | QZ_NOSCALE,
                                       QZ_FORWARD | QZ_NOSCALE};
constexpr std::int32_t noDirections[] = {0, QZ_NOSCALE, QZ_FORWARD | QZ_INVERSE,
                                         QZ_FORWARD | QZ_INVERSE | QZ_NOSCALE};

template <class T>
std::size_t floatsOf(std::int32_t order) {
    return order < 0 || order > 32 ? 2 : (sizeof(T) / sizeof(float)) << order;
}

/// run(operands, order, flags) with each kind of data; long transforms less often.
template <class T, class Run>
void overOrders(std::string_view name, Run run) {
    Generator random(name);
    const auto one = [&](std::int32_t order, std::int32_t flags) {
        const std::size_t n = floatsOf<T>(order);
        Operands operands(random, n * sizeof(float), sizeof(float));
        operands.fill<float>(random, operands.a, n);
        if (random.below(2) == 0) operands.fill<float>(random, operands.dst, n);
        if (random.below(24) == 0) QZSetStatus(QZ_StsError);
        run(operands, order, flags);
        operands.put<float>(n);
    };
    for (const std::int32_t order : orders) {
        for (const std::int32_t flags : noDirections)
            if (order <= 8) one(order, flags);
        for (const std::int32_t flags : directions)
            for (int i = 0; i < (order < 10 ? 8 : 2); ++i)
                one(order, flags);
        if (random.below(3) == 0) call<QZFreeFftTbls>();
    }
    call<QZFreeFftTbls>();
}

template <auto f, class T>
void exercise(void (*)(T *, std::int32_t, std::int32_t)) {
    overOrders<T>(nameOf<f>(), [](const Operands &o, std::int32_t order, std::int32_t flags) {
        call<f>(as<T>(o.dst), order, flags);
    });
}

template <auto f, class T>
void exercise(void (*)(const T *, T *, std::int32_t, std::int32_t)) {
    overOrders<T>(nameOf<f>(), [](const Operands &o, std::int32_t order, std::int32_t flags) {
        call<f>(as<T>(o.a), as<T>(o.dst), order, flags);
    });
}

template <auto... functions>
void exerciseAll() {
    (exercise<functions>(functions), ...);
}

} // namespace

void fourier() { exerciseAll<QZcFft, QZcFftNip, QZsRealFft, QZsRealFftNip, QZsCcsFft, QZsCcsFftNip>(); }

} // namespace qzk::digest

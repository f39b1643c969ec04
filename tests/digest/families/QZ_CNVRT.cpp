#include "families.hpp"
#include "operands.hpp"

#include <cmath>

namespace qzk::digest {
namespace {

constexpr std::int32_t modes[] = {
    QZ_ScaleWrap, QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate, QZ_ScaleAuto, 4, -1, 1000};

/// Reals about one power of two, from below the smallest scalable ones to above the largest, or of any kind.
template <class T>
std::vector<T> reals(Generator &random, std::size_t n) {
    std::vector<T> values = random.elements<T>(n);
    if (random.below(3) == 0) return values;
    const int exponent = random.between(-70, 110), spread = random.between(0, 20);
    for (T &value : values) {
        value = random.signedReal<T>();
        value = std::ldexp(value, exponent - random.between(0, spread));
    }
    return values;
}

template <class T>
void place(std::uint8_t *at, const std::vector<T> &values) {
    if (!values.empty()) std::memcpy(at, values.data(), values.size() * sizeof(T));
}

std::int32_t factor(Generator &random) {
    return random.below(8) == 0 ? random.between(-2000, 2000) : random.between(-70, 70);
}

template <auto f, class S, class D>
void exercise(std::int32_t (*)(const S *, D *, std::int32_t, std::int32_t, std::int32_t *)) {
    Generator random(nameOf<f>());
    for (const std::int32_t len : lengths)
        for (const std::int32_t mode : modes)
            for (int i = 0; i < 4; ++i) {
                Operands o(random, count(len) * std::max(sizeof(S), sizeof(D)), 1);
                place(o.a, reals<S>(random, count(len)));
                std::int32_t scaleFactor = factor(random);
                call<f>(as<S>(o.a), as<D>(o.dst), len, mode, &scaleFactor);
                o.put();
                put(scaleFactor);
            }
}

template <auto f, class S>
void exercise(std::int32_t (*)(S, std::int32_t, std::int32_t *)) {
    Generator random(nameOf<f>());
    for (int i = 0; i < 500; ++i)
        for (const S value : reals<S>(random, 4))
            for (const std::int32_t mode : modes) {
                std::int32_t scaleFactor = factor(random);
                call<f>(value, mode, &scaleFactor);
                put(scaleFactor);
            }
}

template <auto f, class S, class D>
void exercise(void (*)(const S *, D *, std::int32_t, std::int32_t)) {
    Generator random(nameOf<f>());
    for (const std::int32_t len : lengths)
        for (int i = 0; i < 16; ++i) {
            Operands o(random, count(len) * sizeof(D), 1);
            o.fill<S>(random, o.a, count(len));
            call<f>(as<S>(o.a), as<D>(o.dst), len, factor(random));
            o.put();
        }
}

template <auto f, class S, class D>
void exercise(D (*)(S, std::int32_t)) {
    Generator random(nameOf<f>());
    for (int i = 0; i < 1000; ++i)
        for (const S value : random.elements<S>(4))
            call<f>(value, factor(random));
}

constexpr std::int32_t reductions[] = {1, 1 + 4, 2, 2 + 4, 3, 3 + 4, 1 + 8, 2 + 16, 0, 4, -1, -4};

void complexToReal() {
    Generator random("QZcsbConvert");
    for (const std::int32_t len : lengths)
        for (const std::int32_t flags : reductions)
            for (int i = 0; i < 4; ++i) {
                Operands o(random, count(len) * sizeof(QZComplexFloat), sizeof(float));
                place(o.a, reals<float>(random, 2 * count(len)));
                call<QZcsbConvert>(as<QZComplexFloat>(o.a), as<float>(o.dst), len, flags);
                o.put<float>(count(len));
            }
}

void complexWordsToReal() {
    Generator random("QZvwbConvert");
    for (const std::int32_t len : lengths)
        for (const std::int32_t flags : reductions)
            for (const std::int32_t mode : modes) {
                Operands o(random, count(len) * sizeof(QZComplexShort), 1);
                o.fill<std::int16_t>(random, o.a, 2 * count(len));
                std::int32_t scaleFactor = factor(random);
                if (random.below(16) == 0) QZSetStatus(QZ_StsError);
                call<QZvwbConvert>(as<QZComplexShort>(o.a), as<std::int16_t>(o.dst), len, flags, mode,
                                   &scaleFactor);
                o.put();
                put(scaleFactor);
            }
}

template <auto... functions>
void exerciseAll() {
    (exercise<functions>(functions), ...);
}

} // namespace

void conversion() {
    exerciseAll<QZswbConvertDown, QZsibConvertDown, QZdwbConvertDown, QZdibConvertDown>();
    exerciseAll<QZswConvertDown, QZsiConvertDown, QZdwConvertDown, QZdiConvertDown>();
    exerciseAll<QZwsbConvertUp, QZwdbConvertUp, QZisbConvertUp, QZidbConvertUp>();
    exerciseAll<QZwsConvertUp, QZwdConvertUp, QZisConvertUp, QZidConvertUp>();
    complexToReal();
    complexWordsToReal();
}

} // namespace qzk::digest

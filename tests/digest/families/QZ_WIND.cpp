#include "families.hpp"
#include "operands.hpp"

#include <limits>

namespace qzk::digest {
namespace {

constexpr std::int32_t modes[] = {QZ_ScaleWrap, QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate, 4, -1};

/// run(operands, length) of floats in place.
template <class Run>
void overFloats(Generator &random, Run run) {
    for (const std::int32_t len : lengths)
        for (int i = 0; i < 12; ++i) {
            Operands operands(random, count(len) * sizeof(float), sizeof(float));
            operands.fill<float>(random, operands.dst, count(len));
            run(as<float>(operands.dst), len);
            operands.put<float>(count(len));
        }
}

/// run(operands, length, mode, factor) of words in place.
template <class Run>
void overWords(Generator &random, Run run) {
    for (const std::int32_t len : lengths)
        for (const std::int32_t mode : modes)
            for (int i = 0; i < 3; ++i) {
                Operands operands(random, count(len) * sizeof(std::int16_t), 1);
                operands.fill<std::int16_t>(random, operands.dst, count(len));
                std::int32_t factor = random.between(-20, 20);
                if (random.below(24) == 0) QZSetStatus(QZ_StsError);
                run(as<std::int16_t>(operands.dst), len, mode, &factor);
                operands.put();
                put(factor);
            }
}

template <auto floats, auto words, auto freeFloats, auto freeWords>
void window() {
    Generator random(nameOf<floats>());
    overFloats(random, [&](float *frame, std::int32_t len) { call<floats>(frame, len); });
    call<freeFloats>();
    overWords(random, [&](std::int16_t *frame, std::int32_t len, std::int32_t mode, std::int32_t *factor) {
        call<words>(frame, len, mode, factor);
    });
    call<freeWords>();
}

float coefficient(Generator &random) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float chosen[] = {0.95f, 0.97f, 0.98f, 0.9f, 1.0f, -1.0f, 0.0f, 0.5f, 1e-30f, 1e30f, infinity};
    return random.below(3) == 0 ? random.elements<float>(1)[0] : random.oneOf(chosen);
}

void preEmphasis() {
    Generator random("QZsPreemphasize");
    overFloats(random, [&](float *frame, std::int32_t len) {
        call<QZsPreemphasize>(frame, coefficient(random), len);
    });
    overWords(random, [&](std::int16_t *frame, std::int32_t len, std::int32_t mode, std::int32_t *factor) {
        call<QZwPreemphasize>(frame, coefficient(random), len, mode, factor);
    });
    call<QZFreePreemphasizeTbls>();
}

} // namespace

void windows() {
    window<QZsWinHamming, QZwWinHamming, QZsFreeWinHammingTbls, QZwFreeWinHammingTbls>();
    window<QZsWinHanning, QZwWinHanning, QZsFreeWinHanningTbls, QZwFreeWinHanningTbls>();
    window<QZsWinBartlett, QZwWinBartlett, QZsFreeWinBartlettTbls, QZwFreeWinBartlettTbls>();
    window<QZsWinBlackman, QZwWinBlackman, QZsFreeWinBlackmanTbls, QZwFreeWinBlackmanTbls>();
    preEmphasis();
}

} // namespace qzk::digest

#include "families.hpp"
#include "operands.hpp"

namespace qzk::digest {
namespace {

/// Sizes of vectors, and of matrices that stay small.
constexpr std::int32_t dimensions[] = {-5, 0, 1, 2, 3, 4, 5, 7, 8, 9, 12, 13, 15, 16, 17, 24, 31, 33, 39};

constexpr std::int32_t modes[] = {QZ_ScaleWrap, QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate, 4, -1};

/// call(arguments, mode, factor) of a 16-bit member in a mode of its own.
template <auto f, class... Args>
void callConverted(Generator &random, Args... args) {
    std::int32_t factor = random.between(-70, 70);
    const std::int32_t mode = random.oneOf(modes);
    call<f>(args..., mode, &factor);
    put(factor);
}

/// run(random, source 1, source 2, source 3, length): no operand is written, so that any may overlap.
template <class T, class Run>
void overLengths(std::string_view name, Run run) {
    Generator random(name);
    for (const std::int32_t len : lengths)
        for (int i = 0; i < 10; ++i) {
            Operands operands(random, count(len) * sizeof(T), 1);
            for (std::uint8_t *const source : {operands.a, operands.b, operands.dst})
                operands.fill<T>(random, source, count(len));
            run(random, as<T>(operands.a), as<T>(operands.b), as<T>(operands.dst), len);
        }
}

template <class T, class Run>
void overMatrices(std::string_view name, Run run) {
    Generator random(name);
    for (const std::int32_t len : dimensions)
        for (int i = 0; i < 16; ++i) {
            const std::vector<T> a = random.elements<T>(count(len)), b = random.elements<T>(count(len));
            const Kind kind = random.oneOf(kinds);
            std::vector<std::vector<T>> matrix;
            std::vector<const T *> rows;
            for (std::size_t r = 0; r < count(len); ++r)
                matrix.push_back(random.elements<T>(r + 1, kind));
            for (const auto &row : matrix)
                rows.push_back(row.data());
            run(random, a.data(), b.data(), rows.data(), len);
        }
}

template <auto f>
void exercise(double (*)(const float *, const float *, std::int32_t)) {
    overLengths<float>(
        nameOf<f>(), [](Generator &, float *a, float *b, float *, std::int32_t len) { call<f>(a, b, len); });
}

template <auto f>
void exercise(double (*)(const float *, const float *, std::int32_t, std::int32_t)) {
    overLengths<float>(nameOf<f>(), [](Generator &random, float *a, float *b, float *, std::int32_t len) {
        call<f>(a, b, len, random.between(-1, 1));
    });
}

template <auto f>
void exercise(double (*)(const float *, const float *, const float *, std::int32_t, std::int32_t)) {
    overLengths<float>(nameOf<f>(),
                       [](Generator &random, float *a, float *b, float *diagonal, std::int32_t len) {
                           call<f>(a, b, diagonal, len, random.between(-1, 1));
                       });
}

template <auto f>
void exercise(double (*)(const float *, const float *, const float *const *, std::int32_t, std::int32_t)) {
    overMatrices<float>(nameOf<f>(),
                        [](Generator &random, const float *a, const float *b, const float *const *rows,
                           std::int32_t len) { call<f>(a, b, rows, len, random.between(-1, 1)); });
}

template <auto f>
void exercise(std::int32_t (*)(const std::int16_t *, const std::int16_t *, std::int32_t, std::int32_t,
                               std::int32_t *)) {
    overLengths<std::int16_t>(nameOf<f>(),
                              [](Generator &random, std::int16_t *a, std::int16_t *b, std::int16_t *,
                                 std::int32_t len) { callConverted<f>(random, a, b, len); });
}

template <auto f>
void exercise(std::int32_t (*)(const std::int16_t *, const std::int16_t *, std::int32_t, std::int32_t,
                               std::int32_t, std::int32_t *)) {
    overLengths<std::int16_t>(
        nameOf<f>(), [](Generator &random, std::int16_t *a, std::int16_t *b, std::int16_t *,
                        std::int32_t len) { callConverted<f>(random, a, b, len, random.between(-1, 1)); });
}

template <auto f>
void exercise(std::int32_t (*)(const std::int16_t *, const std::int16_t *, const std::int16_t *, std::int32_t,
                               std::int32_t, std::int32_t, std::int32_t *)) {
    overLengths<std::int16_t>(nameOf<f>(), [](Generator &random, std::int16_t *a, std::int16_t *b,
                                              std::int16_t *diagonal, std::int32_t len) {
        callConverted<f>(random, a, b, diagonal, len, random.between(-1, 1));
    });
}

template <auto f>
void exercise(std::int32_t (*)(const std::int16_t *, const std::int16_t *, const std::int16_t *const *,
                               std::int32_t, std::int32_t, std::int32_t, std::int32_t *)) {
    overMatrices<std::int16_t>(
        nameOf<f>(),
        [](Generator &random, const std::int16_t *a, const std::int16_t *b, const std::int16_t *const *rows,
           std::int32_t len) { callConverted<f>(random, a, b, rows, len, random.between(-1, 1)); });
}

template <auto... functions>
void exerciseAll() {
    (exercise<functions>(functions), ...);
}

} // namespace

void distance() {
    exerciseAll<QZsDotP, QZsL1Norm, QZsL2Norm, QZsMahalanobisD, QZsMahalanobis>();
    exerciseAll<QZwDotP, QZwL1Norm, QZwL2Norm, QZwMahalanobisD, QZwMahalanobis>();
}

} // namespace qzk::digest

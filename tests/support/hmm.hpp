// Models for tests: matrices of any element with the row pointers that the exports take, and servers made of
// them under one set of names for both letters.
#pragma once

#include "common/hmm.hpp"
#include "qzk.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qzk::test {

template <class T>
class Matrix {
public:
    Matrix(std::size_t rows, std::size_t columns, T value = T())
        : rows_(rows, std::vector<T>(columns, value)) {}
    Matrix(std::initializer_list<std::vector<T>> rows) : rows_(rows) {}

    std::vector<T> &operator[](std::size_t i) { return rows_[i]; }
    const std::vector<T> &operator[](std::size_t i) const { return rows_[i]; }
    std::size_t size() const { return rows_.size(); }

    /// Row pointers that hold as long as the matrix does.
    const T *const *rows() const {
        pointers_.clear();
        pointers_.reserve(rows_.size() + 1); // not null without rows either
        for (const auto &row : rows_)
            pointers_.push_back(row.data());
        return pointers_.data();
    }

private:
    std::vector<std::vector<T>> rows_;
    mutable std::vector<const T *> pointers_;
};

/// The exports of one letter.
template <class Element>
struct HMMLetter;

template <>
struct HMMLetter<float> {
    using Element = float;
    using Cost = float;
    using Mixture = QZsGaussMixServer;
    static constexpr std::int32_t flavor = QZ_HMMFloat;
    static constexpr float impossibleCost = 1e30f;

    static std::int32_t discrete(const float *const *a, const float *const *b, const float *pi,
                                 std::int32_t nStates, std::int32_t nSymbols, std::int32_t options) {
        return QZsInitHMMServer(a, b, pi, nStates, nSymbols, options);
    }
    static std::int32_t continuous(const float *const *a, const float *pi, Mixture *const *mixtures,
                                   std::int32_t nStates, std::int32_t dim, std::int32_t options,
                                   std::int32_t) {
        return QZsInitContHMMServer(a, pi, mixtures, nStates, dim, options);
    }
    static std::int32_t semicontinuous(const float *const *a, const float *const *b, const float *pi,
                                       Mixture *const *codebook, std::int32_t nStates, std::int32_t nSymbols,
                                       std::int32_t dim, std::int32_t options, std::int32_t) {
        return QZsInitSemicontHMMServer(a, b, pi, codebook, nStates, nSymbols, dim, options);
    }
};

template <>
struct HMMLetter<std::int16_t> {
    using Element = std::int16_t;
    using Cost = std::int32_t;
    using Mixture = QZwGaussMixServer;
    static constexpr std::int32_t flavor = QZ_HMM16;
    static constexpr std::int16_t impossibleCost = 32767;

    static std::int32_t discrete(const std::int16_t *const *a, const std::int16_t *const *b,
                                 const std::int16_t *pi, std::int32_t nStates, std::int32_t nSymbols,
                                 std::int32_t options) {
        return QZwInitHMMServer(a, b, pi, nStates, nSymbols, options);
    }
    static std::int32_t continuous(const std::int16_t *const *a, const std::int16_t *pi,
                                   Mixture *const *mixtures, std::int32_t nStates, std::int32_t dim,
                                   std::int32_t options, std::int32_t scale) {
        return QZwInitContHMMServer(a, pi, mixtures, nStates, dim, options, scale);
    }
    static std::int32_t semicontinuous(const std::int16_t *const *a, const std::int16_t *const *b,
                                       const std::int16_t *pi, Mixture *const *codebook, std::int32_t nStates,
                                       std::int32_t nSymbols, std::int32_t dim, std::int32_t options,
                                       std::int32_t scale) {
        return QZwInitSemicontHMMServer(a, b, pi, codebook, nStates, nSymbols, dim, options, scale);
    }
};

} // namespace qzk::test
